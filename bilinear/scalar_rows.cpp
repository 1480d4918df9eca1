// The scalar row kernels: one loop over the output pixels, and for each source format how a sample
// is fetched, how a result is limited and how it is stored.
#include "bilinear/row.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <array>

namespace dibprep {
namespace {

// ---- limiting and storing ---------------------------------------------------------------------

struct Limits {
    int colour; // upper limit of a colour channel
    int black;  // lower limit of the fourth channel
    int white;  // upper limit of the fourth channel
};

// Colours are limited from above only. In the fourth channel the black point comes first: it holds
// even where a host has set it above the white point.
template <class Value>
Value Limited(Value value, int channel, const Limits& limits) {
    if (channel < 3)
        return std::min(value, Value{limits.colour});
    return value < limits.black ? Value{limits.black} : std::min(value, Value{limits.white});
}

struct ByteChannels {
    using Value = std::int32_t; // 255 * 2^20 fits
    static Limits CurrentLimits() { return {COLOR_MAX_VALUE, BLACK_POINT_VALUE, WHITE_POINT_VALUE}; }
    static void Store(unsigned char* pixel, int channel, Value value) {
        pixel[channel] = static_cast<unsigned char>(value);
    }
};

struct WordChannels {
    using Value = std::int64_t;
    static Limits CurrentLimits() { return {COLOR_MAX_VALUE16, BLACK_POINT_VALUE16, WHITE_POINT_VALUE16}; }
    static void Store(unsigned char* pixel, int channel, Value value) {
        StoreU16(pixel + channel * 2, static_cast<std::uint16_t>(value));
    }
};

// ---- fetching ---------------------------------------------------------------------------------

using Samples3 = std::array<int, 3>;
using Samples4 = std::array<int, 4>;

// Colours are mixed, never indices.
Samples3 Colour(const ColourTable& table, std::uint32_t index) {
    if (index >= table.readable)
        return {0, 0, 0};
    const unsigned char* const entry = table.entries + index * sizeof(tagRGBQUAD);
    return {entry[0], entry[1], entry[2]};
}

struct SmallBits : ByteChannels {
    static Samples3 Fetch(const RowTask& task, const unsigned char* row, int column) {
        const _tagDIBPARAM& source = *task.source;
        const unsigned byte = row[column / source.nPixelsPerByte];
        // The leftmost pixel is in the most significant bits.
        const int fromRight = source.nPixelsPerByte - 1 - column % source.nPixelsPerByte;
        return Colour(task.table, (byte >> (fromRight * source.nBitCount)) & source.byMask);
    }
};

struct Indexed8 : ByteChannels {
    static Samples3 Fetch(const RowTask& task, const unsigned char* row, int offset) {
        return Colour(task.table, row[offset]);
    }
};

// Five bits each of blue, green and red from the lowest bit up, widened before they are mixed.
struct Packed16 : ByteChannels {
    static Samples3 Fetch(const RowTask&, const unsigned char* row, int offset) {
        const int word = LoadU16(row + offset);
        return {Widened(word), Widened(word >> 5), Widened(word >> 10)};
    }
    static int Widened(int bits) { return (bits & 0x1F) * 255 / 31; }
};

struct Bytes24 : ByteChannels {
    static Samples3 Fetch(const RowTask&, const unsigned char* row, int offset) {
        const unsigned char* const at = row + offset;
        return {at[0], at[1], at[2]};
    }
};

struct Bytes32 : ByteChannels {
    static Samples4 Fetch(const RowTask&, const unsigned char* row, int offset) {
        const unsigned char* const at = row + offset;
        return {at[0], at[1], at[2], at[3]};
    }
};

int SignedWord(const unsigned char* at) { return static_cast<std::int16_t>(LoadU16(at)); }

struct Words48 : WordChannels {
    static Samples3 Fetch(const RowTask&, const unsigned char* row, int offset) {
        const unsigned char* const at = row + offset;
        return {SignedWord(at), SignedWord(at + 2), SignedWord(at + 4)};
    }
};

struct Words64 : WordChannels {
    static Samples4 Fetch(const RowTask&, const unsigned char* row, int offset) {
        const unsigned char* const at = row + offset;
        return {SignedWord(at), SignedWord(at + 2), SignedWord(at + 4), SignedWord(at + 6)};
    }
};

// ---- the loop ---------------------------------------------------------------------------------

template <class Format>
void MakeRow(const RowTask& task) {
    using Value = typename Format::Value;
    const Limits limits = Format::CurrentLimits();
    const int fy = task.fy;
    unsigned char* out = task.out;
    for (int x = 0; x < task.count; ++x, out += task.outStep) {
        const _tagCOORDENTRY& column = task.columns[x];
        // Four weights that sum to 2^20 exactly.
        const int fx = column.nFraction;
        const int w11 = fx * fy;
        const int w01 = (fx << 10) - w11;
        const int w10 = (fy << 10) - w11;
        const int w00 = (1 << 20) - w01 - (fy << 10);
        const auto s00 = Format::Fetch(task, task.upper, column.nOffset0);
        const auto s01 = Format::Fetch(task, task.upper, column.nOffset1);
        const auto s10 = Format::Fetch(task, task.lower, column.nOffset0);
        const auto s11 = Format::Fetch(task, task.lower, column.nOffset1);
        for (std::size_t c = 0; c < s00.size(); ++c) {
            const Value sum = Value{s00[c]} * w00 + Value{s01[c]} * w01 + Value{s10[c]} * w10 + Value{s11[c]} * w11;
            // Truncated, and rounded down where the sum is negative: the shift keeps the sign.
            const int channel = static_cast<int>(c);
            Format::Store(out, channel, Limited(Value{sum >> 20}, channel, limits));
        }
    }
}

} // namespace

void ScalarRowSmallBits(const RowTask& task) { MakeRow<SmallBits>(task); }
void ScalarRow8(const RowTask& task) { MakeRow<Indexed8>(task); }
void ScalarRow16(const RowTask& task) { MakeRow<Packed16>(task); }
void ScalarRow24(const RowTask& task) { MakeRow<Bytes24>(task); }
void ScalarRow32(const RowTask& task) { MakeRow<Bytes32>(task); }
void ScalarRow48(const RowTask& task) { MakeRow<Words48>(task); }
void ScalarRow64(const RowTask& task) { MakeRow<Words64>(task); }

} // namespace dibprep
