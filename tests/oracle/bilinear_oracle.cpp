// See bilinear_oracle.h.
#include "tests/oracle/bilinear_oracle.h"

#include <algorithm>
#include <array>

namespace oracle {

namespace {

constexpr int NoMemory = -1, BadArgument = -4, Cancelled = -5, Compressed = -7;

std::int32_t Wrapped(std::int64_t value) {
    const std::uint32_t low = static_cast<std::uint32_t>(static_cast<std::uint64_t>(value));
    return low < 0x80000000u ? static_cast<std::int32_t>(low)
                             : static_cast<std::int32_t>(static_cast<std::int64_t>(low) - 0x100000000LL);
}

// Division that rounds down, as an arithmetic shift does.
std::int64_t Down(std::int64_t value, std::int64_t by) { return value >= 0 ? value / by : -((-value + by - 1) / by); }

std::int32_t Signed(const Bytes& bytes, std::size_t at) { return Wrapped(testdib::U32(bytes, at)); }

std::int32_t StrideOf(std::int32_t width, std::int32_t bits) {
    const std::int32_t sum = Wrapped(static_cast<std::int64_t>(width) * bits + 31);
    return Wrapped(Down(sum, 32) * 4);
}

struct Channels {
    std::array<std::int64_t, 4> value{};
    std::size_t count = 3;
};

// The source as the kernels look at it.
class Source {
public:
    explicit Source(const Bytes& dib) : m_dib(dib), m(ParametersOf(dib)) {}

    const DibParameters& parameters() const { return m; }

    std::int64_t RowFromTop(std::int64_t row) const {
        return m.bitsOffset + (static_cast<std::int64_t>(m.height) - row - 1) * m.lineBytes;
    }

    // One sample: column `column` of the row that starts at byte `row`.
    Channels Sample(std::int64_t row, std::int64_t column) const {
        switch (m.bitCount) {
        case 1:
            return Colour(Byte(row + column / 8) >> (7 - column % 8) & 1);
        case 4:
            return Colour(column % 2 ? Byte(row + column / 2) & 15 : Byte(row + column / 2) >> 4);
        case 8:
            return Colour(Byte(row + column));
        case 16: {
            const int word = Word(row + column * 2);
            return {{(word & 31) * 255 / 31, (word >> 5 & 31) * 255 / 31, (word >> 10 & 31) * 255 / 31}, 3};
        }
        case 24:
        case 32: {
            Channels channels;
            channels.count = static_cast<std::size_t>(m.bitCount / 8);
            for (std::size_t i = 0; i < channels.count; ++i)
                channels.value[i] = Byte(row + column * (m.bitCount / 8) + static_cast<std::int64_t>(i));
            return channels;
        }
        default: {
            Channels channels;
            channels.count = static_cast<std::size_t>(m.bitCount / 16);
            for (std::size_t i = 0; i < channels.count; ++i) {
                const int word = Word(row + column * (m.bitCount / 8) + 2 * static_cast<std::int64_t>(i));
                channels.value[i] = word < 32768 ? word : word - 65536;
            }
            return channels;
        }
        }
    }

private:
    int Byte(std::int64_t at) const { return m_dib.at(static_cast<std::size_t>(at)); }
    int Word(std::int64_t at) const { return Byte(at) + 256 * Byte(at + 1); }

    // An entry counts from byte 40 whatever the header's size; beyond the DIB it is black.
    Channels Colour(int index) const {
        const std::int64_t at = 40 + 4 * static_cast<std::int64_t>(index);
        const std::int64_t end = static_cast<std::int64_t>(m.bitsOffset) + m.imageSize;
        if (at + 4 > end)
            return {};
        return {{Byte(at), Byte(at + 1), Byte(at + 2)}, 3};
    }

    const Bytes& m_dib;
    DibParameters m;
};

// The limits as one value meets them.
std::int64_t Limited(std::int64_t v, int channel, int bits, const Limits& limits) {
    const bool wide = bits >= 48;
    if (channel == 3) {
        const std::int64_t black = wide ? limits.black16 : limits.black8;
        const std::int64_t white = wide ? limits.white16 : limits.white8;
        return v < black ? black : std::min(v, white);
    }
    return std::min<std::int64_t>(v, wide ? limits.colour16 : limits.colour8);
}

void WriteHeader(Bytes& dib, std::int64_t width, std::int64_t height, int bits) {
    testdib::PutU32(dib, 0, 40);
    testdib::PutU32(dib, 4, static_cast<std::uint32_t>(width));
    testdib::PutU32(dib, 8, static_cast<std::uint32_t>(height));
    testdib::PutU16(dib, 12, 1);
    testdib::PutU16(dib, 14, static_cast<unsigned>(bits));
}

bool HasKernel(int bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

// One output pixel from its two positions.
void MakePixel(const Source& source, std::int32_t x, std::int32_t y, const Limits& limits, std::uint8_t* target) {
    const DibParameters& p = source.parameters();
    const std::int64_t column = Down(x, 32768), row = Down(y, 32768);
    const std::int64_t fx = Down(x, 32) - Down(x, 32768) * 1024, fy = Down(y, 32) - Down(y, 32768) * 1024;
    const std::int64_t right = column + 1 < p.width ? column + 1 : column;
    const std::int64_t upper = source.RowFromTop(row);
    std::int64_t lower = upper;
    if (row < p.height - 1)
        lower = p.bitCount == 16 ? upper - 2 : upper - p.lineBytes;
    const Channels s00 = source.Sample(upper, column), s01 = source.Sample(upper, right);
    const Channels s10 = source.Sample(lower, column), s11 = source.Sample(lower, right);
    for (std::size_t c = 0; c < s00.count; ++c) {
        const std::int64_t sum = s00.value[c] * (1024 - fx) * (1024 - fy) + s01.value[c] * fx * (1024 - fy) +
                                 s10.value[c] * (1024 - fx) * fy + s11.value[c] * fx * fy;
        const std::int64_t v = Limited(Down(sum, 1048576), static_cast<int>(c), p.bitCount, limits);
        const std::uint64_t bits = static_cast<std::uint64_t>(v);
        if (p.bitCount >= 48) {
            target[2 * c] = static_cast<std::uint8_t>(bits);
            target[2 * c + 1] = static_cast<std::uint8_t>(bits >> 8);
        } else {
            target[c] = static_cast<std::uint8_t>(bits);
        }
    }
}

Resampled Failed(int error, int allocations = 0) {
    Resampled result;
    result.error = error;
    result.allocations = allocations;
    return result;
}

// Whether the numbers of a source and a frame can be worked with at all.
bool InRange(const DibParameters& source, std::int64_t targetWidth, std::int64_t targetHeight) {
    const int most = targetWidth > 1 && targetHeight > 1 ? 65536 : 65535;
    return source.width > 0 && source.height > 0 && source.width <= most && source.height <= most;
}

} // namespace

std::uint32_t ResamplerPaletteSize(const Bytes& header) {
    const std::uint32_t used = testdib::U32(header, 32);
    if (used != 0)
        return used * 4u;
    const unsigned bits = testdib::U16(header, 14);
    return bits == 1 ? 8 : bits == 4 ? 64 : bits == 8 ? 1024 : 0;
}

DibParameters ParametersOf(const Bytes& header) {
    DibParameters p{};
    p.width = Signed(header, 4);
    p.height = Signed(header, 8);
    p.bitCount = static_cast<std::int32_t>(testdib::U16(header, 14));
    p.lineBytes = StrideOf(p.width, p.bitCount);
    p.bytesPerPixel = p.bitCount / 8;
    p.channels = p.bitCount == 32 || p.bitCount == 64 ? 4 : 3;
    p.colours = Signed(header, 32);
    if (p.colours == 0 && p.bitCount <= 8)
        p.colours = 1 << p.bitCount;
    p.compression = testdib::U32(header, 16);
    p.bitsOffset = Wrapped(static_cast<std::int64_t>(testdib::U32(header, 0)) + ResamplerPaletteSize(header));
    p.imageSize = Wrapped(static_cast<std::int64_t>(p.lineBytes) * p.height);
    p.mask = static_cast<std::uint8_t>((1 << std::min(p.bitCount, 8)) - 1);
    p.pixelsPerByte = 8 / p.bitCount;
    return p;
}

Steps StepsFor(std::int32_t width, std::int32_t height, std::int32_t targetWidth, std::int32_t targetHeight) {
    const auto shifted = [](std::int64_t value) { return Wrapped(value * 32768); };
    if (targetWidth > 1 && targetHeight > 1)
        return {shifted(static_cast<std::int64_t>(width) - 1) / (targetWidth - 1),
                shifted(static_cast<std::int64_t>(height) - 1) / (targetHeight - 1)};
    return {shifted(width) / targetWidth, shifted(height) / targetHeight};
}

std::vector<Coordinate> CoordinatesFor(std::int32_t width, std::int32_t bitCount, std::int32_t start, std::int32_t step,
                                       int count) {
    const std::int64_t unit = std::max(1, bitCount / 8);
    std::vector<Coordinate> table;
    for (int k = 0; k < count; ++k) {
        const std::int32_t position = Wrapped((static_cast<std::int64_t>(start) + k) * step);
        const std::int64_t column = Down(position, 32768);
        const std::int64_t next = column + 1 < width ? column + 1 : column;
        const std::int64_t fraction = Down(position, 32) - Down(position, 32768) * 1024;
        table.push_back({Wrapped(column * unit), Wrapped(next * unit), static_cast<std::int32_t>(fraction)});
    }
    return table;
}

Resampled Resample(const Bytes& dib, const Rectangle* frame, const Rectangle* output, const Limits& limits,
                   const Progress& progress) {
    if (dib.size() < 40 || testdib::U16(dib, 14) == 0)
        return Failed(BadArgument);
    if (testdib::U32(dib, 16) != 0)
        return Failed(Compressed);
    if (!frame || !output)
        return Failed(BadArgument);
    const DibParameters p = ParametersOf(dib);

    const std::int64_t cx = static_cast<std::int64_t>(frame->right) - frame->left;
    const std::int64_t cy = static_cast<std::int64_t>(frame->bottom) - frame->top;
    if (cx <= 0 || cy <= 0 || cx > 0x7FFFFFFF || cy > 0x7FFFFFFF)
        return Failed(BadArgument);
    const Rectangle clip{std::max(output->left, frame->left), std::max(output->top, frame->top),
                         std::min(output->right, frame->right), std::min(output->bottom, frame->bottom)};
    if (clip.left > clip.right || clip.top > clip.bottom)
        return Failed(BadArgument);
    // A clip without pixels looks at no sample, so the source may have any size and be cut short then.
    const std::int64_t width = clip.right - clip.left, rows = clip.bottom - clip.top;
    if (width > 0 && rows > 0 && (dib.size() < 44 || !InRange(p, cx, cy)))
        return Failed(BadArgument);

    const int bits = std::max(p.bitCount, 24);
    const std::uint64_t stride = static_cast<std::uint64_t>((width * bits + 31) / 32 * 4);
    const std::uint64_t mostRows = stride ? LargestBlock / stride + 1 : ~std::uint64_t{0};
    // A size beyond 32 bits is not even asked for; the host refuses all the others above its limit.
    if (static_cast<std::uint64_t>(rows) > mostRows || 40 + stride * static_cast<std::uint64_t>(rows) > LargestBlock)
        return Failed(NoMemory, -1);
    Resampled result;
    result.allocations = 1;
    result.dib.assign(static_cast<std::size_t>(40 + stride * static_cast<std::uint64_t>(rows)), 0xFF);
    std::fill_n(result.dib.begin(), 40, std::uint8_t{0});
    WriteHeader(result.dib, width, rows, bits);
    if (!HasKernel(p.bitCount))
        return Failed(BadArgument, 1);
    if (width > 178956970)
        return Failed(NoMemory, 1);
    // A block of nothing but its header, as source or as result, has no 44 readable bytes: the look at
    // it leaves its code behind.
    if (result.dib.size() < 44 || dib.size() < 44)
        result.error = BadArgument;

    const Source source(dib);
    const Steps steps = StepsFor(p.width, p.height, static_cast<std::int32_t>(cx), static_cast<std::int32_t>(cy));
    for (std::int64_t i = 0; i < rows; ++i) {
        const std::int32_t y = Wrapped((static_cast<std::int64_t>(clip.top) - frame->top + i) * steps.y);
        std::uint8_t* row = result.dib.data() + 40 + static_cast<std::uint64_t>(rows - 1 - i) * stride;
        for (std::int64_t k = 0; k < width; ++k) {
            const std::int32_t x = Wrapped((static_cast<std::int64_t>(clip.left) - frame->left + k) * steps.x);
            MakePixel(source, x, y, limits, row + k * (bits / 8));
        }
        if (progress && progress(static_cast<int>(i + 1), static_cast<int>(rows)) == 0)
            return Failed(Cancelled, 1);
    }
    result.made = true;
    return result;
}

Converted ConvertedTo(const Bytes& block, std::uint32_t xRes, std::uint32_t yRes, const Limits& limits) {
    Converted result;
    if (block.size() < 40)
        return result;
    const std::int32_t xppm = Signed(block, 24), yppm = Signed(block, 28);
    if (xppm <= 0 || yppm <= 0) {
        result.road = Converted::Road::Copy;
        result.status = 3;
        result.block = block;
        return result;
    }
    const std::int32_t width = Signed(block, 4), height = Signed(block, 8);
    std::int64_t newWidth = width, newHeight = height;
    std::uint32_t newX = xRes, newY = yRes;
    if (xRes != 0 && yRes != 0) {
        newWidth = Wrapped((static_cast<std::uint32_t>(width) * xRes) / static_cast<std::uint32_t>(xppm));
        newHeight = Wrapped((yRes * static_cast<std::uint32_t>(height)) / static_cast<std::uint32_t>(yppm));
    } else {
        newX = newY = static_cast<std::uint32_t>(std::max(xppm, yppm));
        // The extended format of the processor, one operation after the other, then a double.
        if (xppm < yppm) {
            const volatile long double quotient = static_cast<long double>(width) / xppm;
            newWidth = static_cast<std::int64_t>(static_cast<double>(quotient * yppm));
        } else if (xppm > yppm) {
            const volatile long double quotient = static_cast<long double>(height) / yppm;
            newHeight = static_cast<std::int64_t>(static_cast<double>(xppm * quotient));
        }
    }
    if (newWidth > 0x7FFFFFFF || newHeight > 0x7FFFFFFF)
        return result;
    if (testdib::U32(block, 16) != 0 || testdib::U16(block, 14) == 0 || block.size() < 44)
        return result;
    const std::int64_t bits = testdib::U16(block, 14);
    if (width > 0 && height > 0) {
        const std::int64_t needed = static_cast<std::int64_t>(testdib::U32(block, 0)) + ResamplerPaletteSize(block) +
                                    (width * bits + 31) / 32 * 4 * height;
        if (needed > static_cast<std::int64_t>(block.size()))
            return result;
    }
    const Rectangle whole{0, 0, static_cast<int>(newWidth), static_cast<int>(newHeight)};
    const Resampled made = Resample(block, &whole, &whole, limits, nullptr);
    if (!made.made)
        return result;
    result.road = Converted::Road::Resampled;
    result.block = made.dib;
    testdib::PutU32(result.block, 24, newX);
    testdib::PutU32(result.block, 28, newY);
    return result;
}

} // namespace oracle
