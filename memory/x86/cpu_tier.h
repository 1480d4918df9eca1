// Which instruction set the kernels may use. Every kernel has a scalar form, which defines its
// result; a tier only makes it faster. The processor is asked once.
#pragma once

#include <array>
#include <cstddef>

namespace dibprep {

// Each tier includes those before it. Avx512 means the foundation with its byte, word, doubleword and
// quadword instructions in all widths, and byte permutes (F, BW, DQ, VL, VBMI).
enum class Tier { Scalar, Sse2, Ssse3, Avx2, Avx512 };

constexpr Tier BestKnownTier = Tier::Avx512;
constexpr std::array<Tier, 5> EveryTier = {Tier::Scalar, Tier::Sse2, Tier::Ssse3, Tier::Avx2, Tier::Avx512};
static_assert(EveryTier.back() == BestKnownTier);

// What a processor has, and its operating system saves the registers of.
struct InstructionSets {
    bool sse2 = false;
    bool ssse3 = false;
    bool avx2 = false;
    bool avx512 = false; // all that the tier takes
};

// The best tier with these: one counts only where all tiers below it are there.
Tier TierWith(const InstructionSets& sets);

// The best tier of this processor (and of its operating system, which must save the registers).
Tier ProcessorTier();

// The tier in use: the processor's, unless a test forces a lower one.
Tier CurrentTier();

// For tests: kernels chosen from now on use at most this tier.
void ForceTier(Tier tier);

const char* NameOf(Tier tier);

// A table of kernels for every tier, in their order.
template <class Table>
std::array<Table, EveryTier.size()> TablesFor(Table (*tableFor)(Tier)) {
    std::array<Table, EveryTier.size()> tables;
    for (const Tier tier : EveryTier)
        tables[static_cast<std::size_t>(tier)] = tableFor(tier);
    return tables;
}

} // namespace dibprep
