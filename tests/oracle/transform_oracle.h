// The linear transform once more, slow and literal, to compare the library with: where every output
// pixel comes from, what each kind of row holds, and the whole transform between two stores of bytes.
#pragma once

#include "oracle_common.h"

#include <array>
#include <vector>

namespace oracle {

struct Entry {
    std::uint8_t blue = 0;
    std::uint8_t green = 0;
    std::uint8_t red = 0;
};
using Table = std::array<Entry, 256>;
using Histogram = std::array<std::uint32_t, 256>;

// Where one output column (or row) lies between source columns.
struct Place {
    std::uint16_t x0 = 0;
    std::uint16_t x1 = 0;
    std::uint16_t byte0 = 0;
    std::uint16_t byte1 = 0;
    double fraction = 0;
};

std::uint16_t DotsPerInch(std::uint32_t pelsPerMeter);
// dpi / srcDpi * extent, cut to a whole number and then to 16 bits; 0 without a source resolution.
std::uint16_t OutputExtent(std::uint16_t dpi, std::uint16_t extent, std::uint16_t srcDpi);
std::uint64_t RowBytes(std::uint16_t bits, std::uint16_t width);
Place PlaceOf(unsigned column, double ratio, std::uint16_t sourceExtent);

enum class Line { BlackWhite, Gray4, Gray8, ColourCube, Triples };

// A row of source bytes; reading past the end of the store throws.
struct Row {
    const Bytes* store;
    std::size_t at;
    std::uint8_t operator[](std::size_t i) const { return store->at(at + i); }
};

struct LineInput {
    const Table* table;
    const std::vector<Place>* columns;
    Row row0;
    Row row1;
    double fy;
    int threshold;
};

// Writes one output row into out from byte `at` on; the gray builder counts into histogram.
void BuildLine(Line line, const LineInput& input, Bytes& out, std::size_t at, Histogram& histogram);

// One side of a transform. A file has a 14-byte file header in front of the DIB.
struct Store {
    bool usable = true; // false: null handle, unreadable file, no transfer at all
    bool isFile = false;
    Bytes bytes;
};

// The numbers that the engine finds out or sets on its way.
struct Layout {
    Table table{};
    std::uint16_t srcBitsOffset = 0, srcDpiX = 0, srcDpiY = 0, srcWidth = 0, srcHeight = 0, srcBitCount = 0, kind = 0;
    std::uint64_t srcStride = 0;
    std::size_t srcRows = 0; // the offset of the rows, not kept to 16 bits
    std::uint16_t outBitsOffset = 0, outWidth = 0, outHeight = 0;
    std::uint64_t outStride = 0;
    double ratioX = 0, ratioY = 0;
    std::vector<Place> columns;
    Histogram histogram{};
};

// stopAtCall: the call of the progress callback that answers 0; 0: none does; -1: no callback.
struct TransformJob {
    Store source;
    Store destination;
    std::uint16_t dpi = 0;
    int threshold = 0;
    int stopAtCall = -1;
};

struct TransformResult {
    unsigned status = 0;
    Bytes destination;
    std::vector<int> percents;
    Layout layout;
};

TransformResult Transform(const TransformJob& job, Memory& memory);

// 40 bytes, or 54 with a file header.
Bytes OutputHeader(const Layout& layout, std::uint16_t dpi, bool withFileHeader);

} // namespace oracle
