// The linear transform, slow and literal: see transform_oracle.h.
#include "transform_oracle.h"

#include <algorithm>
#include <initializer_list>

namespace oracle {

using testdib::PutU16;
using testdib::PutU32;
using testdib::U16;
using testdib::U32;

std::uint16_t DotsPerInch(std::uint32_t pelsPerMeter) { return Low16((pelsPerMeter + 1u) * 254u / 10000u); }

std::uint16_t OutputExtent(std::uint16_t dpi, std::uint16_t extent, std::uint16_t srcDpi) {
    return srcDpi == 0 ? std::uint16_t{0} : Low16(std::uint64_t{dpi} * extent / srcDpi);
}

std::uint64_t RowBytes(std::uint16_t bits, std::uint16_t width) {
    const std::uint64_t wholeBytes = (std::uint64_t{bits} * width + 7) / 8;
    return (wholeBytes + 3) / 4 * 4;
}

Place PlaceOf(unsigned column, double ratio, std::uint16_t sourceExtent) {
    const double p = column / ratio;
    Place place;
    place.x0 = Low16(static_cast<std::uint64_t>(p));
    place.fraction = p - place.x0;
    const int last = sourceExtent - 1;
    if (place.x0 >= last) {
        place.x0 = static_cast<std::uint16_t>(last);
        place.x1 = static_cast<std::uint16_t>(last);
    } else {
        place.x1 = static_cast<std::uint16_t>(place.x0 + 1);
    }
    place.byte0 = static_cast<std::uint16_t>(place.x0 / 8);
    place.byte1 = static_cast<std::uint16_t>(place.x1 / 8);
    return place;
}

namespace {

// The four neighbours of one output pixel, mixed by both fractions and cut to a byte.
std::uint8_t Mix(int a, int b, int c, int e, double fx, double fy) {
    const double top = a + (b - a) * fx;
    const double bottom = c + (e - c) * fx;
    const double v = top + (bottom - top) * fy;
    return static_cast<std::uint8_t>(static_cast<std::int64_t>(v) & 0xFF);
}

enum class Side { Left, Right };

int Blackness(const Row& row, const Place& place, Side side, const Table& table) {
    const unsigned x = side == Side::Left ? place.x0 : place.x1;
    const unsigned byte = side == Side::Left ? place.byte0 : place.byte1;
    const bool set = (row[byte] & (0x80u >> (x % 8))) != 0;
    const bool indexZeroIsWhite = table[0].blue == 255;
    if (indexZeroIsWhite)
        return set ? 255 : 0;
    return set ? 0 : 255;
}

int NibbleGray(const Row& row, const Place& place, Side side, const Table& table) {
    const unsigned x = side == Side::Left ? place.x0 : place.x1;
    const unsigned byte = row[x / 2];
    const bool high = side == Side::Left && x % 2 == 1;
    return table[high ? byte / 16 : byte % 16].blue;
}

int Channel(const Entry& entry, int channel) {
    return channel == 0 ? entry.blue : channel == 1 ? entry.green : entry.red;
}

template <typename Sample>
std::uint8_t MixedSample(const LineInput& input, const Place& place, Sample sample) {
    return Mix(sample(input.row0, Side::Left), sample(input.row0, Side::Right), sample(input.row1, Side::Left),
               sample(input.row1, Side::Right), place.fraction, input.fy);
}

} // namespace

void BuildLine(Line line, const LineInput& input, Bytes& out, std::size_t at, Histogram& histogram) {
    const Table& table = *input.table;
    for (std::size_t x = 0; x < input.columns->size(); ++x) {
        const Place& place = (*input.columns)[x];
        const auto column = [&place](Side side) { return side == Side::Left ? place.x0 : place.x1; };
        if (line == Line::BlackWhite) {
            const int v = MixedSample(input, place,
                                      [&](const Row& row, Side side) { return Blackness(row, place, side, table); });
            if (v < input.threshold)
                out.at(at + x / 8) |= static_cast<std::uint8_t>(0x80u >> (x % 8));
        } else if (line == Line::Gray4) {
            const std::uint8_t v = MixedSample(
                input, place, [&](const Row& row, Side side) { return NibbleGray(row, place, side, table); });
            if (x % 2 == 0)
                out.at(at + x / 2) = v;
            else
                out.at(at + x / 2) |= static_cast<std::uint8_t>(v / 16);
        } else if (line == Line::Gray8) {
            const std::uint8_t v = MixedSample(
                input, place, [&](const Row& row, Side side) { return int{table[row[column(side)]].blue}; });
            out.at(at + x) = v;
            histogram[v] += 1;
        } else if (line == Line::ColourCube) {
            int mixed[3];
            for (int channel = 0; channel < 3; ++channel)
                mixed[channel] = MixedSample(input, place, [&](const Row& row, Side side) {
                    return Channel(table[row[column(side)]], channel);
                });
            out.at(at + x) =
                static_cast<std::uint8_t>((mixed[0] + 25) / 51 * 42 + (mixed[1] + 25) / 51 * 7 + (mixed[2] + 21) / 42);
        } else {
            for (std::size_t byte = 0; byte < 3; ++byte)
                out.at(at + 3 * x + byte) = MixedSample(input, place, [&](const Row& row, Side side) {
                    return int{row[3 * std::size_t{column(side)} + byte]};
                });
        }
    }
}

namespace {

std::size_t TableEntries(std::uint16_t bits) { return bits < 16 ? std::size_t{1} << bits : 0; }

std::uint32_t HeaderColours(std::uint16_t bits) { return bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0; }

bool BuildsRows(std::uint16_t kind) { return kind == 1 || kind == 3 || kind == 5 || kind == 6; }

// 0, or 5 when header or table cannot be read.
unsigned ReadSource(const Store& source, Layout& layout) {
    const std::size_t dib = source.isFile ? 14 : 0;
    const Bytes& bytes = source.bytes;
    if (!source.usable || bytes.size() < dib + 40)
        return 5;
    layout.srcWidth = Low16(U32(bytes, dib + 4));
    layout.srcHeight = Low16(U32(bytes, dib + 8));
    layout.srcBitCount = Low16(U16(bytes, dib + 14));
    layout.srcDpiX = DotsPerInch(U32(bytes, dib + 24));
    layout.srcDpiY = DotsPerInch(U32(bytes, dib + 28));
    layout.srcStride = RowBytes(layout.srcBitCount, layout.srcWidth);
    const std::size_t entries = TableEntries(layout.srcBitCount);
    layout.srcRows = dib + 40 + 4 * entries;
    layout.srcBitsOffset = Low16(layout.srcRows);
    if (bytes.size() < layout.srcRows)
        return 5;
    bool gray = true;
    for (std::size_t i = 0; i < std::min<std::size_t>(entries, 256); ++i) {
        const std::size_t at = dib + 40 + 4 * i;
        layout.table[i] = Entry{bytes[at], bytes[at + 1], bytes[at + 2]};
        gray = gray && bytes[at] == bytes[at + 1] && bytes[at] == bytes[at + 2];
    }
    switch (layout.srcBitCount) {
    case 1:
        layout.kind = 1;
        break;
    case 4:
        layout.kind = gray ? 2 : 0;
        break;
    case 8:
        layout.kind = gray ? 3 : 5;
        break;
    case 24:
        layout.kind = 6;
        break;
    default:
        layout.kind = 0;
    }
    return 0;
}

void Append(Bytes& bytes, std::initializer_list<int> values) {
    for (const int value : values)
        bytes.push_back(static_cast<std::uint8_t>(value));
}

Bytes OutputTable(std::uint16_t kind) {
    Bytes table;
    if (kind == 1) {
        Append(table, {0, 0, 0, 0, 255, 255, 255, 0});
    } else if (kind == 2) {
        for (int i = 0; i < 16; ++i)
            Append(table, {i * 16, i * 16, i * 16, 0});
    } else if (kind == 3) {
        for (int i = 0; i < 256; ++i)
            Append(table, {i, i, i, 0});
    } else if (kind == 5) {
        for (const int blue : {0, 51, 102, 153, 204, 255})
            for (const int green : {0, 51, 102, 153, 204, 255})
                for (const int red : {0, 42, 84, 126, 168, 210, 255})
                    Append(table, {blue, green, red, 0});
        Append(table, {0, 0, 0, 0, 0, 0, 0, 0});
    }
    return table;
}

void WriteAt(Bytes& bytes, std::size_t at, const Bytes& what) {
    if (bytes.size() < at + what.size())
        bytes.resize(at + what.size());
    std::copy(what.begin(), what.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

std::vector<Place> Places(std::uint16_t count, double ratio, std::uint16_t sourceExtent) {
    std::vector<Place> places;
    for (unsigned i = 0; i < count; ++i)
        places.push_back(PlaceOf(i, ratio, sourceExtent));
    return places;
}

// Whether the last source row that is read lies inside the block with its padding. Nothing is read
// for an output without columns.
bool SourceRowsInside(const Layout& layout, const std::vector<Place>& rows, const Bytes& source) {
    if (layout.outWidth == 0 || rows.empty())
        return true;
    std::size_t lastRow = 0;
    for (const Place& place : rows)
        lastRow = std::max<std::size_t>(lastRow, place.x1);
    return layout.srcRows + (lastRow + 1) * layout.srcStride <= source.size();
}

bool OutputRowsInside(const Layout& layout, const Bytes& destination) {
    return layout.outBitsOffset + layout.outHeight * layout.outStride <= destination.size();
}

Line LineOf(std::uint16_t kind) {
    return kind == 1 ? Line::BlackWhite : kind == 3 ? Line::Gray8 : kind == 5 ? Line::ColourCube : Line::Triples;
}

} // namespace

Bytes OutputHeader(const Layout& layout, std::uint16_t dpi, bool withFileHeader) {
    const std::uint32_t colours = HeaderColours(layout.srcBitCount);
    const std::size_t dib = withFileHeader ? 14 : 0;
    Bytes header(dib + 40);
    if (withFileHeader) {
        PutU16(header, 0, 0x4D42);
        PutU32(header, 2, 54 + colours + Low16(layout.outHeight * layout.outStride));
        PutU32(header, 10, 54 + 4 * colours);
    }
    PutU32(header, dib, 40);
    PutU32(header, dib + 4, layout.outWidth);
    PutU32(header, dib + 8, layout.outHeight);
    PutU16(header, dib + 12, 1);
    PutU16(header, dib + 14, layout.srcBitCount);
    PutU32(header, dib + 24, dpi * 10000u / 254u);
    PutU32(header, dib + 28, dpi * 10000u / 254u);
    PutU32(header, dib + 32, colours);
    PutU32(header, dib + 36, colours);
    return header;
}

TransformResult Transform(const TransformJob& job, Memory& memory) {
    TransformResult result;
    result.destination = job.destination.bytes;
    Layout& layout = result.layout;
    result.status = ReadSource(job.source, layout);
    if (result.status != 0)
        return result;
    if (layout.srcDpiX == 0 || layout.srcDpiY == 0) {
        result.status = 11;
        return result;
    }
    layout.ratioX = static_cast<double>(job.dpi) / layout.srcDpiX;
    layout.ratioY = static_cast<double>(job.dpi) / layout.srcDpiY;
    layout.outWidth = OutputExtent(job.dpi, layout.srcWidth, layout.srcDpiX);
    layout.outHeight = OutputExtent(job.dpi, layout.srcHeight, layout.srcDpiY);
    layout.outStride = RowBytes(layout.srcBitCount, layout.outWidth);
    layout.columns = Places(layout.outWidth, layout.ratioX, layout.srcWidth);
    const std::vector<Place> rows = Places(layout.outHeight, layout.ratioY, layout.srcHeight);
    const bool buildsRows = BuildsRows(layout.kind);

    // Everything that can be known of the blocks is checked before the first byte is written.
    if (buildsRows && !job.source.isFile && !SourceRowsInside(layout, rows, job.source.bytes)) {
        result.status = 5;
        return result;
    }
    Bytes head = OutputHeader(layout, job.dpi, job.destination.isFile);
    const Bytes table = OutputTable(layout.kind);
    head.insert(head.end(), table.begin(), table.end());
    layout.outBitsOffset = Low16(head.size());
    const bool headFits = job.destination.isFile || head.size() <= job.destination.bytes.size();
    const bool rowsFit = job.destination.isFile || !buildsRows || OutputRowsInside(layout, job.destination.bytes);
    if (!job.destination.usable || !headFits || !rowsFit) {
        result.status = 6;
        return result;
    }
    WriteAt(result.destination, 0, head);

    // Two scratch blocks; the second is asked for only when the first was made.
    if (!memory.Ask(layout.srcStride * 2) || !memory.Ask(layout.outStride)) {
        result.status = 2;
        return result;
    }

    int previous = 1000;
    int calls = 0;
    for (unsigned y = 0; y < layout.outHeight; ++y) {
        const std::size_t at = layout.outBitsOffset + y * layout.outStride;
        if (job.destination.isFile)
            WriteAt(result.destination, at, Bytes(layout.outStride));
        const std::size_t row0 = layout.srcRows + rows[y].x0 * layout.srcStride;
        const std::size_t row1 = layout.srcRows + rows[y].x1 * layout.srcStride;
        const bool readsRows = buildsRows && layout.outWidth != 0;
        if (readsRows && job.source.isFile && row1 + layout.srcStride > job.source.bytes.size()) {
            result.status = 5;
            return result;
        }
        if (buildsRows)
            BuildLine(LineOf(layout.kind),
                      LineInput{&layout.table, &layout.columns, Row{&job.source.bytes, row0},
                                Row{&job.source.bytes, row1}, rows[y].fraction, job.threshold},
                      result.destination, at, layout.histogram);
        const int percent = std::min(static_cast<int>(y * 100 / layout.outHeight), 99);
        if (percent != previous && job.stopAtCall >= 0) {
            previous = percent;
            result.percents.push_back(percent);
            if (++calls == job.stopAtCall) {
                result.status = 1;
                return result;
            }
        }
    }
    return result;
}

} // namespace oracle
