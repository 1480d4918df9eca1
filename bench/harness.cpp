// The rounds of the benchmarks and their report.
#include "bench/harness.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

namespace bench {

namespace {

struct Registered {
    std::string name;
    std::function<Work()> make;
};

std::vector<Registered>& Works() {
    static std::vector<Registered> works;
    return works;
}

// A contestant that takes longer than this a call is played in three rounds only.
constexpr double SlowMilliseconds = 60;
constexpr std::size_t SlowRounds = 3;

bool HasEnough(const Contestant& contestant) {
    const std::vector<double>& times = contestant.milliseconds;
    return times.size() >= SlowRounds && *std::min_element(times.begin(), times.end()) > SlowMilliseconds;
}

double Median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

const char* NameOf(Memory memory) {
    return memory == Memory::Touched ? "touched" : memory == Memory::Fresh ? "fresh" : "own";
}

void Report(const Work& work, const Contestant& contestant, const std::string& complaint) {
    const std::vector<double>& times = contestant.milliseconds;
    std::printf("%s\t%s\t%s\t%.5f\t%.5f\t%zu\t%s\n", work.name.c_str(), contestant.name.c_str(),
                NameOf(contestant.memory), *std::min_element(times.begin(), times.end()), Median(times), times.size(),
                complaint.c_str());
    std::fflush(stdout);
}

void Play(Work& work, int rounds) {
    std::map<const Contestant*, std::string> complaints;
    for (Contestant& contestant : work.contestants) { // warms up, too
        contestant.run();
        if (contestant.complaint)
            complaints[&contestant] = contestant.complaint();
    }
    for (int round = 0; round < rounds; ++round) {
        std::vector<Contestant*> players;
        for (Contestant& contestant : work.contestants)
            if (!HasEnough(contestant))
                players.push_back(&contestant);
        PlayRound(work, players);
    }
    for (const Contestant& contestant : work.contestants)
        Report(work, contestant, complaints[&contestant]);
}

} // namespace

void Register(const std::string& name, std::function<Work()> make) { Works().push_back({name, std::move(make)}); }

void PlayAll(int rounds, const std::string& part) {
    std::printf("# rounds\t%d\n# backend\t%s\n", rounds, NameOfBackend().c_str());
    std::puts("work\tcontestant\tmemory\tmin\tmedian\trounds\tcomplaint");
    for (const Registered& registered : Works()) {
        if (registered.name.find(part) == std::string::npos)
            continue;
        Work work = registered.make();
        work.name = registered.name;
        Play(work, rounds);
    }
}

void LeaveCaches() {
    static std::vector<unsigned char> large(std::size_t{96} << 20);
    static unsigned char value = 0;
    std::memset(large.data(), ++value, large.size());
}

} // namespace bench
