// The steps of the fast row road, each as a function that an instruction set can have its own form
// of. What they compute is defined by the line builders; here stand only the shapes of the data.
#pragma once

#include "memory/x86/cpu_tier.h"
#include "transform/bit_rows.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// How the channels of an output row come from the bytes of a source row. A channel is one output
// byte: a gray level, or one colour of a pixel. Eight channels form a group, which is made from one
// window of 16 bytes, or 32 from one of 64: the shuffle brings the window's bytes into pairs (left
// sample, right sample).
struct ColumnPlan {
    std::size_t channels = 0;
    std::size_t groups = 0;                 // channels / channels of a group, rounded up
    unsigned int fractionBits = 0;          // weights are in units of 1 / 2^fractionBits
    const std::uint32_t* offsets = nullptr; // a group: where its window begins
    const std::uint8_t* shuffles = nullptr; // a channel: two indices into the window
    const std::uint8_t* weights = nullptr;  // a channel: a pair (2^fractionBits - k, k)
    const double* fractions = nullptr;      // a channel: the weight of its right sample
    // The first `period` groups stand for `repeats` times as many, whose windows advance by `step`
    // bytes each time; what is left has entries of its own. Tables that repeat stay in the first cache.
    std::size_t period = 0;
    std::size_t repeats = 0;
    std::size_t step = 0;
};

// How the channels of an output row are estimated: four of them share a window of 16 bytes, or sixteen
// one of 64.
struct EstimatePlan {
    std::size_t channels = 0;
    std::size_t windowChannels = 4;
    const std::uint32_t* offsets = nullptr; // a window: where it begins
    const std::uint8_t* shuffles = nullptr; // a channel: left, none, right, none; an index into the window or EmptyByte
    const std::int32_t* weights = nullptr;  // a channel: EstimateWeight of its fraction
    const double* fractions = nullptr;      // a channel: the weight of its right sample
};

constexpr std::uint8_t EmptyByte = 0x80;

constexpr std::size_t RowUnit = 32;

// One source row: the bytes that the windows lie in, and the estimates made of them.
struct EstimatedRow {
    const std::uint8_t* bytes;
    const std::int32_t* estimates;
};

// Channels of a row; `begin` is a multiple of 32. Pointers to rows are to their first channel.
struct Strip {
    std::size_t begin;
    std::size_t end;
};

// Weights of two rows, in units of 1 / (first + second), which is a power of two.
struct RowWeights {
    unsigned int first;
    unsigned int second;
    unsigned int bits; // its exponent, at most 14
};

// All rows of scratch may be read and written to the next multiple of RowUnit elements, rows of bits to
// that of BitUnit bytes. `out` is a row of the destination: exactly `count` bytes of it are written.
struct RowKernels {
    // The tier that each of them has its form from.
    Tier tier = Tier::Scalar;

    // Whether weigh and toDoubles apply the shuffles; otherwise groups are pairs already.
    bool shuffles = false;
    // Of the windows that all its shuffles take: 16 or 64.
    std::size_t windowBytes = 16;
    // Horizontal results times 2^fractionBits, at most 255 * 64. Exact.
    void (*weigh)(const ColumnPlan& plan, const std::uint8_t* bytes, std::uint16_t* to) = nullptr;
    // Horizontal results in the line builders' own arithmetic.
    void (*toDoubles)(const ColumnPlan& plan, const std::uint8_t* bytes, double* to) = nullptr;
    // Pairs of three channels: four bytes are read at 3 * first and at 3 * second, and eight written.
    void (*pairColours)(const std::uint8_t* row, const std::uint32_t* firsts, const std::uint32_t* seconds,
                        std::size_t pixels, std::uint8_t* pairs) = nullptr;

    // Levels of a table of 256. Neither row is touched behind `count` bytes.
    void (*mapLevels)(const std::uint8_t* levels, const std::uint8_t* from, std::size_t count,
                      std::uint8_t* to) = nullptr;

    // One weighed row: from >> shift.
    void (*narrow)(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) = nullptr;
    // Two weighed rows of `fractionBits`, exactly.
    void (*mixWords)(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
                     unsigned int fractionBits, std::uint8_t* out, std::size_t count) = nullptr;
    // Both steps at once for rows that are needed only once, straight from their bytes; weights.second
    // may be 0. All bits together are at most 8. Null where the tier has no form of it.
    void (*weighAndMix)(const ColumnPlan& plan, const std::uint8_t* bytes0, const std::uint8_t* bytes1,
                        const RowWeights& weights, std::uint8_t* out) = nullptr;
    // Two weighed rows with a vertical fraction that is no short binary one: doubles.
    void (*mixWordsInDoubles)(const std::uint16_t* row0, const std::uint16_t* row1, double fraction,
                              unsigned int fractionBits, std::uint8_t* out, std::size_t count) = nullptr;
    void (*mixDoubles)(const double* row0, const double* row1, double fraction, std::uint8_t* out,
                       std::size_t count) = nullptr;

    // Whether the tier has its own forms of the next three. They build the channels of a strip.
    bool estimates = false;
    // Horizontal results as estimates (see estimate.h).
    void (*estimate)(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, std::int32_t* to) = nullptr;
    // Two estimated rows. What the estimates leave open is computed in the line builders' arithmetic;
    // the number of groups of eight channels that were.
    std::size_t (*mixEstimates)(const EstimatePlan& plan, const EstimatedRow& row0, const EstimatedRow& row1,
                                double fraction, Strip strip, std::uint8_t* out) = nullptr;
    // Horizontal results in the line builders' own arithmetic.
    void (*across)(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, double* to) = nullptr;

    // The left and the right sample of every pixel in one or two source rows (`row1` may be null): from bytes
    // and masks, or from the windows, where the tier has a shuffle. A source row may be read to one window
    // behind its last byte. Of the samples behind the last pixel nothing is known.
    void (*gatherBits)(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                       std::uint8_t* to) = nullptr;
    void (*shuffleBits)(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1,
                        std::uint8_t* to) = nullptr;
    // From the samples of two rows the bits that are set, or those that are not where the rule flips. Only sets
    // bits of the `pixels` first, never clears any. Alone the second row is not looked at.
    void (*pickBits)(const BitRule& rule, const std::uint8_t* upper, const std::uint8_t* lower, std::size_t pixels,
                     std::uint8_t* out) = nullptr;
};

// The best form of every kernel up to `tier`. A processor below `tier` must not run them.
RowKernels RowKernelsFor(Tier tier);

// Each overwrites the entries that its instruction set does better.
void AddSse2RowKernels(RowKernels& kernels);
void AddSsse3RowKernels(RowKernels& kernels);
void AddAvx2RowKernels(RowKernels& kernels);
void AddAvx2EstimateKernels(RowKernels& kernels);
void AddAvx2BitKernels(RowKernels& kernels);
void AddAvx512RowKernels(RowKernels& kernels);
void AddAvx512EstimateKernels(RowKernels& kernels);
void AddAvx512BitKernels(RowKernels& kernels);

} // namespace dibprep
