// The conversion entry, slow and literal: see pipeline_oracle.h.
#include "pipeline_oracle.h"

#include "quantize_oracle.h"

#include <algorithm>

namespace oracle {

using testdib::PutU16;
using testdib::PutU32;
using testdib::U16;
using testdib::U32;

namespace {

constexpr std::uint32_t beyond32Bits = 4294967295u;

std::uint32_t SizeFor(const Bytes& bytes, std::size_t dib, std::uint16_t dpi, bool fourBitsAre24) {
    std::uint16_t bits = Low16(U16(bytes, dib + 14));
    if (fourBitsAre24 && bits == 4)
        bits = 24;
    const std::uint16_t width = OutputExtent(dpi, Low16(U32(bytes, dib + 4)), DotsPerInch(U32(bytes, dib + 24)));
    const std::uint16_t height = OutputExtent(dpi, Low16(U32(bytes, dib + 8)), DotsPerInch(U32(bytes, dib + 28)));
    const std::uint64_t size = height * RowBytes(bits, width) + 14 + 40 + 1024;
    return size > beyond32Bits ? beyond32Bits : static_cast<std::uint32_t>(size);
}

} // namespace

SizeAnswer TransformSize(const Store& source, std::uint16_t dpi) {
    const std::size_t dib = source.isFile ? 14 : 0;
    if (!source.usable || source.bytes.size() < dib + 40)
        return {5, 0};
    return {0, SizeFor(source.bytes, dib, dpi, false)};
}

SizeAnswer BufferSize(const Store& source, std::uint16_t dpi) {
    if (!source.usable || source.bytes.size() < 40)
        return {10, 0};
    return {0, SizeFor(source.bytes, 0, dpi, true)};
}

namespace {

bool IsGray(const Bytes& dib, std::size_t entries) {
    for (std::size_t i = 0; i < entries; ++i)
        if (dib[40 + 4 * i] != dib[41 + 4 * i] || dib[40 + 4 * i] != dib[42 + 4 * i])
            return false;
    return true;
}

// The palette index of pixel x of a 4- or 8-bit row.
unsigned IndexAt(const Bytes& dib, std::size_t row, unsigned x, unsigned bits) {
    if (bits == 8)
        return dib.at(row + x);
    const unsigned byte = dib.at(row + x / 2);
    return x % 2 == 0 ? byte / 16 : byte % 16;
}

struct Rows {
    unsigned bits;
    unsigned width;
    unsigned height;
    std::size_t first; // offset of row 0
    unsigned stride;   // kept to multiples of 4 below 65536
};

Rows RowsOf(const Bytes& dib) {
    Rows rows{};
    rows.bits = U16(dib, 14);
    rows.width = Low16(U32(dib, 4));
    rows.height = Low16(U32(dib, 8));
    rows.first = 40 + 4 * (std::size_t{1} << rows.bits);
    rows.stride = ((rows.width * rows.bits + 7) / 8 + 3) & 0xFFFC;
    return rows;
}

// What stands in the way of making rows of newStride bytes that hold newPixels bytes.
Expansion Obstacle(const Bytes& dib, const Rows& rows, unsigned newStride, unsigned newPixels) {
    if (rows.height == 0 || rows.width == 0)
        return Expansion::Made;
    const unsigned sourcePixels = (rows.width * rows.bits + 7) / 8;
    if (newStride < newPixels || rows.stride < sourcePixels)
        return Expansion::RowsCutShort;
    if (rows.first + std::size_t{rows.height - 1} * rows.stride + sourcePixels > dib.size())
        return Expansion::BlockTooSmall;
    return Expansion::Made;
}

// The header of the source with another depth and another colour count.
void CopyHeader(const Bytes& from, Bytes& to, unsigned bits, std::uint32_t colours) {
    std::copy(from.begin(), from.begin() + 32, to.begin());
    PutU16(to, 14, bits);
    PutU32(to, 32, colours);
    PutU32(to, 36, colours);
}

} // namespace

Expanded ExpandColours(const Bytes& source, Memory& memory) {
    if (source.size() < 40 || (U16(source, 14) != 4 && U16(source, 14) != 8))
        return {};
    const Rows rows = RowsOf(source);
    if (source.size() < rows.first)
        return {Expansion::BlockTooSmall, {}};
    if (IsGray(source, std::size_t{1} << rows.bits))
        return {};
    const unsigned stride = (rows.width * 3 + 3) & 0xFFFC;
    Expanded expanded;
    expanded.outcome = Obstacle(source, rows, stride, rows.width * 3);
    if (expanded.outcome != Expansion::Made)
        return expanded;
    const std::size_t size = std::size_t{stride} * rows.height + 40;
    if (!memory.Ask(size)) {
        expanded.outcome = Expansion::NoMemory;
        return expanded;
    }
    expanded.dib.resize(size);
    CopyHeader(source, expanded.dib, 24, 0);
    for (unsigned y = 0; y < rows.height; ++y)
        for (unsigned x = 0; x < rows.width; ++x) {
            const unsigned index = IndexAt(source, rows.first + std::size_t{y} * rows.stride, x, rows.bits);
            const std::size_t to = 40 + std::size_t{y} * stride + 3 * x;
            for (std::size_t channel = 0; channel < 3; ++channel)
                expanded.dib.at(to + channel) = source.at(40 + 4 * index + channel);
        }
    return expanded;
}

Expanded WidenGray(const Bytes& source, Memory& memory) {
    if (source.size() < 40 || U16(source, 14) != 4)
        return {};
    const Rows rows = RowsOf(source);
    if (source.size() < rows.first)
        return {Expansion::BlockTooSmall, {}};
    if (!IsGray(source, 16))
        return {};
    const unsigned stride = (rows.width + 3) & 0xFFFC;
    Expanded expanded;
    expanded.outcome = Obstacle(source, rows, stride, rows.width);
    if (expanded.outcome != Expansion::Made)
        return expanded;
    const std::size_t size = std::size_t{stride} * rows.height + 1064;
    if (!memory.Ask(size)) {
        expanded.outcome = Expansion::NoMemory;
        return expanded;
    }
    expanded.dib.resize(size);
    CopyHeader(source, expanded.dib, 8, 8);
    for (unsigned i = 0; i < 256; ++i)
        testdib::SetEntry(expanded.dib, static_cast<int>(i), static_cast<int>(i), static_cast<int>(i),
                          static_cast<int>(i));
    for (unsigned y = 0; y < rows.height; ++y)
        for (unsigned x = 0; x < rows.width; ++x) {
            const unsigned index = IndexAt(source, rows.first + std::size_t{y} * rows.stride, x, 4);
            expanded.dib.at(1064 + std::size_t{y} * stride + x) = source.at(40 + 4 * index);
        }
    return expanded;
}

namespace {

bool Impossible(Expansion outcome) { return outcome != Expansion::Made && outcome != Expansion::NothingToDo; }

unsigned StatusOf(Expansion outcome) { return outcome == Expansion::BlockTooSmall ? 5 : 2; }

} // namespace

Conversion ConvertResolution(const Store& source, std::uint16_t dpi, int threshold, int stopAtCall, int refusedBlock) {
    Memory memory(refusedBlock);
    Conversion conversion;
    Expanded colours;
    Expanded gray;
    if (source.usable) {
        colours = ExpandColours(source.bytes, memory);
        if (colours.outcome == Expansion::NothingToDo)
            gray = WidenGray(source.bytes, memory);
    }
    const bool first = colours.outcome == Expansion::Made;
    const bool second = gray.outcome == Expansion::Made;
    const auto finish = [&](unsigned status) {
        conversion.status = status;
        conversion.blocksAsked = memory.Asked();
        conversion.blocksLeft += conversion.hasResult ? 1 : 0;
        return conversion;
    };
    if (Impossible(colours.outcome))
        return finish(StatusOf(colours.outcome));
    if (Impossible(gray.outcome))
        return finish(StatusOf(gray.outcome));

    TransformJob job;
    job.source = source;
    if (first)
        job.source.bytes = colours.dib;
    if (second)
        job.source.bytes = gray.dib;

    // Until the transform has run, nothing frees what the pre-conversion made.
    conversion.blocksLeft = first || second ? 1 : 0;
    const SizeAnswer size = TransformSize(job.source, dpi);
    if (size.status != 0)
        return finish(size.status);
    if (size.size == beyond32Bits || !memory.Ask(size.size))
        return finish(2);

    job.destination.bytes.resize(size.size);
    job.dpi = dpi;
    job.threshold = threshold;
    job.stopAtCall = stopAtCall;
    TransformResult transformed = Transform(job, memory);
    conversion.percents = transformed.percents;
    conversion.hasResult = transformed.status == 0;
    if (conversion.hasResult)
        conversion.result = std::move(transformed.destination);
    if (first) {
        // The handle of the 24-bit picture was overwritten by the second pre-conversion: it stays.
        // A transform that failed leaves nothing to reduce.
        std::optional<Bytes> reduced;
        if (conversion.hasResult)
            reduced = Quantizer(conversion.result, 256, 5).QuantizeBitmap(memory);
        conversion.hasResult = reduced.has_value();
        conversion.result = reduced.value_or(Bytes());
    }
    if (second)
        conversion.blocksLeft = 0;
    return finish(transformed.status);
}

} // namespace oracle
