// Plays rounds with nothing but the thread's clock.
#include "bench/harness.h"

#include <ctime>

namespace bench {

namespace {

double Milliseconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

} // namespace

std::string NameOfBackend() { return "a small timer"; }

void PlayRound(const Work& work, const std::vector<Contestant*>& contestants) {
    for (Contestant* contestant : contestants) {
        if (work.callsAtOnce == 1)
            LeaveCaches();
        const double begin = Milliseconds();
        for (int i = 0; i < work.callsAtOnce; ++i)
            contestant->run();
        contestant->milliseconds.push_back((Milliseconds() - begin) / work.callsAtOnce);
    }
}

} // namespace bench
