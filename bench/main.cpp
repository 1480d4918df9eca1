// Times the entries and kernels of the library: see harness.h for how, works.h for what.
//
//     dibprep_bench [rounds] [part of a work's name]
#include "bench/works.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 9;
    if (rounds < 1) {
        std::fputs("dibprep_bench [rounds] [part of a work's name]\n", stderr);
        return 2;
    }
    std::printf("# bits\t%d\n# compiler\tGCC %s\n# peers\t%s\n", static_cast<int>(sizeof(void*)) * 8, __VERSION__,
                bench::PeerVersions().c_str());
    bench::RegisterPipeline();
    bench::RegisterResampler();
    bench::RegisterUtilities();
    bench::RegisterSmallImages();
    bench::PlayAll(rounds, argc > 2 ? argv[2] : "");
    return 0;
}
