// What the converting commands share.
#include "tools/job.h"

#include "tools/progress.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <utility>

namespace dibprep::tool {

Positional InputPositional() { return {"IN", "the picture to read"}; }
Positional OutputPositional() { return {"OUT", "the file to write"}; }

Option InputDpiOption() {
    return Number("--input-dpi", 1, LargestDpi, "Dots per inch of IN, in place of what the file says.");
}

Option MissingDpiOption() {
    return Number("--missing-dpi", 1, LargestDpi, "Dots per inch of IN where the file says none.");
}

Option MaxPixelsOption() {
    // Far enough below 2^64 that no size computed from it can wrap.
    return Number("--max-pixels", 1, 1000000000000, "Refuse more pixels than this.", std::to_string(DefaultMaxPixels));
}

Option ForceOption(const std::string& file) { return Flag("--force", "Replace " + file + " when it exists already."); }

Option PageOption(const std::string& of) { return Number("--page", 1, 1000000, "Take only this page of " + of + "."); }

Option FormatOption() {
    std::string keys;
    for (const std::string& key : FormatKeys())
        keys += (keys.empty() ? "" : ", ") + key;
    Option option = Choice("--format", FormatKeys(), "Write " + keys + "; else as OUT ends.");
    option.value = "NAME";
    return option;
}

Option QualityOption() {
    // Both builds take it, so that one command line serves them.
    const std::vector<std::string> keys = FormatKeys();
    const bool here = std::find(keys.begin(), keys.end(), "jpeg") != keys.end();
    return Number("--quality", 1, 100, here ? "Quality of JPEG files." : "Quality of JPEG files (64-bit build only).",
                  "90");
}

PageRange WantedPages(const Arguments& arguments, const std::string& inputName, int count) {
    if (!arguments.Has("--page"))
        return {0, count};
    const std::int64_t page = arguments.Number("--page");
    if (page > count)
        throw ToolError(ExitUsage, inputName + ": has " + std::to_string(count) + (count == 1 ? " page" : " pages") +
                                       "; there is no page " + std::to_string(page) + ".");
    return {static_cast<int>(page) - 1, static_cast<int>(page)};
}

bool CorrectResolution(const Arguments& arguments, std::int32_t& x, std::int32_t& y) {
    const bool missing = x <= 0 || y <= 0;
    const char* option = missing && arguments.Has("--missing-dpi") ? "--missing-dpi" : "--input-dpi";
    if (!arguments.Has(option))
        return false;
    x = y = PixelsPerMetre(static_cast<std::uint32_t>(arguments.Number(option)));
    return true;
}

const Format& WantedFormat(const Arguments& arguments, const Format& otherwise) {
    const std::string key = arguments.Has("--format") ? arguments.Text("--format") : "";
    if (arguments.Has("--output-dir"))
        return OutputFormatByInputName(arguments.Text("OUT"), key, otherwise);
    return OutputFormat(arguments.Text("OUT"), key, otherwise, ", or name a format with --format");
}

WriteOptions WantedWriting(const Arguments& arguments) {
    WriteOptions options;
    options.jpegQuality = static_cast<int>(arguments.Number("--quality"));
    return options;
}

Job::Job(const Arguments& arguments)
    : m_begin(std::chrono::steady_clock::now()), m_arguments(arguments),
      m_maxPixels(static_cast<std::uint64_t>(arguments.Number("--max-pixels"))),
      m_output(std::make_unique<OutputFile>(arguments.Text("OUT"), arguments.Has("--force"))),
      m_input(std::make_unique<InputFile>(arguments.Text("IN"))), m_format(&FindFormat(*m_input)),
      m_outputFormat(&WantedFormat(arguments, *m_format)), m_reader(m_format->open(*m_input, m_maxPixels)),
      m_pages(WantedPages(arguments, m_input->Name(), m_reader->PageCount())) {
    CheckPageCount(InputName(), m_pages.end - m_pages.first, *m_outputFormat);
    m_writer = m_outputFormat->create(*m_output, WantedWriting(arguments));
    --m_pages.first;
}

bool Job::NextPage() {
    if (++m_pages.first < m_pages.end)
        return true;
    ThrowIfStopped();
    m_writer->Finish();
    m_output->Commit();
    m_done.output = m_output->Name();
    m_done.inputBytes = m_input->Size();
    m_done.outputBytes = m_output->Size();
    Announce(m_done);
    return false;
}

Page Job::Read() {
    Page page = m_reader->Read(m_pages.first);
    m_before = FactsOf(page);
    std::int32_t x = page.PixelsPerMetreX();
    std::int32_t y = page.PixelsPerMetreY();
    if (CorrectResolution(m_arguments, x, y))
        page.SetResolution(x, y);
    return page;
}

void Job::NoResolution() const {
    // Of many pages the others may have one that is to be kept.
    const std::string option = m_arguments.Has("--output-dir") ? "--missing-dpi" : "--input-dpi";
    BadInput("the file records no resolution. Give it with " + option + ", for example " + option + " 300.");
}

void Job::RequireResolution(const Page& page) const {
    if (page.PixelsPerMetreX() <= 0 || page.PixelsPerMetreY() <= 0)
        NoResolution();
    for (const std::int32_t recorded : {page.PixelsPerMetreX(), page.PixelsPerMetreY()}) {
        const std::uint64_t dpi = DotsPerInch(recorded);
        if (dpi == 0 || dpi > LargestDpi)
            BadInput("the file records " + std::to_string(recorded) + " pixels per metre, which is " +
                     (dpi == 0 ? "less than 1" : "more than 65535") +
                     " dots per inch. Give the true resolution with --input-dpi.");
    }
}

void Job::CheckResultSize(std::uint64_t width, std::uint64_t height) const {
    if (width == 0 || height == 0)
        throw ToolError(ExitUsage, InputName() + ": nothing would be left at that resolution (" +
                                       SizeText(width, height) + "). Ask for a higher one.");
    // Each side is checked first, so that the product cannot wrap.
    if (width > m_maxPixels || height > m_maxPixels / width)
        throw ToolError(ExitLimit, InputName() + ": the result would have " + SizeText(width, height) +
                                       "; the limit is " + std::to_string(m_maxPixels) +
                                       " in all. If that is right, raise the limit with --max-pixels.");
}

void Job::Write(const Page& page, const std::string& note) {
    ThrowIfStopped();
    m_writer->Add(page);
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double> seconds = now - std::exchange(m_begin, now);
    if (m_reader->PageCount() > 1 && m_done.pages.empty())
        m_done.firstPage = m_pages.first + 1;
    std::vector<std::string> notes;
    if (!m_outputFormat->resolution && page.PixelsPerMetreX() > 0)
        notes.push_back(std::string(m_outputFormat->name) + " files record no resolution: it is lost.");
    if (!note.empty())
        notes.push_back(note);
    m_done.pages.push_back({m_before, FactsOf(page), seconds.count(), notes});
}

void Job::BadInput(const std::string& what) const { throw ToolError(ExitBadInput, InputName() + ": " + what); }

void Job::BeyondLimit(const std::string& what) const { throw ToolError(ExitLimit, InputName() + ": " + what); }

} // namespace dibprep::tool
