// The file formats of this build, and what to say of the others.
#include "tools/formats.h"

#include "tools/bmp_header.h"
#include "tools/bmp_reader.h"
#include "tools/bmp_writer.h"
#include "tools/pnm.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"
#ifdef DIBPREP_IMAGE_FORMATS
#include "tools/jpeg.h"
#include "tools/png.h"
#include "tools/tiff.h"
#endif

#include <algorithm>
#include <array>

namespace dibprep::tool {

namespace {

constexpr std::size_t HeadSize = 16;

#ifdef DIBPREP_IMAGE_FORMATS
const char* const Readable = "BMP, DIB, PNM, PNG, TIFF and JPEG files can be read";
const char* const Advice = "Save it as one of these.";
#else
const char* const Readable = "this build reads and writes BMP, DIB and PNM files, the 64-bit build also PNG, TIFF "
                             "and JPEG";
const char* const Advice = "Use that build, or save it as one of these.";
#endif

// What else people hand over, so that the message can say it.
struct Stranger {
    const char* start;
    const char* what;
};

const Stranger Strangers[] = {
    {"\x89PNG", "a PNG picture"}, {"\xFF\xD8\xFF", "a JPEG picture"}, {"II*", "a TIFF picture"},
    {"MM", "a TIFF picture"},     {"II+", "a TIFF picture"},          {"GIF8", "a GIF picture"},
    {"%PDF", "a PDF document"},   {"BA", "an OS/2 bitmap array"},     {"RIFF", "a WebP picture"},
    {"P7", "a PAM picture"},      {"Pf", "a PNM picture of floats"},  {"PF", "a PNM picture of floats"},
};

#ifndef DIBPREP_IMAGE_FORMATS
// Endings that the other build knows.
const char* const OtherEndings = ".png .tif .tiff .jpg .jpeg ";
#endif

// "page.old.PNG" gives ".png ", as in a list of endings.
std::string EndingOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string ending = path.substr(dot);
    for (char& c : ending)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return ending + ' ';
}

// The format that the key or the name stands for, or null.
const Format* NamedFormat(const std::string& path, const std::string& key) {
    const std::string ending = EndingOf(path);
    for (const Format& format : FormatTable())
        if (key == format.key)
            return &format;
    for (const Format& format : FormatTable())
        if (!ending.empty() && std::string(format.endings).find(ending) != std::string::npos)
            return &format;
#ifndef DIBPREP_IMAGE_FORMATS
    if (!ending.empty() && std::string(OtherEndings).find(ending) != std::string::npos)
        throw ToolError(ExitUsage, path + ": its ending asks for a format that is missing here; " + Readable +
                                       ". Use that build, or another ending.");
#endif
    return nullptr;
}

} // namespace

const std::vector<Format>& FormatTable() {
    static const std::vector<Format> table = {
        {"BMP", "Windows bitmap (BMP)", "bmp", ".bmp ", false, true, LooksLikeBmp, OpenBmp, CreateBmp},
#ifdef DIBPREP_IMAGE_FORMATS
        {"PNG", "Portable Network Graphics (PNG)", "png", ".png ", false, true, LooksLikePng, OpenPng, CreatePng},
        {"TIFF", "Tagged Image File Format (TIFF)", "tiff", ".tif .tiff ", true, true, LooksLikeTiff, OpenTiff,
         CreateTiff},
        {"JPEG", "JPEG", "jpeg", ".jpg .jpeg ", false, true, LooksLikeJpeg, OpenJpeg, CreateJpeg},
#endif
        {"PNM", "portable any map (PNM)", "pnm", ".pnm .pbm .pgm .ppm ", true, false, LooksLikePnm, OpenPnm, CreatePnm},
        // The one without a magic number comes last.
        {"DIB", "bare DIB", "dib", ".dib ", false, true, LooksLikeDib, OpenBmp, CreateDib},
    };
    return table;
}

std::vector<std::string> FormatKeys() {
    std::vector<std::string> keys;
    for (const Format& format : FormatTable())
        keys.emplace_back(format.key);
    return keys;
}

const Format& FindFormat(const InputFile& file) {
    const std::vector<std::uint8_t> head = file.Head(HeadSize);
    if (head.empty())
        throw ToolError(ExitBadInput, file.Name() + ": the file is empty.");
    for (const Format& format : FormatTable())
        if (format.recognise(head))
            return format;
    std::string what = "not a picture of a known kind";
    for (const Stranger& stranger : Strangers) {
        const std::string start = stranger.start;
        if (head.size() >= start.size() &&
            std::equal(start.begin(), start.end(), head.begin(),
                       [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }))
            what = stranger.what;
    }
    throw ToolError(ExitBadInput, file.Name() + ": this is " + what + "; " + Readable + ". " + Advice);
}

std::string FormatNames() {
    const std::vector<Format>& table = FormatTable();
    std::string names;
    for (std::size_t i = 0; i < table.size(); ++i)
        names += (i == 0 ? "" : i + 1 == table.size() ? " and " : ", ") + std::string(table[i].name);
    return names;
}

const Format& OutputFormat(const std::string& path, const std::string& key, const Format& otherwise,
                           const std::string& advice) {
    const Format* named = NamedFormat(path, key);
    if (named)
        return *named;
    // A dot at the begin or the end of a name makes no ending.
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot != 0 && dot + 1 != name.size())
        throw ToolError(ExitUsage, path + ": the ending " + name.substr(dot) +
                                       " stands for none of the formats that "
                                       "this build writes (" +
                                       FormatNames() + "): choose one of their endings" + advice + ".");
    return otherwise;
}

const Format& OutputFormatByInputName(const std::string& path, const std::string& key, const Format& otherwise) {
    const Format* named = NamedFormat(path, key);
    return named ? *named : otherwise;
}

void CheckPageCount(const std::string& inputName, int pages, const Format& output) {
    if (pages > 1 && !output.severalPages)
        throw ToolError(ExitUsage, inputName + ": has " + std::to_string(pages) + " pages, and a " + output.name +
                                       " file holds one. Choose one with --page, or a format that holds them all.");
}

void CheckDeclaredSize(const std::string& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels) {
    constexpr std::uint64_t LargestSide = 0x7FFFFFFF;
    const std::string size = SizeText(width, height);
    if (width == 0 || height == 0)
        throw ToolError(ExitBadInput, name + ": the picture has no pixels: it declares " + size + ".");
    if (width > LargestSide || height > LargestSide)
        throw ToolError(ExitBadInput, name + ": it declares " + size + ". The file is damaged.");
    // Both are below 2^31, so the product fits.
    if (width * height > maxPixels)
        throw ToolError(ExitLimit, name + ": the picture declares " + size + ", " + std::to_string(width * height) +
                                       " in all; the limit is " + std::to_string(maxPixels) +
                                       ". If that is right, raise the limit with --max-pixels.");
}

} // namespace dibprep::tool
