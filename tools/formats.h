// The file formats that the tool reads and writes. A file that is read is known by its content, never
// by its name; a file that is written by --format or by the ending of its name.
#pragma once

#include "tools/input_file.h"
#include "tools/output_file.h"
#include "tools/page.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace dibprep::tool {

constexpr std::uint64_t DefaultMaxPixels = 400000000;

// What a file says about one of its pages before the pixels are read.
struct PageInfo {
    std::uint64_t width = 0; // as the page will be: orientation is applied
    std::uint64_t height = 0;
    int fileBits = 0;                // bits per pixel in the file, all channels together
    int pageBits = 0;                // of the page that is made of it
    std::string compression;         // "LZW compression"
    std::string layout;              // "12 strips"; may be empty
    std::string channels;            // "gray", "red, green, blue, alpha", ...
    std::vector<tagRGBQUAD> palette; // the colour table, where there is one
    bool gray = false;               // no colours, or a table of grays only
    bool alpha = false;
    std::int32_t xPixelsPerMetre = 0; // 0: none recorded
    std::int32_t yPixelsPerMetre = 0;
    std::string storedResolution; // in the file's own unit: "300 x 300 dots per inch"; empty: none
};

/*
 * The pages of an open file, in any order, each read anew when it is asked for: one page is in memory
 * at a time. The file must outlive the reader. Everything leaves with a ToolError that names the file:
 * ExitBadInput for what is damaged, cut short or not supported, ExitLimit where more pixels are
 * declared than allowed, which is found out before memory of that size is asked for.
 */
class PageReader {
public:
    virtual ~PageReader() = default;
    PageReader() = default;
    PageReader(const PageReader&) = delete;
    PageReader& operator=(const PageReader&) = delete;

    virtual int PageCount() const = 0; // at least 1
    virtual PageInfo Describe(int page) = 0;
    virtual Page Read(int page) = 0;
    // What the decoders found odd and mended, in their words.
    const std::vector<std::string>& Warnings() const { return m_warnings; }

protected:
    std::vector<std::string> m_warnings;
};

struct WriteOptions {
    int jpegQuality = 90;
};

/*
 * The pages of a file that is written, in their order. Add may keep bytes back; after Finish all of
 * them are with the output file, which is not committed.
 */
class PageWriter {
public:
    virtual ~PageWriter() = default;
    PageWriter() = default;
    PageWriter(const PageWriter&) = delete;
    PageWriter& operator=(const PageWriter&) = delete;

    virtual void Add(const Page& page) = 0;
    virtual void Finish() {}
};

struct Format {
    const char* name;        // "BMP"
    const char* description; // "Windows bitmap (BMP)"
    const char* key;         // for --format: "bmp"
    const char* endings;     // of file names, with a space behind each: ".tif .tiff "
    bool severalPages;       // whether a file can hold more than one page
    bool resolution;         // whether it can say how large the page is
    bool (*recognise)(const std::vector<std::uint8_t>& head);
    std::unique_ptr<PageReader> (*open)(const InputFile& file, std::uint64_t maxPixels);
    std::unique_ptr<PageWriter> (*create)(OutputFile& file, const WriteOptions& options);
};

// The formats of this build.
const std::vector<Format>& FormatTable();
// What --format takes: the keys of this build's formats.
std::vector<std::string> FormatKeys();

// The format of a file. Leaves with ExitBadInput, naming what was found, when none of ours fits.
const Format& FindFormat(const InputFile& file);

// "BMP, PNG and PNM": the formats of this build.
std::string FormatNames();

/*
 * The format for a file that is written: the one with this key, or else the one that the name's ending
 * stands for, or else, where the name has none, `otherwise` (the input's own). Leaves with ExitUsage
 * where the ending stands for no format, or for one that only the other build writes; `advice` goes on
 * in that sentence behind "choose one of their endings".
 */
const Format& OutputFormat(const std::string& path, const std::string& key, const Format& otherwise,
                           const std::string& advice = "");
// The same for a result that keeps the name of its input, which nobody chose as a result's: an ending
// that stands for no format counts as none.
const Format& OutputFormatByInputName(const std::string& path, const std::string& key, const Format& otherwise);

// Leaves with ExitUsage where several pages are to go into a file of a format that holds one.
void CheckPageCount(const std::string& inputName, int pages, const Format& output);

// Leaves with ExitBadInput for a picture without pixels, with ExitLimit for one beyond maxPixels.
void CheckDeclaredSize(const std::string& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);

} // namespace dibprep::tool
