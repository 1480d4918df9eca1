// The fast form of the row kernels with 8-bit channels: the stages of which a row is made, and the
// table of their best forms.
//
// The four weighted samples of a channel are mixed in two stages, nothing dropped between them:
//     h = 1024 * s0 + fx * (s1 - s0)                   across one source row; at most 255 * 2^10
//     v = ((1024 - fy) * h0 + fy * h1) >> 20           down, from two rows of h
// which is the scalar kernels' sum, its terms in another order. What a source row gives across
// depends on nothing else, so that it is kept while the row is needed.
//
// 18 bits of h fit no 16-bit lane. With fx = 16 * a + b, a at most 63 and b at most 15,
//     h = 16 * p + q     p = (64 - a) * s0 + a * s1    0 to 64 * 255 = 16320
//                        q = b * (s1 - s0)             within 15 * 255 = 3825 of 0
// and all weights of samples are signed bytes, all p and q signed words. A mixed row holds q in the
// low and p in the high half of a 32-bit word; the pair times the weights (w, 16 * w) is h * w in
// one multiply-add. 16 * w is at most 16384, and the two products add up to v * 2^20 at most:
// no sum leaves 31 bits.
#pragma once

#include "memory/x86/cpu_tier.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// Eight neighbouring slots (channels of output pixels) of a mixed row take all their samples from
// 16 bytes of the source row; or, where pixels lie far apart, each four from 8 bytes.
constexpr int SlotsPerWindow = 8;
constexpr int WindowBytes = 16;
constexpr int HalfWindowBytes = WindowBytes / 2;
// Windows are made in fours, 32 slots: what one step of the widest stage takes. Likewise pixels in
// eights, of four slots each.
constexpr int WindowsPerStep = 4;
constexpr int SlotsPerStep = SlotsPerWindow * WindowsPerStep;

// One output pixel for stages that cannot pick bytes from a window.
struct PixelColumn {
    std::int32_t offset;    // of 8 bytes that hold both samples; of the two samples where they are bytes
    std::int32_t shift;     // bits of the 8 bytes in front of the left sample
    std::int16_t coarse[2]; // 64 - a, a
    std::int16_t fine[2];   // -b, b
};

// Two windows, with all that a stage needs to know in one place: registers for addresses are few.
struct WindowPair {
    std::uint8_t picks[2 * WindowBytes]; // the two samples of each slot; 0x80: none
    std::int8_t coarse[2 * WindowBytes]; // 64 - a, a for each slot
    std::int8_t fine[2 * WindowBytes];   // -b, b for each slot
    std::int32_t base[4];                // first bytes in the row of the windows' halves
};

// Where the samples of a row lie and how they weigh. A tier uses windows or pixels.
struct AcrossPlan {
    int pairs;            // pairs of windows, a multiple of two
    WindowPair* windows;  // one per pair
    int pixels;           // pixels: a multiple of eight with four slots each, or of 32 with one
    int unshifted;        // pixels in front of the first one with a shift
    PixelColumn* columns; // one per pixel
    int pixelBytes;       // from the left to the right sample: 3 or 4
};

// From a source row to a mixed row. `ahead` is the address of a row that is needed soon; nothing is
// read there.
using AcrossKernel = void (*)(const AcrossPlan& plan, const unsigned char* row, std::int32_t* mixed,
                              std::uintptr_t ahead);

// From two mixed rows to `bytes` bytes of output, and not one more.
using DownKernel = void (*)(const std::int32_t* upper, const std::int32_t* lower, int fy, unsigned char* out,
                            std::int64_t bytes);

// From `count` pixels to pixels of four bytes (or of three, where the name says so), by the colours of
// their indices or of five bits a channel; or to one byte each. Behind pixels of three bytes up to
// four more are written.
using ColourKernel = void (*)(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out);
using LevelKernel = void (*)(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out);
using WidenKernel = void (*)(const unsigned char* row, int count, std::uint32_t* out);

// LevelKernel also stands for levels that are one of sixteen bytes by the low four bits of an index plus one of
// sixteen others by its high ones, modulo 256: as in the table from white to black, or any even ramp.
// `levels` then has the sixteen of the low bits, and behind them the others. And for `count` bytes of two
// pixels each.

// The highest of `count` bytes.
using HighestKernel = int (*)(const unsigned char* row, int count);

// Where a row changes: bit i of `changes` tells whether byte i differs from the next one. Answers how
// many do. Whole words are written, the bits behind the last pair being those of other pairs. The row
// has at least LeastCompared bytes. `ahead` as above.
using ChangeKernel = int (*)(const unsigned char* row, int bytes, std::uint32_t* changes, std::uintptr_t ahead);
constexpr int LeastCompared = 33;

// `bytes` bytes of pixels of three, all of one colour.
using FillKernel = void (*)(unsigned char* out, std::int64_t bytes, std::uint32_t colour);

// Lays the groups of whole bytes of a packed row one after the other, `step` bytes apart: those of
// `group` bytes, by the byte, or those of 16 bytes, by its halves. A group may end behind its step.
using PackedKernel = void (*)(const unsigned char* row, int bytes, const unsigned char* groups, int group, int step,
                              unsigned char* out);

// Copies a finished row past the caches: whole lines of 64 bytes are neither read nor kept there. The
// row stands as far behind such a boundary as its place in the picture does.
using StreamKernel = void (*)(unsigned char* out, const unsigned char* row, std::size_t bytes);
// Behind the last such row: other threads see the rows before what is written later.
using FenceKernel = void (*)();

// Asks for bytes that are needed soon; nothing is read there.
using FetchKernel = void (*)(std::uintptr_t ahead, int bytes);

// How a mixed row becomes output bytes.
enum Storing {
    StoreAll,         // every slot is a byte
    StoreThreeOfFour, // four slots are a pixel of three bytes
    StoreThrice,      // one slot is a pixel of three equal bytes
    StoringForms
};

struct RowTable {
    AcrossKernel acrossWindows;    // null: the tier cannot pick bytes
    AcrossKernel acrossHalves;     // the same for windows of two halves
    AcrossKernel acrossPixels;     // null with acrossWindows: rows are made by the scalar kernels
    AcrossKernel acrossLevels;     // pixels of one slot, for tiers without acrossWindows
    DownKernel down[StoringForms]; // null: the tier has no such form
    ColourKernel colour;
    ColourKernel colour24; // null: the tier has no such form
    LevelKernel levels;
    LevelKernel levelsBySums; // levels that are sums; null: the tier has no such form
    LevelKernel levels4;      // of halves of bytes; null: the tier has no such form
    PackedKernel packed;
    WidenKernel widen;
    HighestKernel highest;
    ChangeKernel changes; // null: not looked for
    FillKernel fill;
    StreamKernel stream; // null: the tier has no such form
    FenceKernel fence;
    FetchKernel fetch;
};

// The table of a tier of this processor.
const RowTable& RowsFor(Tier tier);

// What each tier of x86 puts into the table.
void AddSse2Rows(RowTable& table);
void AddSsse3Rows(RowTable& table);
void AddAvx2Rows(RowTable& table);

// A channel of five bits in eight, truncated.
constexpr int Widened5(int bits) { return (bits & 0x1F) * 255 / 31; }

} // namespace dibprep
