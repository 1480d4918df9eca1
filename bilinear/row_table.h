// The fast form of the row kernels with 8-bit channels: the stages of which a row is made, and the
// table of their best forms.
//
// The four weighted samples of a channel are mixed in two steps, nothing dropped between them:
//     h = 1024 * s0 + fx * (s1 - s0)                   across one source row; at most 255 * 2^10
//     v = ((1024 - fy) * h0 + fy * h1) >> 20           down, from two h
// which is the scalar kernels' sum, its terms in another order.
//
// 18 bits of h fit no 16-bit lane. With fx = 16 * a + b, a at most 63 and b at most 15,
//     h = 16 * p + q     p = (64 - a) * s0 + a * s1    0 to 64 * 255 = 16320
//                        q = b * (s1 - s0)             within 15 * 255 = 3825 of 0
// and all weights of samples are signed bytes, all p and q signed words. A slot, which is a channel of
// an output pixel, is a 32-bit word with q in its low and p in its high half. The pair times the weights
// (w, 16 * w) is h * w in one multiply-add. 16 * w is at most 16384, and the two products add up to
// v * 2^20 at most: no sum leaves 31 bits.
//
// No h is kept: reading and writing rows of words that outgrow the first cache takes longer than mixing
// a source row again. Instead two output rows are made at once, where they share what comes from a
// source row, and always what is known of the columns.
#pragma once

#include "memory/x86/cpu_tier.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// Four neighbouring slots take all their samples from 16 bytes of the source row: those of a register's
// half, or of a whole one of the smallest. Wide windows are 64 bytes for the 16 slots of the largest.
constexpr int SlotsPerWindow = 4;
constexpr int WindowBytes = 16;
constexpr int SlotsPerWideWindow = 16;
constexpr int WideWindowBytes = 64;
// Rows are made in steps of four registers, those of eight slots at most from the start of the row or
// behind a multiple of SlotsPerStep slots; pixels of four slots go in eights. With wide windows a step
// begins at any register.
constexpr int RegistersPerStep = 4;
constexpr int SlotsPerStep = 32;

// One output pixel for stages that cannot pick bytes from a window.
struct PixelColumn {
    std::int32_t offset;    // of 8 bytes that hold both samples; of the two samples where they are bytes
    std::int32_t shift;     // bits of the 8 bytes in front of the left sample
    std::int16_t coarse[2]; // 64 - a, a
    std::int16_t fine[2];   // -b, b
};

// Which bytes of the row a register of slots takes.
struct WindowPicks {
    std::int32_t base[2];      // first bytes of the windows of its halves; of one window, the first
    const std::uint8_t* picks; // s0, s1, s0, s1 for each slot: which bytes of them; 0x80: none, no weight
};

// One register of slots, with all that a stage needs to know in one place: registers for addresses are few.
struct alignas(16) Window : WindowPicks {
    alignas(16) std::int8_t weights[2 * WindowBytes]; // -b, b, 64 - a, a for each slot
};

// Where the samples of a row lie and how they weigh. A stage uses windows, wide windows or pixels.
struct MixPlan {
    const Window* windows; // one per register
    bool oneWindow;        // both halves of a register have the same window
    // One per register, and those of a step behind the last; null: not these. Their weights stand apart, 64
    // bytes to a register: what lies in two lines of the caches is read twice.
    const WindowPicks* widePicks;
    const std::int8_t* wideWeights;
    const PixelColumn* columns; // one per pixel
    int pixelBytes;             // from the left to the right sample: 1, 3 or 4
};

// Which output rows are made at once, and of which source rows.
enum class Group {
    One,   // one of rows 0 and 1
    Same,  // both of rows 0 and 1
    Chain, // of rows 0 and 1, and of rows 1 and 2
    Apart, // of rows 0 and 1, and of rows 2 and 3
};
constexpr int MostSourceRows = 4;
constexpr int MostOutputRows = 2;
constexpr int SourceRowsOf(Group group) { return group == Group::Apart ? 4 : group == Group::Chain ? 3 : 2; }
constexpr int OutputRowsOf(Group group) { return group == Group::One ? 1 : 2; }
// The first of the two source rows of the second output row.
constexpr int SecondUpperOf(Group group) { return SourceRowsOf(group) - 2; }

struct Sources {
    const unsigned char* rows[MostSourceRows];
    std::uintptr_t ahead[MostSourceRows]; // rows that are needed soon; nothing is read there
};

struct MixTask {
    Group group;
    Sources sources;
    int fy[MostOutputRows];
    unsigned char* out[MostOutputRows];
    std::ptrdiff_t bytes; // of each output row; not one more is written
};

using MixKernel = void (*)(const MixPlan& plan, const MixTask& task);

// From `count` pixels to pixels of four bytes, by the colours of their indices or of five bits a channel;
// or to one byte each.
using ColourKernel = void (*)(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out);
using LevelKernel = void (*)(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out);
using WidenKernel = void (*)(const unsigned char* row, int count, std::uint32_t* out);

// LevelKernel also stands for levels that are one of sixteen bytes by the low four bits of an index plus one of
// sixteen others by its high ones, modulo 256: as in the table from white to black, or any even ramp.
// `levels` then has the sixteen of the low bits, and behind them the others. And for `count` bytes of two
// pixels each. And for colours, by 256 levels of the lowest channel and behind them those of the two others.

// The highest of `count` bytes.
using HighestKernel = int (*)(const unsigned char* row, int count);

// Where a row changes: bit i of `changes` tells whether byte i differs from the next one. Answers how
// many do. Whole words are written, the bits behind the last pair being those of other pairs. The row
// has at least LeastCompared bytes. `ahead` as above.
using ChangeKernel = int (*)(const unsigned char* row, int bytes, std::uint32_t* changes, std::uintptr_t ahead);
constexpr int LeastCompared = 33;

// `bytes` bytes of pixels of three, all of one colour.
using FillKernel = void (*)(unsigned char* out, std::int64_t bytes, std::uint32_t colour);

// Lays the groups of whole bytes of a packed row one after the other: those of 2 or 8 bytes, by the byte,
// or those of 16, by its halves.
using PackedKernel = void (*)(const unsigned char* row, int bytes, const unsigned char* groups, int group,
                              unsigned char* out);

// Asks for bytes that are needed soon; nothing is read there.
using FetchKernel = void (*)(std::uintptr_t ahead, int bytes);

// How slots become output bytes.
enum Storing {
    StoreAll,         // every slot is a byte
    StoreThreeOfFour, // four slots are a pixel of three bytes
    StoreThrice,      // one slot is a pixel of three equal bytes
    StoringForms
};

struct RowTable {
    // Of each form those that the tier's plans need. With none, rows are made by the scalar kernels.
    MixKernel mix[StoringForms];
    int windowsPerRegister; // 0: the tier cannot pick bytes and uses pixels
    // The forms for wide windows, which are used where they reach; null: the tier has none.
    MixKernel mixWide[StoringForms];
    ColourKernel colour;
    LevelKernel colours3; // pixels of three bytes, by the levels of their channels; null: the tier has no such form
    LevelKernel levels;
    LevelKernel levelsBySums; // levels that are sums; null: the tier has no such form
    LevelKernel levels4;      // of halves of bytes; null: the tier has no such form
    PackedKernel packed;
    WidenKernel widen;
    HighestKernel highest;
    ChangeKernel changes; // null: not looked for
    FillKernel fill;
    FetchKernel fetch;
};

// The table of a tier of this processor.
const RowTable& RowsFor(Tier tier);

// What each tier of x86 puts into the table.
void AddSse2Rows(RowTable& table);
void AddSsse3Rows(RowTable& table);
void AddAvx2Rows(RowTable& table);
void AddAvx512Rows(RowTable& table);
void AddAvx512Feeds(RowTable& table);

// A channel of five bits in eight, truncated.
constexpr int Widened5(int bits) { return (bits & 0x1F) * 255 / 31; }

} // namespace dibprep
