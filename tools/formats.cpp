// The file formats that the tool reads and writes.
#include "tools/formats.h"

#include "tools/bmp_header.h"
#include "tools/bmp_reader.h"
#include "tools/bmp_writer.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <string>

namespace dibprep::tool {

namespace {

constexpr std::size_t HeadSize = 16;

Page ReadBmpFile(const InputFile& file, std::uint64_t maxPixels) {
    return ReadBmp(file, ReadBmpHeader(file, maxPixels));
}

constexpr Format Formats[] = {
    {"BMP", "Windows bitmap (BMP)", LooksLikeBmp, ReadBmpFile, WriteBmp},
};

// What else people hand over, so that the message can say it.
struct Stranger {
    const char* start;
    const char* what;
};

const Stranger Strangers[] = {
    {"\x89PNG", "a PNG picture"},   {"\xFF\xD8\xFF", "a JPEG picture"},
    {"II*", "a TIFF picture"},      {"MM", "a TIFF picture"},
    {"GIF8", "a GIF picture"},      {"%PDF", "a PDF document"},
    {"BA", "an OS/2 bitmap array"}, {"RIFF", "a WebP picture"},
    {"P1", "a PNM picture"},        {"P2", "a PNM picture"},
    {"P3", "a PNM picture"},        {"P4", "a PNM picture"},
    {"P5", "a PNM picture"},        {"P6", "a PNM picture"},
};

} // namespace

const Format& FindFormat(const InputFile& file) {
    const std::vector<std::uint8_t> head = file.Head(HeadSize);
    if (head.empty())
        throw ToolError(ExitBadInput, file.Name() + ": the file is empty.");
    for (const Format& format : Formats)
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
    throw ToolError(ExitBadInput,
                    file.Name() + ": this is " + what + "; BMP files can be read. Save it as a BMP file.");
}

} // namespace dibprep::tool
