// What the benchmarks share: time, pages, and rounds in which all contestants take turns.
//
// Times are the calling thread's processor time, so that other programs on the machine count less.
// Before every timed call a large block is written, so that neither the input nor the output is in
// a cache. Minimum and median of the rounds are shown, and each time as a ratio to LIMIT: reading
// the input once and writing the output once.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace bench {

inline double Milliseconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

inline void LeaveCaches() {
    static std::vector<unsigned char> large(std::size_t{96} << 20);
    static unsigned char value = 0;
    std::memset(large.data(), ++value, large.size());
}

// Reads one block in full and writes another in full.
inline void Limit(const std::vector<unsigned char>& from, std::vector<unsigned char>& to) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i + 8 <= from.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, from.data() + i, sizeof word);
        sum += word;
    }
    std::memset(to.data(), static_cast<int>(sum & 0xFF), to.size());
}

struct Contestant {
    std::string name;
    std::function<void()> run;
    std::vector<double> times = {};
};

inline double Minimum(const std::vector<double>& times) { return *std::min_element(times.begin(), times.end()); }

inline double Median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

// One line per contestant; the first one is LIMIT.
inline void Compete(const std::string& work, std::vector<Contestant> contestants, int rounds) {
    for (int round = 0; round <= rounds; ++round) {
        for (Contestant& contestant : contestants) {
            LeaveCaches();
            const double begin = Milliseconds();
            contestant.run();
            if (round > 0) // the first round warms up
                contestant.times.push_back(Milliseconds() - begin);
        }
    }
    const double limit = Minimum(contestants.front().times);
    for (const Contestant& contestant : contestants) {
        const double minimum = Minimum(contestant.times);
        std::printf("%s\t%s\t%.2f\t%.2f\t%.1f\n", work.c_str(), contestant.name.c_str(), minimum,
                    Median(contestant.times), minimum / limit);
    }
    std::fflush(stdout);
}

} // namespace bench
