// Where the random cases of the comparing tests start and how many there are. Both can be set from
// outside: DIBPREP_RANDOM_START is the first case's number, DIBPREP_RANDOM_CASES multiplies the
// counts (a decimal number, 1 by default; 0 leaves one case). A failing case prints the command that
// runs it alone.
#pragma once

#include "tests/support/dib_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno> // program_invocation_name
#include <cstdint>
#include <cstdlib>
#include <string>

namespace oracle {

inline std::uint64_t RandomStart() {
    const char* text = std::getenv("DIBPREP_RANDOM_START");
    return text ? std::strtoull(text, nullptr, 10) : 1;
}

inline std::uint64_t RandomCases(int usual) {
    const char* text = std::getenv("DIBPREP_RANDOM_CASES");
    const double scale = text ? std::clamp(std::strtod(text, nullptr), 0.0, 1e6) : 1.0;
    return std::max<std::uint64_t>(1, static_cast<std::uint64_t>(usual * scale));
}

// The instruction set that the library's kernels choose on this processor.
inline const char* TierName() {
    return __builtin_cpu_supports("avx2") ? "AVX2" : __builtin_cpu_supports("ssse3") ? "SSSE3" : "SSE2";
}

// What a failing case prints: its number, the tier, and the command that runs it alone.
inline std::string CaseName(std::uint64_t number) {
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = test ? std::string(test->test_suite_name()) + "." + test->name() : "*";
    return "case " + std::to_string(number) + " on " + TierName() +
           "; alone: DIBPREP_RANDOM_START=" + std::to_string(number) + " DIBPREP_RANDOM_CASES=0 " +
           program_invocation_name + " --gtest_filter=" + name;
}

// The numbers of one case: neighbouring cases start far apart.
inline testdib::Random RandomOf(std::uint64_t number) {
    testdib::Random random(number * 0x9E3779B97F4A7C15ULL + 0x632BE59BD9B4E019ULL);
    for (int i = 0; i < 8; ++i)
        random.Next();
    return random;
}

} // namespace oracle
