// dibprep compare: how far two pictures are apart.
#include "memory/unaligned.h"
#include "tools/formats.h"
#include "tools/job.h"
#include "tools/page_convert.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace dibprep::tool {

namespace {

constexpr int Channels = 4; // blue, green, red, alpha

// A picture whose channels can be read one like another, whatever its depth.
class Samples {
public:
    explicit Samples(Page page) : m_page(std::move(page)) {
        m_wide = m_page.Bits() > 32;
        if (m_wide)
            return;
        const bool alpha = m_page.Bits() == 32 && m_page.Masks().alpha != 0;
        m_page = alpha ? ToPlain32(std::move(m_page)) : ToTrueColour(std::move(m_page));
    }

    const Page& Picture() const { return m_page; }
    // 16 bits per channel, else 8.
    bool IsWide() const { return m_wide; }
    int Stored() const { return m_page.Bits() / (m_wide ? 16 : 8); }
    // Channels of a row from the top, four for each pixel. A picture without alpha is opaque.
    void Row(int y, std::vector<int>& values) const {
        const unsigned char* at = m_page.Row(y);
        const int stored = Stored();
        for (std::size_t i = 0; i < values.size(); ++i) {
            const int channel = static_cast<int>(i % Channels);
            if (channel >= stored)
                values[i] = 255;
            else
                values[i] = m_wide ? static_cast<std::int16_t>(LoadU16(at)) : *at;
            at += channel >= stored ? 0 : m_wide ? 2 : 1;
        }
    }

private:
    Page m_page;
    bool m_wide;
};

struct Difference {
    std::uint64_t pixels = 0;
    std::uint64_t different = 0;
    std::uint64_t values = 0; // channels of all pixels
    int largest = 0;
    std::string place;  // of the largest
    int range = 255;    // the largest difference that there can be
    double sum = 0;     // over all channels
    double squares = 0; // likewise

    double Mean() const { return sum / static_cast<double>(values); }
    double Psnr() const {
        return 10 * std::log10(static_cast<double>(range) * range * static_cast<double>(values) / squares);
    }
};

// Adds a pair of pages. The largest difference of each pixel's channels goes to `each` where that is given.
void Measure(const Samples& a, const Samples& b, const std::string& page, Difference& result,
             std::vector<std::uint16_t>* each) {
    const auto width = static_cast<std::size_t>(a.Picture().Width());
    const int height = a.Picture().Height();
    // Alpha counts where one of them has it; with 16 bits per channel, whose words have no one value for
    // opaque, where both have it.
    const int channels = a.IsWide() ? std::min(a.Stored(), b.Stored()) : std::max(a.Stored(), b.Stored());
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<unsigned>(height);
    result.range = a.IsWide() ? 65535 : 255;
    result.pixels += pixels;
    result.values += pixels * static_cast<unsigned>(channels);
    std::vector<int> left(width * Channels);
    std::vector<int> right(width * Channels);
    for (int y = 0; y < height; ++y) {
        a.Row(y, left);
        b.Row(y, right);
        std::uint64_t sum = 0;
        std::uint64_t squares = 0;
        for (std::size_t x = 0; x < width; ++x) {
            int most = 0;
            for (int c = 0; c < channels; ++c) {
                const std::size_t i = x * Channels + static_cast<std::size_t>(c);
                const int apart = std::abs(left[i] - right[i]);
                most = std::max(most, apart);
                sum += static_cast<unsigned>(apart);
                squares += static_cast<std::uint64_t>(apart) * static_cast<unsigned>(apart);
            }
            result.different += most > 0 ? 1 : 0;
            if (most > result.largest) {
                result.largest = most;
                result.place = std::to_string(x) + ',' + std::to_string(y) + page;
            }
            if (each)
                each->push_back(static_cast<std::uint16_t>(most));
        }
        result.sum += static_cast<double>(sum);
        result.squares += static_cast<double>(squares);
    }
}

// White where the pictures agree, black where they are furthest apart.
Page DifferencePicture(const Page& like, const std::vector<std::uint16_t>& each) {
    Page page(static_cast<std::uint64_t>(like.Width()), static_cast<std::uint64_t>(like.Height()), 8);
    for (unsigned i = 0; i < 256; ++i) {
        const auto level = static_cast<unsigned char>(i);
        page.SetColour(i, {level, level, level, 0});
    }
    const int largest = *std::max_element(each.begin(), each.end());
    std::size_t at = 0;
    for (int y = 0; y < page.Height(); ++y) {
        unsigned char* row = page.Row(y);
        for (int x = 0; x < page.Width(); ++x) {
            const int apart = each[at++];
            // Every difference shows, however small it is beside the largest.
            const int shade = apart == 0 ? 0 : std::max(16, apart * 255 / largest);
            row[x] = static_cast<unsigned char>(255 - shade);
        }
    }
    page.SetColours(256);
    page.SetResolution(like.PixelsPerMetreX(), like.PixelsPerMetreY());
    return page;
}

// The pages of a file, or the one that --page names.
struct Picture {
    Picture(const Arguments& arguments, const std::string& which)
        : file(arguments.Text(which)),
          reader(FindFormat(file).open(file, static_cast<std::uint64_t>(arguments.Number("--max-pixels")))),
          pages(WantedPages(arguments, file.Name(), reader->PageCount())) {}

    int Count() const { return pages.end - pages.first; }

    InputFile file;
    std::unique_ptr<PageReader> reader;
    PageRange pages;
};

// The file of --picture, a page for each pair.
class PictureFile {
public:
    PictureFile(const Arguments& arguments)
        : m_file(arguments.Text("--picture"), arguments.Has("--force")),
          m_format(OutputFormat(arguments.Text("--picture"), "", FormatTable().front())),
          m_writer(m_format.create(m_file, WriteOptions())) {}

    void CheckCount(const Picture& like) const { CheckPageCount(like.file.Name(), like.Count(), m_format); }
    void Add(const Page& page) { m_writer->Add(page); }
    void Commit() {
        m_writer->Finish();
        m_file.Commit();
    }

private:
    OutputFile m_file;
    const Format& m_format;
    std::unique_ptr<PageWriter> m_writer;
};

void Print(const Arguments& arguments, const Difference& found) {
    const bool equal = found.different == 0;
    const double share = 100 * static_cast<double>(found.different) / static_cast<double>(found.pixels);
    if (arguments.Has("--json")) {
        nlohmann::ordered_json json = {
            {"equal", equal},           {"pixels", found.pixels}, {"different", found.different},
            {"largest", found.largest}, {"range", found.range},   {"mean", found.Mean()},
            {"psnr", nullptr}};
        if (!equal)
            json["psnr"] = found.Psnr();
        std::printf("%s\n", json.dump(2).c_str());
    } else if (equal) {
        std::printf("equal: all %llu pixels\n", static_cast<unsigned long long>(found.pixels));
    } else {
        std::printf("different  %llu of %llu pixels (%.2f %%)\n", static_cast<unsigned long long>(found.different),
                    static_cast<unsigned long long>(found.pixels), share);
        std::printf("largest    %d of %d, at %s\n", found.largest, found.range, found.place.c_str());
        std::printf("mean       %.4f\n", found.Mean());
        std::printf("PSNR       %.2f dB\n", found.Psnr());
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout))
        throw ToolError(ExitInputOutput, "Standard output cannot be written.");
}

void Run(const Arguments& arguments) {
    std::unique_ptr<PictureFile> drawing;
    if (arguments.Has("--picture"))
        drawing = std::make_unique<PictureFile>(arguments);
    const Picture a(arguments, "A");
    const Picture b(arguments, "B");
    const std::string both = a.file.Name() + " and " + b.file.Name();
    if (a.Count() != b.Count())
        throw ToolError(ExitSome, both + " differ in their number of pages: " + std::to_string(a.Count()) + " and " +
                                      std::to_string(b.Count()) + ". Choose one with --page.");
    if (drawing)
        drawing->CheckCount(a);
    Difference found;
    for (int i = 0; i < a.Count(); ++i) {
        const std::string page = a.Count() == 1 ? "" : " on page " + std::to_string(a.pages.first + i + 1);
        const Samples left(a.reader->Read(a.pages.first + i));
        const Samples right(b.reader->Read(b.pages.first + i));
        const auto sizeOf = [](const Page& picture) {
            return SizeText(static_cast<unsigned>(picture.Width()), static_cast<unsigned>(picture.Height()));
        };
        if (sizeOf(left.Picture()) != sizeOf(right.Picture()))
            throw ToolError(ExitSome, both + " differ in size" + page + ": " + sizeOf(left.Picture()) + " and " +
                                          sizeOf(right.Picture()) + ".");
        if (left.IsWide() != right.IsWide() || left.Picture().FullRange() != right.Picture().FullRange())
            throw ToolError(ExitBadInput, both + " cannot be compared" + page +
                                              ": they do not hold the same kind of 16 bits per channel.");
        std::vector<std::uint16_t> each;
        Measure(left, right, page, found, drawing ? &each : nullptr);
        if (drawing)
            drawing->Add(DifferencePicture(left.Picture(), each));
    }
    if (drawing)
        drawing->Commit();
    Print(arguments, found);
    if (found.different > 0)
        throw ToolError(ExitSome, both + " differ.");
}

} // namespace

Command CompareCommand() {
    return {"compare",
            "say how far two pictures are apart",
            "Compares the pixels of two pictures of one size, whatever their depths: how many differ, the largest and "
            "the mean difference of a channel, and the PSNR. The exit code is 0 when all are equal and 1 when not. "
            "Resolutions may differ.",
            "dibprep compare before.bmp after.bmp --picture difference.bmp",
            {{"A", "a picture"}, {"B", "another"}},
            {Naming(Option::Names::File,
                    Text("--picture", "FILE", "Draw the differences: white where there is none, black the largest.")),
             Flag("--json", "Print one JSON object."), PageOption("A and of B"), MaxPixelsOption(),
             ForceOption("the file of --picture")},
            Run};
}

} // namespace dibprep::tool
