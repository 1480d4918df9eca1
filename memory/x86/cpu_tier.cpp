// Asks the processor for its instruction sets.
#include "memory/x86/cpu_tier.h"

#include <algorithm>
#include <atomic>

namespace dibprep {

namespace {

std::atomic<Tier> highestAllowed{BestKnownTier};

// Without a branch: every processor goes the same way.
InstructionSets AskProcessor() {
    __builtin_cpu_init();
    InstructionSets sets;
    sets.sse2 = __builtin_cpu_supports("sse2") != 0;
    sets.ssse3 = __builtin_cpu_supports("ssse3") != 0;
    sets.avx2 = __builtin_cpu_supports("avx2") != 0;
    sets.avx512 = ((__builtin_cpu_supports("avx512f") != 0) & (__builtin_cpu_supports("avx512bw") != 0) &
                   (__builtin_cpu_supports("avx512dq") != 0) & (__builtin_cpu_supports("avx512vl") != 0) &
                   (__builtin_cpu_supports("avx512vbmi") != 0)) != 0;
    return sets;
}

} // namespace

Tier TierWith(const InstructionSets& sets) {
    Tier best = Tier::Scalar;
    for (const bool has : {sets.sse2, sets.ssse3, sets.avx2, sets.avx512}) {
        if (!has)
            break;
        best = static_cast<Tier>(static_cast<int>(best) + 1);
    }
    return best;
}

Tier ProcessorTier() {
    static const Tier tier = TierWith(AskProcessor());
    return tier;
}

Tier CurrentTier() { return std::min(ProcessorTier(), highestAllowed.load(std::memory_order_relaxed)); }

void ForceTier(Tier tier) { highestAllowed.store(tier, std::memory_order_relaxed); }

const char* NameOf(Tier tier) {
    switch (tier) {
    case Tier::Avx512:
        return "AVX512";
    case Tier::Avx2:
        return "AVX2";
    case Tier::Ssse3:
        return "SSSE3";
    case Tier::Sse2:
        return "SSE2";
    default:
        return "scalar";
    }
}

} // namespace dibprep
