// Times the resampler's kernels, tier by tier, against the time that reading the source and writing
// the result take. Minima of interleaved rounds; the result block is touched before.
//
//     bilinear_bench [rounds]
#include "dibprep/bilinear.h"
#include "memory/x86/cpu_tier.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

namespace {

using dibprep::Tier;

struct Case {
    const char* name;
    int bits;
    int width, height; // source
    int cx, cy;        // result
    char table;        // g: gray, i: identity gray, c: colours, p: a page of white with text
};

struct Picture {
    std::vector<unsigned char> bytes;
    _tagDIBPARAM param;
};

std::uint32_t state = 12345;
std::uint32_t Next() { return state = state * 1664525u + 1013904223u; }

Picture Make(int width, int height, int bits) {
    const std::size_t table = bits <= 8 ? std::size_t{4} << bits : 0;
    const std::size_t stride = static_cast<std::size_t>((width * bits + 31) / 32 * 4);
    Picture made;
    made.bytes.resize(40 + table + stride * static_cast<std::size_t>(height));
    tagBITMAPINFOHEADER header = {};
    header.biSize = 40;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<unsigned short>(bits);
    std::memcpy(made.bytes.data(), &header, 40);
    CConvertResolution().SetDIBParam(made.bytes.data(), made.param);
    return made;
}

// Time that this thread ran: other programs take turns on the processor.
double Now() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

// Reads one block in full and writes another: what no kernel can do without.
double Limit(const std::vector<unsigned char>& from, std::vector<unsigned char>& to) {
    const double start = Now();
    const std::size_t common = std::min(from.size(), to.size());
    std::memcpy(to.data(), from.data(), common);
    if (to.size() > common)
        std::memset(to.data() + common, 0xFF, to.size() - common);
    volatile std::uint64_t sum = 0;
    std::uint64_t local = 0;
    for (std::size_t i = common; i + 64 <= from.size(); i += 64) {
        std::uint64_t word;
        std::memcpy(&word, from.data() + i, 8);
        local += word;
    }
    sum = sum + local;
    return Now() - start;
}

int RunKernel(const Case& c, const Picture& source, Picture& result) {
    CConvertResolution object;
    const tagRECT frame = {0, 0, c.cx, c.cy};
    switch (c.bits) {
    case 8:
        return object.BiLinear8(source.param, &frame, &frame, result.param, nullptr);
    case 16:
        return object.BiLinear16(source.param, &frame, &frame, result.param, nullptr);
    case 24:
        return object.BiLinear24(source.param, &frame, &frame, result.param, nullptr);
    case 32:
        return object.BiLinear32(source.param, &frame, &frame, result.param, nullptr);
    default:
        return object.BiLinearSmallBits(source.param, &frame, &frame, result.param, nullptr);
    }
}

void Measure(const Case& c, int rounds) {
    Picture source = Make(c.width, c.height, c.bits);
    Picture result = Make(c.cx, c.cy, c.bits == 32 ? 32 : 24);
    for (std::size_t i = 40; i < source.bytes.size(); ++i)
        source.bytes[i] = static_cast<unsigned char>(Next() >> 24);
    if (c.bits == 8) {
        for (std::size_t i = 0; i < 256; ++i) {
            unsigned char* const entry = source.bytes.data() + 40 + i * 4;
            if (c.table == 'g' || c.table == 'i')
                entry[0] = entry[1] = entry[2] = static_cast<unsigned char>(c.table == 'g' ? 255 - i : i);
        }
        if (c.table == 'p') {
            std::memset(source.bytes.data() + 40 + 255 * 4, 0xFF, 3);
            for (std::size_t i = 40 + 1024; i < source.bytes.size(); ++i)
                if (i / 100 % 10 != 0)
                    source.bytes[i] = 255;
        }
    }
    std::vector<unsigned char> evict(48u << 20);
    const Tier tiers[] = {Tier::Scalar, Tier::Sse2, Tier::Ssse3, Tier::Avx2};
    double best[4] = {1e9, 1e9, 1e9, 1e9};
    double limit = 1e9;
    for (int round = 0; round < rounds; ++round) {
        std::memset(evict.data(), round, evict.size());
        limit = std::min(limit, Limit(source.bytes, result.bytes));
        CConvertResolution().SetDIBParam(result.bytes.data(), result.param);
        std::memcpy(result.bytes.data(), Make(c.cx, 1, c.bits == 32 ? 32 : 24).bytes.data(), 40);
        Picture shape = Make(c.cx, 1, c.bits == 32 ? 32 : 24);
        result.param = shape.param;
        result.param.nHeight = c.cy;
        result.param.pBits = result.bytes.data() + 40;
        for (int t = 0; t < 4; ++t) {
            if (tiers[t] > dibprep::ProcessorTier() || (t == 0 && round > 1))
                continue;
            dibprep::ForceTier(tiers[t]);
            std::memset(evict.data(), round, evict.size());
            const double start = Now();
            RunKernel(c, source, result);
            best[t] = std::min(best[t], Now() - start);
        }
    }
    std::printf("%-34s limit %6.2f | scalar %7.2f | sse2 %6.2f (%4.1fx) | ssse3 %6.2f (%4.1fx) | avx2 %6.2f (%4.1fx, "
                "%4.2f limit)\n",
                c.name, limit, best[0], best[1], best[0] / best[1], best[2], best[0] / best[2], best[3],
                best[0] / best[3], best[3] / limit);
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
    const Case cases[] = {
        {"24 bit 2480x3508 to 1653x2338", 24, 2480, 3508, 1653, 2338, 0},
        {"32 bit 2480x3508 to 1653x2338", 32, 2480, 3508, 1653, 2338, 0},
        {"24 bit 1653x2338 to 2480x3508", 24, 1653, 2338, 2480, 3508, 0},
        {"32 bit 1653x2338 to 2480x3508", 32, 1653, 2338, 2480, 3508, 0},
        {"24 bit 2480x3508 to 620x877", 24, 2480, 3508, 620, 877, 0},
        {"8 bit identity gray, down", 8, 2480, 3508, 1653, 2338, 'i'},
        {"8 bit inverted gray, down", 8, 2480, 3508, 1653, 2338, 'g'},
        {"8 bit colours, noise, down", 8, 2480, 3508, 1653, 2338, 'c'},
        {"8 bit colours, page, down", 8, 2480, 3508, 1653, 2338, 'p'},
        {"8 bit identity gray, up", 8, 1653, 2338, 2480, 3508, 'i'},
        {"8 bit colours, noise, up", 8, 1653, 2338, 2480, 3508, 'c'},
        {"16 bit down", 16, 2480, 3508, 1653, 2338, 0},
        {"4 bit down", 4, 2480, 3508, 1653, 2338, 0},
        {"1 bit down", 1, 2480, 3508, 1653, 2338, 0},
    };
    for (const Case& c : cases)
        Measure(c, rounds);
}
