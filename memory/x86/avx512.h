// What files of the AVX-512 tier begin with: the intrinsics, the attribute of their functions, masks.
#pragma once

// GCC takes the undefined registers inside these intrinsics for forgotten variables (bug 105593).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#include <cstddef>

#define DIBPREP_AVX512 __attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi")))

namespace dibprep {
namespace {

// The first `left` of 64 lanes, or all.
DIBPREP_AVX512 inline __mmask64 Lanes64(std::size_t left) {
    return left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
}

} // namespace
} // namespace dibprep
