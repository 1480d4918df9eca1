// dibprep info: what a file is, and what a conversion would need. Reads headers only.
#include "dibprep.h"
#include "memory/header_fields.h"
#include "memory/unaligned.h"
#include "tools/bmp_header.h"
#include "tools/formats.h"
#include "tools/job.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace dibprep::tool {

namespace {

// What the pipeline would make of the page.
struct Conversion {
    std::uint64_t width;
    std::uint64_t height;
    unsigned bytes; // of the result's block at most, as the library answers
};

std::optional<Conversion> AskLibrary(const BmpHeader& header, unsigned short dpi) {
    const std::uint64_t xDpi = DotsPerInch(header.xPixelsPerMetre);
    const std::uint64_t yDpi = DotsPerInch(header.yPixelsPerMetre);
    if (xDpi == 0 || yDpi == 0 || xDpi > LargestDpi || yDpi > LargestDpi || header.bits > 32)
        return std::nullopt;
    Conversion conversion = {ScaledExtent(header.width, dpi, xDpi), ScaledExtent(header.height, dpi, yDpi), 0};
    if (std::max({header.width, header.height, conversion.width, conversion.height}) > 65535)
        return std::nullopt;
    // The query reads a header and nothing behind it. Depths that are widened first count as widened.
    const int bits = header.bits == 2 ? 4 : header.bits == 16 || header.bits == 32 ? 24 : header.bits;
    Block block(sizeof(tagBITMAPINFOHEADER));
    WriteHeader(block.data(), static_cast<std::int32_t>(header.width), static_cast<std::int32_t>(header.height), bits);
    StoreU32(block.data() + AtXPelsPerMeter, static_cast<std::uint32_t>(header.xPixelsPerMetre));
    StoreU32(block.data() + AtYPelsPerMeter, static_cast<std::uint32_t>(header.yPixelsPerMetre));
    if (GetBufferSize(block.handle(), dpi, &conversion.bytes) != DIBPREP_OK)
        return std::nullopt;
    return conversion;
}

bool IsGray(const std::vector<tagRGBQUAD>& palette) {
    for (const tagRGBQUAD& c : palette)
        if (c.rgbBlue != c.rgbGreen || c.rgbGreen != c.rgbRed)
            return false;
    return true;
}

std::string ColourText(const BmpHeader& header) {
    if (!header.palette.empty())
        return (IsGray(header.palette) ? "gray, table of " : "colour table of ") +
               std::to_string(header.palette.size()) + (header.palette.size() == 1 ? " entry" : " entries");
    const std::string channels =
        header.bits == 64 || header.masks.alpha != 0 ? "red, green, blue, alpha" : "red, green, blue";
    return channels + (header.bits > 32 ? ", 16 bits each" : "");
}

std::string Grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, " ");
    return digits;
}

void PrintText(const InputFile& file, const Format& format, const BmpHeader& header, unsigned short dpi,
               const std::optional<Conversion>& conversion) {
    std::printf("%s: %s, header of %u bytes\n", file.Name().c_str(), format.description, header.headerSize);
    const auto line = [](const char* what, const std::string& text) { std::printf("  %-12s%s\n", what, text.c_str()); };
    line("size", SizeText(header.width, header.height) + ", " + std::to_string(header.bits) +
                     (header.bits == 1 ? " bit" : " bits") + " per pixel");
    line("storage", CompressionText(header) + (header.topDown ? ", top-down" : ", bottom-up") + ", pixels at byte " +
                        std::to_string(header.pixelOffset) + " of " + Grouped(file.Size()));
    line("colours", ColourText(header));
    const bool known = header.xPixelsPerMetre > 0 && header.yPixelsPerMetre > 0;
    line("resolution", !known ? std::string("not recorded")
                              : ResolutionText(header.xPixelsPerMetre, header.yPixelsPerMetre) + " (" +
                                    std::to_string(header.xPixelsPerMetre) +
                                    (header.xPixelsPerMetre == header.yPixelsPerMetre
                                         ? ""
                                         : " x " + std::to_string(header.yPixelsPerMetre)) +
                                    " pixels per metre)");
    if (known) {
        char paper[80];
        std::snprintf(paper, sizeof paper, "%.1f x %.1f mm",
                      static_cast<double>(header.width) * 1000 / header.xPixelsPerMetre,
                      static_cast<double>(header.height) * 1000 / header.yPixelsPerMetre);
        line("paper", paper);
    }
    if (conversion)
        line(("at " + std::to_string(dpi) + " dpi").c_str(), SizeText(conversion->width, conversion->height) +
                                                                 "; the result needs up to " +
                                                                 Grouped(conversion->bytes) + " bytes of memory");
    else
        line(("at " + std::to_string(dpi) + " dpi").c_str(),
             !known ? "needs a resolution: give it with --input-dpi" : "not possible with `resample`");
}

nlohmann::ordered_json MakeJson(const InputFile& file, const Format& format, const BmpHeader& header,
                                unsigned short dpi, const std::optional<Conversion>& conversion) {
    using Json = nlohmann::ordered_json;
    const bool known = header.xPixelsPerMetre > 0 && header.yPixelsPerMetre > 0;
    Json json = {
        {"file", file.Name()},
        {"bytes", file.Size()},
        {"format", format.name},
        {"header_size", header.headerSize},
        {"width", header.width},
        {"height", header.height},
        {"bits", header.bits},
        {"compression", CompressionText(header)},
        {"top_down", header.topDown},
        {"pixel_offset", header.pixelOffset},
        {"colors", header.palette.size()},
        {"gray", !header.palette.empty() && IsGray(header.palette)},
        {"alpha", header.masks.alpha != 0 || header.bits == 64},
        {"pixels_per_metre", Json::array({header.xPixelsPerMetre, header.yPixelsPerMetre})},
    };
    json["dpi"] =
        known ? Json::array({DotsPerInch(header.xPixelsPerMetre), DotsPerInch(header.yPixelsPerMetre)}) : Json();
    json["conversion"] = Json();
    if (conversion)
        json["conversion"] = {
            {"dpi", dpi}, {"width", conversion->width}, {"height", conversion->height}, {"bytes", conversion->bytes}};
    return json;
}

void Run(const Arguments& arguments) {
    const InputFile file(arguments.Text("IN"));
    const Format& format = FindFormat(file);
    BmpHeader header = ReadBmpHeader(file, static_cast<std::uint64_t>(arguments.Number("--max-pixels")));
    if (arguments.Has("--input-dpi"))
        header.xPixelsPerMetre = header.yPixelsPerMetre =
            PixelsPerMetre(static_cast<std::uint32_t>(arguments.Number("--input-dpi")));
    const auto dpi = static_cast<unsigned short>(arguments.Number("--dpi"));
    const std::optional<Conversion> conversion = AskLibrary(header, dpi);
    if (arguments.Has("--json")) {
        // File names are bytes; those that are no UTF-8 come out with replacement characters.
        const std::string text = MakeJson(file, format, header, dpi, conversion)
                                     .dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
        std::printf("%s\n", text.c_str());
    } else {
        PrintText(file, format, header, dpi, conversion);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout))
        throw ToolError(ExitInputOutput, "Standard output cannot be written.");
}

} // namespace

Command InfoCommand() {
    return {"info",
            "say what a file is",
            "Says what the file is, its resolution, and what a conversion would need. Reads headers only.",
            "dibprep info page.bmp --dpi 200",
            {InputPositional()},
            {Number("--dpi", 1, LargestDpi, "Resolution of the conversion asked about.", "200"),
             Flag("--json", "Print one JSON object."), InputDpiOption(), MaxPixelsOption()},
            Run};
}

} // namespace dibprep::tool
