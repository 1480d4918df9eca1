// Estimates of the line builders' values in fixed point, and how far off they can be.
//
// In units of 2^-23, with the fractions fx and fy as the line builders have them:
//
// - A column's weight k is odd and at most 1 away from fx * 2^23. The horizontal estimate
//   a * 2^23 + (b - a) * k is computed exactly and at most 255 away from a + (b - a) * fx. It is a
//   whole number of levels only if a and b are the same: an odd k times a difference below 256 is
//   no other multiple of 2^23.
// - Between two such rows there are at most 255 * 2^23. Their difference and fy as single-precision
//   numbers and the product of the two are each off by a part of 2^-23 at most in any rounding mode,
//   together by 766, and by 1 more as an integer. A mean of two estimates is no farther off than the
//   worse one: 255.
// - The doubles themselves are less than 2^-41 levels away from real numbers.
//
// The estimate is therefore less than EstimateMargin away from what the doubles give. Where no whole
// level is that near, both truncate to the same level. Four equal samples give two equal estimates
// that are whole levels, which nothing else does, and the doubles give the sample itself then.
#pragma once

#include <cstdint>

namespace dibprep {

constexpr int EstimateBits = 23; // 255 levels fit a signed doubleword
constexpr std::int32_t EstimateUnit = 1 << EstimateBits;
constexpr std::int32_t EstimateMargin = 1024;

// The odd weight next to a fraction that is at least 0 and below 1.
inline std::int32_t EstimateWeight(double fraction) { return static_cast<std::int32_t>(fraction * EstimateUnit) | 1; }

} // namespace dibprep
