// Plays rounds with Google Benchmark. Its own repetitions would play one contestant after the other
// (or all in random order), so every round is a run of its own with one iteration for each, in order.
#include "bench/harness.h"

#include <benchmark/benchmark.h>

namespace bench {

namespace {

// Takes the times instead of printing them.
class Collector : public benchmark::BenchmarkReporter {
public:
    explicit Collector(const std::vector<Contestant*>& contestants) : m_contestants(contestants) {}
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            m_contestants.at(m_next)->milliseconds.push_back(run.cpu_accumulated_time * 1e3 /
                                                             static_cast<double>(run.iterations));
            ++m_next;
        }
    }

private:
    const std::vector<Contestant*>& m_contestants;
    std::size_t m_next = 0;
};

void Initialise() {
    static const bool done = [] {
        int count = 1;
        char name[] = "dibprep_bench";
        char* arguments[] = {name, nullptr};
        benchmark::Initialize(&count, arguments);
        return true;
    }();
    (void)done;
}

} // namespace

std::string NameOfBackend() { return "Google Benchmark"; }

void PlayRound(const Work& work, const std::vector<Contestant*>& contestants) {
    Initialise();
    for (const Contestant* contestant : contestants) {
        const int calls = work.callsAtOnce;
        benchmark::RegisterBenchmark((work.name + '/' + contestant->name).c_str(), [contestant,
                                                                                    calls](benchmark::State& state) {
            if (calls == 1)
                LeaveCaches();
            for (auto _ : state)
                contestant->run();
        })->Iterations(calls);
    }
    Collector collector(contestants);
    benchmark::RunSpecifiedBenchmarks(&collector, nullptr, "all");
    benchmark::ClearRegisteredBenchmarks();
}

} // namespace bench
