// What the converting commands share: read a page, write a page, say what was done.
#pragma once

#include "tools/command.h"
#include "tools/conversion.h"
#include "tools/formats.h"
#include "tools/input_file.h"
#include "tools/output_file.h"
#include "tools/page.h"

#include <chrono>
#include <memory>
#include <string>

namespace dibprep::tool {

Positional InputPositional();
Positional OutputPositional();
Option InputDpiOption();
Option MissingDpiOption();
Option MaxPixelsOption();
// What --force replaces, and of what --page takes a page, where that is not IN and OUT.
Option ForceOption(const std::string& file = "OUT");
Option PageOption(const std::string& of = "IN");
Option FormatOption();
Option QualityOption();
// The pages that --page leaves, or all: counted from 0, `end` behind the last. Leaves with ExitUsage where
// there is no such page.
struct PageRange {
    int first;
    int end;
};
PageRange WantedPages(const Arguments& arguments, const std::string& inputName, int count);
// Puts what these options say in place of what a file says, or does not say, in pixels per metre; whether
// they say anything about it.
bool CorrectResolution(const Arguments& arguments, std::int32_t& x, std::int32_t& y);
// The format of OUT by these options and its ending, and how to write it.
const Format& WantedFormat(const Arguments& arguments, const Format& otherwise);
WriteOptions WantedWriting(const Arguments& arguments);

/*
 * One conversion from the argument IN to the argument OUT, page by page: while NextPage(), Read, work
 * and Write. The output name is claimed before the input is read, so that nobody waits for a result
 * that cannot be written.
 */
class Job {
public:
    explicit Job(const Arguments& arguments);

    const InputFile& Input() const { return *m_input; }
    const std::string& InputName() const { return m_input->Name(); }
    const Format& InputFormat() const { return *m_format; }
    const Format& ResultFormat() const { return *m_outputFormat; }
    std::uint64_t MaxPixels() const { return m_maxPixels; }

    // Goes on to the next page. Behind the last one the output file is completed, and 0 comes back.
    bool NextPage();
    // The page, with --input-dpi in place of its own resolution when that was given, or with --missing-dpi
    // where it has none.
    Page Read();
    // Leaves with ExitBadInput and the option that helps.
    [[noreturn]] void NoResolution() const;
    // Leaves with ExitBadInput unless the page records a resolution on both axes.
    void RequireResolution(const Page& page) const;
    // Leaves with ExitLimit when a result of this size is beyond --max-pixels, or with ExitUsage
    // when it is empty.
    void CheckResultSize(std::uint64_t width, std::uint64_t height) const;
    // Adds the page to the output file. What it is and was is said in one line when the file is complete.
    void Write(const Page& page, const std::string& note = "");
    // Fails with ExitBadInput and the name of the input.
    [[noreturn]] void BadInput(const std::string& what) const;
    [[noreturn]] void BeyondLimit(const std::string& what) const;

private:
    std::chrono::steady_clock::time_point m_begin;
    const Arguments& m_arguments;
    std::uint64_t m_maxPixels;
    std::unique_ptr<OutputFile> m_output;
    std::unique_ptr<InputFile> m_input;
    const Format* m_format; // of the input
    const Format* m_outputFormat;
    std::unique_ptr<PageReader> m_reader;
    std::unique_ptr<PageWriter> m_writer;
    PageRange m_pages;  // the first is the one in work, once NextPage was called
    PageFacts m_before; // the page that was read last, as the file has it
    Conversion m_done;
};

} // namespace dibprep::tool
