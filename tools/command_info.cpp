// dibprep info: what a file is, and what a conversion would need. Reads headers only.
#include "dibprep.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/bmp_reader.h"
#include "tools/formats.h"
#include "tools/job.h"
#include "tools/page_colours.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

namespace dibprep::tool {

namespace {

// What the pipeline would make of the page.
struct Conversion {
    std::uint64_t width;
    std::uint64_t height;
    unsigned bytes; // of the result's block at most, as the library answers
};

std::optional<Conversion> AskLibrary(const PageInfo& info, unsigned short dpi) {
    const std::uint64_t xDpi = DotsPerInch(info.xPixelsPerMetre);
    const std::uint64_t yDpi = DotsPerInch(info.yPixelsPerMetre);
    if (xDpi == 0 || yDpi == 0 || xDpi > LargestDpi || yDpi > LargestDpi || info.pageBits > 32)
        return std::nullopt;
    Conversion conversion = {ScaledExtent(info.width, dpi, xDpi), ScaledExtent(info.height, dpi, yDpi), 0};
    if (std::max({info.width, info.height, conversion.width, conversion.height}) > 65535)
        return std::nullopt;
    // The query reads a header and nothing behind it. Depths that are widened first count as widened.
    const int bits = info.pageBits == 16 || info.pageBits == 32 ? 24 : info.pageBits;
    Block block(sizeof(tagBITMAPINFOHEADER));
    WriteHeader(block.data(), static_cast<std::int32_t>(info.width), static_cast<std::int32_t>(info.height), bits);
    StoreU32(block.data() + AtXPelsPerMeter, static_cast<std::uint32_t>(info.xPixelsPerMetre));
    StoreU32(block.data() + AtYPelsPerMeter, static_cast<std::uint32_t>(info.yPixelsPerMetre));
    if (GetBufferSize(block.handle(), dpi, &conversion.bytes) != DIBPREP_OK)
        return std::nullopt;
    return conversion;
}

// One page of the file, and what the person asks about it.
struct Described {
    PageInfo info;
    std::optional<Conversion> conversion;
    std::optional<std::uint64_t> used; // colours, when they were counted

    bool HasResolution() const { return info.xPixelsPerMetre > 0 && info.yPixelsPerMetre > 0; }
};

std::string DepthText(const PageInfo& info) {
    std::string text = std::to_string(info.fileBits) + (info.fileBits == 1 ? " bit" : " bits") + " per pixel";
    // 2 bits become 4 in every format, so that is not worth a word.
    if (info.fileBits != info.pageBits && info.fileBits != 2)
        text += ", read as " + std::to_string(info.pageBits);
    return text;
}

std::string ColourText(const PageInfo& info) {
    if (!info.palette.empty())
        return (info.gray ? "gray, table of " : "colour table of ") + std::to_string(info.palette.size()) +
               (info.palette.size() == 1 ? " entry" : " entries");
    return info.channels + (info.pageBits > 32 ? ", 16 bits each" : "");
}

void PrintPage(const Described& page, unsigned short dpi) {
    const PageInfo& info = page.info;
    const auto line = [](const char* what, const std::string& text) { std::printf("  %-12s%s\n", what, text.c_str()); };
    line("size", SizeText(info.width, info.height) + ", " + DepthText(info));
    line("storage", info.compression + (info.layout.empty() ? "" : ", " + info.layout));
    line("colours", ColourText(info) + (page.used ? "; in use: " + Grouped(*page.used) : ""));
    const bool known = page.HasResolution();
    line("resolution",
         !known ? std::string("not recorded")
                : ResolutionText(info.xPixelsPerMetre, info.yPixelsPerMetre) + " (" + info.storedResolution + ")");
    if (known) {
        char paper[80];
        std::snprintf(paper, sizeof paper, "%.1f x %.1f mm",
                      static_cast<double>(info.width) * 1000 / info.xPixelsPerMetre,
                      static_cast<double>(info.height) * 1000 / info.yPixelsPerMetre);
        line("paper", paper);
    }
    const std::string at = "at " + std::to_string(dpi) + " dpi";
    if (page.conversion)
        line(at.c_str(), SizeText(page.conversion->width, page.conversion->height) + "; the result needs up to " +
                             Grouped(page.conversion->bytes) + " bytes of memory");
    else
        line(at.c_str(), !known ? "needs a resolution: give it with --input-dpi" : "not possible with `resample`");
}

using Json = nlohmann::ordered_json;

Json PageJson(const Described& page, unsigned short dpi) {
    const PageInfo& info = page.info;
    Json json = {
        {"width", info.width},
        {"height", info.height},
        {"bits", info.fileBits},
        {"page_bits", info.pageBits},
        {"compression", info.compression},
        {"layout", info.layout},
        {"channels", info.palette.empty() ? info.channels : std::string("colour table")},
        {"colors", info.palette.size()},
        {"colors_used", page.used ? Json(*page.used) : Json()},
        {"gray", info.gray},
        {"alpha", info.alpha},
        {"pixels_per_metre", Json::array({info.xPixelsPerMetre, info.yPixelsPerMetre})},
    };
    json["stored_resolution"] = info.storedResolution.empty() ? Json() : Json(info.storedResolution);
    json["dpi"] = page.HasResolution()
                      ? Json::array({DotsPerInch(info.xPixelsPerMetre), DotsPerInch(info.yPixelsPerMetre)})
                      : Json();
    json["conversion"] = Json();
    if (page.conversion)
        json["conversion"] = {{"dpi", dpi},
                              {"width", page.conversion->width},
                              {"height", page.conversion->height},
                              {"bytes", page.conversion->bytes}};
    return json;
}

// The first page stands in the object itself, and all of them in "pages" where there are several.
Json FileJson(const InputFile& file, const Format& format, const PageReader& reader,
              const std::vector<Described>& pages, unsigned short dpi) {
    Json json = {{"file", file.Name()},
                 {"bytes", file.Size()},
                 {"format", format.name},
                 {"page_count", reader.PageCount()},
                 {"warnings", reader.Warnings()}};
    if (format.open == OpenBmp) {
        const BmpHeader header = ReadBmpHeader(file, ~std::uint64_t{0});
        json.update(
            {{"header_size", header.headerSize}, {"top_down", header.topDown}, {"pixel_offset", header.pixelOffset}});
    }
    json.update(PageJson(pages.front(), dpi));
    if (pages.size() > 1)
        for (const Described& page : pages)
            json["pages"].push_back(PageJson(page, dpi));
    return json;
}

void PrintFile(const InputFile& file, const Format& format, const PageReader& reader,
               const std::vector<Described>& pages, int first, unsigned short dpi) {
    const int count = reader.PageCount();
    const std::string more = count > 1 ? std::to_string(count) + " pages, " : std::string();
    std::printf(
        "%s: %s, %s%s\n", file.Name().c_str(), format.description, more.c_str(),
        format.open == OpenBmp
            ? ("header of " + std::to_string(ReadBmpHeader(file, ~std::uint64_t{0}).headerSize) + " bytes").c_str()
            : (Grouped(file.Size()) + " bytes").c_str());
    for (std::size_t i = 0; i < pages.size(); ++i) {
        if (count > 1)
            std::printf("  page %d\n", first + static_cast<int>(i) + 1);
        PrintPage(pages[i], dpi);
    }
    for (const std::string& warning : reader.Warnings())
        std::printf("  %-12s%s\n", "warning", warning.c_str());
}

enum class Place { Alone, First, Behind }; // among the files that are described

void DescribeFile(const Arguments& arguments, const std::string& name, Place place) {
    const InputFile file(name);
    const Format& format = FindFormat(file);
    const auto maxPixels = static_cast<std::uint64_t>(arguments.Number("--max-pixels"));
    const std::unique_ptr<PageReader> reader = format.open(file, maxPixels);
    const PageRange range = WantedPages(arguments, file.Name(), reader->PageCount());
    const auto dpi = static_cast<unsigned short>(arguments.Number("--dpi"));
    std::vector<Described> pages;
    for (int i = range.first; i < range.end; ++i) {
        Described page = {reader->Describe(i), std::nullopt, std::nullopt};
        CheckDeclaredSize(file.Name(), page.info.width, page.info.height, maxPixels);
        if (CorrectResolution(arguments, page.info.xPixelsPerMetre, page.info.yPixelsPerMetre))
            page.info.storedResolution = "given";
        page.conversion = AskLibrary(page.info, dpi);
        if (arguments.Has("--count-colors"))
            page.used = ColoursInUse(reader->Read(i));
        pages.push_back(std::move(page));
    }
    if (arguments.Has("--json")) {
        // File names are bytes; those that are no UTF-8 come out with replacement characters.
        const std::string text =
            FileJson(file, format, *reader, pages, dpi)
                .dump(place == Place::Alone ? 2 : -1, ' ', false, nlohmann::json::error_handler_t::replace);
        std::printf("%s\n", text.c_str());
    } else {
        if (place == Place::Behind)
            std::printf("\n");
        PrintFile(file, format, *reader, pages, range.first, dpi);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout))
        throw ToolError(ExitInputOutput, "Standard output cannot be written.");
}

void Run(const Arguments& arguments) {
    const std::vector<std::string>& names = arguments.Pages();
    if (names.size() == 1)
        return DescribeFile(arguments, names[0], Place::Alone);
    // One that cannot be read is told, and the others come nevertheless.
    std::size_t described = 0;
    for (const std::string& name : names) {
        try {
            DescribeFile(arguments, name, described == 0 ? Place::First : Place::Behind);
            ++described;
        } catch (const ToolError& error) {
            if (std::ferror(stdout))
                throw;
            std::fprintf(stderr, "%s\n", error.what());
        }
    }
    const std::size_t failed = names.size() - described;
    if (failed > 0)
        throw ToolError(ExitSome, std::to_string(failed) + " of " + std::to_string(names.size()) +
                                      " files could not be described.");
}

} // namespace

Command InfoCommand() {
    Positional several = InputPositional();
    several.several = true;
    return {"info",
            "say what a file is",
            "Says what each file is, its resolution, and what a conversion would need. Reads headers only, unless "
            "colours are counted.",
            "dibprep info page.bmp --dpi 200",
            {several},
            {Number("--dpi", 1, LargestDpi, "Resolution of the conversion asked about.", "200"),
             Flag("--json", "Print one JSON object; of several files one a line."),
             Flag("--count-colors", "Count the colours in use: reads the pixels too."), InputDpiOption(),
             MissingDpiOption(), PageOption(), MaxPixelsOption()},
            Run};
}

} // namespace dibprep::tool
