// The scalar form of the row kernels, and the choice by tier.
#include "transform/row_kernels.h"

#include "memory/unaligned.h"
#include "transform/estimate.h"
#include "transform/sampling.h"

namespace dibprep {

namespace {

// The pairs of a group lie side by side; the scalar form has no shuffle.
void Weigh(const ColumnPlan& plan, const std::uint8_t* pairs, std::uint16_t* to) {
    for (std::size_t i = 0; i < plan.channels; ++i) {
        const int first = pairs[2 * i];
        const int second = pairs[2 * i + 1];
        const int weight = plan.weights[2 * i + 1];
        to[i] = static_cast<std::uint16_t>(first * (1 << plan.fractionBits) + (second - first) * weight);
    }
}

void ToDoubles(const ColumnPlan& plan, const std::uint8_t* pairs, double* to) {
    for (std::size_t i = 0; i < plan.channels; ++i) {
        const double first = pairs[2 * i];
        const double second = pairs[2 * i + 1];
        to[i] = first + (second - first) * plan.fractions[i];
    }
}

void PairColours(const std::uint8_t* row, const std::uint32_t* firsts, const std::uint32_t* seconds, std::size_t pixels,
                 std::uint8_t* pairs) {
    for (std::size_t x = 0; x < pixels; ++x) {
        for (int channel = 0; channel < 3; ++channel) {
            *pairs++ = row[firsts[x] + channel];
            *pairs++ = row[seconds[x] + channel];
        }
    }
}

void MapLevels(const std::uint8_t* levels, const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = levels[from[i]];
}

void Narrow(const std::uint16_t* from, unsigned int shift, std::uint8_t* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<std::uint8_t>(from[i] >> shift);
}

void MixWords(const std::uint16_t* row0, const std::uint16_t* row1, const RowWeights& weights,
              unsigned int fractionBits, std::uint8_t* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<std::uint8_t>((row0[i] * weights.first + row1[i] * weights.second) >>
                                           (fractionBits + weights.bits));
}

void MixWordsInDoubles(const std::uint16_t* row0, const std::uint16_t* row1, double fraction, unsigned int fractionBits,
                       std::uint8_t* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const double top = row0[i];
        const double bottom = row1[i];
        out[i] = static_cast<std::uint8_t>(Truncate(top + (bottom - top) * fraction) >> fractionBits);
    }
}

void MixDoubles(const double* row0, const double* row1, double fraction, std::uint8_t* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<std::uint8_t>(Truncate(row0[i] + (row1[i] - row0[i]) * fraction));
}

// Left or right sample of channel i.
int SampleOf(const EstimatePlan& plan, const std::uint8_t* bytes, std::size_t i, std::size_t which) {
    const std::uint8_t index = plan.shuffles[i * 4 + which * 2];
    return index == EmptyByte ? 0 : bytes[plan.offsets[i / plan.windowChannels] + index];
}

void Estimate(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, std::int32_t* to) {
    for (std::size_t i = strip.begin; i < strip.end; ++i) {
        const int first = SampleOf(plan, bytes, i, 0);
        to[i] = first * EstimateUnit + (SampleOf(plan, bytes, i, 1) - first) * plan.weights[i];
    }
}

// The definition: leaves nothing to the estimates.
std::size_t MixEstimates(const EstimatePlan& plan, const EstimatedRow& row0, const EstimatedRow& row1, double fraction,
                         Strip strip, std::uint8_t* out) {
    for (std::size_t i = strip.begin; i < strip.end; ++i)
        out[i] = Mix(SampleOf(plan, row0.bytes, i, 0), SampleOf(plan, row0.bytes, i, 1),
                     SampleOf(plan, row1.bytes, i, 0), SampleOf(plan, row1.bytes, i, 1), plan.fractions[i], fraction);
    return (strip.end - strip.begin + 7) / 8;
}

void Across(const EstimatePlan& plan, const std::uint8_t* bytes, Strip strip, double* to) {
    for (std::size_t i = strip.begin; i < strip.end; ++i) {
        const double first = SampleOf(plan, bytes, i, 0);
        to[i] = first + (SampleOf(plan, bytes, i, 1) - first) * plan.fractions[i];
    }
}

void GatherRow(const BitPlan& plan, const std::uint8_t* row, std::uint8_t* to) {
    for (std::size_t byte = 0; byte < plan.pixels / 8; ++byte) {
        unsigned int firstBits = 0;
        unsigned int secondBits = 0;
        for (std::size_t i = byte * 8; i < byte * 8 + 8; ++i) {
            const unsigned int both = LoadU16(row + plan.bytes[i]);
            firstBits |= static_cast<unsigned int>((both & plan.firstMasks[i]) != 0) << (i & 7);
            secondBits |= static_cast<unsigned int>((both & plan.secondMasks[i]) != 0) << (i & 7);
        }
        std::uint8_t* const at = to + byte / BitUnit * BitRowsUnit + byte % BitUnit;
        at[0] = static_cast<std::uint8_t>(firstBits);
        at[BitRightSamples] = static_cast<std::uint8_t>(secondBits);
    }
}

void GatherBits(const BitPlan& plan, const std::uint8_t* row0, const std::uint8_t* row1, std::uint8_t* to) {
    GatherRow(plan, row0, to);
    if (row1)
        GatherRow(plan, row1, to + BitSecondRow);
}

// The pixels of a byte that a rule sets; `columns` are its rows' bytes.
unsigned int PickByte(const BitRule& rule, const std::uint8_t* columns, const std::uint8_t* upper,
                      const std::uint8_t* lower) {
    const unsigned int left0 = upper[0];
    const unsigned int right0 = upper[BitRightSamples];
    const unsigned int left1 = rule.form == BitForm::Alone ? 0 : lower[0];
    const unsigned int right1 = rule.form == BitForm::Alone ? 0 : lower[BitRightSamples];
    unsigned int falling = rule.form == BitForm::Any ? 0u : columns[rule.falling[0]];
    unsigned int rising = rule.form == BitForm::Any ? 0u : ~static_cast<unsigned int>(columns[rule.rising[0]]);
    // Adds the columns for pixels with one, the other, or both of two samples.
    const auto fall = [&](unsigned int pixels, std::size_t which) { falling |= pixels & columns[rule.falling[which]]; };
    const auto rise = [&](unsigned int pixels, std::size_t which) {
        rising |= pixels & ~static_cast<unsigned int>(columns[rule.rising[which]]);
    };
    unsigned int left = left0;
    unsigned int right = right0;
    switch (rule.form) {
    case BitForm::Alone:
        break;
    case BitForm::Dominant:
        fall(right1, 1);
        fall(left1, 2);
        fall(left1 & right1, 3);
        rise(right1, 1);
        rise(left1, 2);
        rise(left1 & right1, 3);
        break;
    case BitForm::Any:
        left |= left1;
        right |= right1;
        fall(left0, 1);
        fall(left1, 2);
        fall(left0 & left1, 3);
        rise(right0, 1);
        rise(right1, 2);
        rise(right0 & right1, 3);
        break;
    case BitForm::Both:
        left &= left1;
        right &= right1;
        fall(right0, 1);
        fall(right1, 2);
        rise(left0, 1);
        rise(left1, 2);
        break;
    }
    return (left & right) | (left & ~right & falling) | (~left & right & rising);
}

void PickBits(const BitRule& rule, const std::uint8_t* upper, const std::uint8_t* lower, std::size_t pixels,
              std::uint8_t* out) {
    for (std::size_t byte = 0; byte * 8 < pixels; ++byte) {
        const std::size_t unit = byte / BitUnit;
        const std::size_t at = unit * BitRowsUnit + byte % BitUnit;
        const unsigned int picked =
            PickByte(rule, rule.columns + unit * rule.columnsUnit + byte % BitUnit, upper + at, lower + at) ^ rule.flip;
        const std::size_t left = pixels - byte * 8;
        out[byte] = static_cast<std::uint8_t>(out[byte] | (picked & (left < 8 ? 0xFF00u >> left : 0xFFu)));
    }
}

} // namespace

RowKernels RowKernelsFor(Tier tier) {
    RowKernels kernels;
    kernels.weigh = Weigh;
    kernels.toDoubles = ToDoubles;
    kernels.pairColours = PairColours;
    kernels.mapLevels = MapLevels;
    kernels.narrow = Narrow;
    kernels.mixWords = MixWords;
    kernels.mixWordsInDoubles = MixWordsInDoubles;
    kernels.mixDoubles = MixDoubles;
    kernels.estimate = Estimate;
    kernels.mixEstimates = MixEstimates;
    kernels.across = Across;
    kernels.gatherBits = GatherBits;
    kernels.pickBits = PickBits;
    if (tier >= Tier::Sse2)
        AddSse2RowKernels(kernels);
    if (tier >= Tier::Ssse3)
        AddSsse3RowKernels(kernels);
    if (tier >= Tier::Avx2) {
        AddAvx2RowKernels(kernels);
        AddAvx2EstimateKernels(kernels);
        AddAvx2BitKernels(kernels);
    }
    if (tier >= Tier::Avx512) {
        AddAvx512RowKernels(kernels);
        AddAvx512EstimateKernels(kernels);
        AddAvx512BitKernels(kernels);
    }
    return kernels;
}

} // namespace dibprep
