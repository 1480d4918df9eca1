// Where the random cases of the comparing tests start and how many there are. Both can be set from
// outside: DIBPREP_RANDOM_START is the first case's number, DIBPREP_RANDOM_CASES multiplies the
// counts (a decimal number, 1 by default). A failing case prints its number, so that the same case
// runs first with DIBPREP_RANDOM_START set to it.
#pragma once

#include "tests/support/dib_builder.h"

#include <algorithm>
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

inline std::string CaseName(std::uint64_t number) {
    return "case " + std::to_string(number) + " (run it first with DIBPREP_RANDOM_START=" + std::to_string(number) +
           ")";
}

// The numbers of one case: neighbouring cases start far apart.
inline testdib::Random RandomOf(std::uint64_t number) {
    testdib::Random random(number * 0x9E3779B97F4A7C15ULL + 0x632BE59BD9B4E019ULL);
    for (int i = 0; i < 8; ++i)
        random.Next();
    return random;
}

} // namespace oracle
