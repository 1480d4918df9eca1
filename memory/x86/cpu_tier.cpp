// Asks the processor for its instruction sets.
#include "memory/x86/cpu_tier.h"

#include <algorithm>
#include <atomic>

namespace dibprep {

namespace {

std::atomic<Tier> highestAllowed{BestKnownTier};

Tier AskProcessor() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) {
        const bool all = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
                         __builtin_cpu_supports("avx512vbmi");
        return all ? Tier::Avx512 : Tier::Avx2;
    }
    if (__builtin_cpu_supports("ssse3"))
        return Tier::Ssse3;
    return __builtin_cpu_supports("sse2") ? Tier::Sse2 : Tier::Scalar;
}

} // namespace

Tier ProcessorTier() {
    static const Tier tier = AskProcessor();
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
