// Which instruction set the kernels may use. Every kernel has a scalar form, which defines its
// result; a tier only makes it faster. The processor is asked once.
#pragma once

namespace dibprep {

// Each tier includes those before it.
enum class Tier { Scalar, Sse2, Ssse3, Avx2 };

constexpr Tier BestKnownTier = Tier::Avx2;

// The best tier of this processor (and of its operating system, which must save the registers).
Tier ProcessorTier();

// The tier in use: the processor's, unless a test forces a lower one.
Tier CurrentTier();

// For tests: kernels chosen from now on use at most this tier.
void ForceTier(Tier tier);

const char* NameOf(Tier tier);

} // namespace dibprep
