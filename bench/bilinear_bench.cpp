// Times the resampler's kernels, tier by tier, against the time that reading the source and writing
// the result take. Minima of interleaved rounds; the result block is touched before.
//
//     bilinear_bench [rounds] [part of a case's name]
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

// What a source shows, and which table it has.
enum class Content {
    Noise,    // any bytes: of 8 bits and fewer, with any colours
    Identity, // noise of the levels 0 to 255
    Inverted, // noise, the table from white to black
    Curve,    // noise, the table bent
    Page,     // paper with lines of letters, in few colours
    Scan,     // paper of some thirty colours close to each other, letters in others
    Dithered  // smooth colours as a pattern of sixteen
};

struct Case {
    const char* name;
    int bits;
    int width, height; // source
    int cx, cy;        // result
    Content content;
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
    case 48:
        return object.BiLinear48(source.param, &frame, &frame, result.param, nullptr);
    case 64:
        return object.BiLinear64(source.param, &frame, &frame, result.param, nullptr);
    default:
        return object.BiLinearSmallBits(source.param, &frame, &frame, result.param, nullptr);
    }
}

// Whether a letter's stroke passes here: 40 rows of letters, 40 rows of paper; a third of a letter's
// place is ink, in strokes of four and five pixels.
bool IsInk(int x, int y) {
    if (y / 40 % 2 != 0 || x % 25 >= 20 || x / 250 % 9 == 8)
        return false;
    const unsigned letter = static_cast<unsigned>(x / 25 * 31 + y / 80 * 17) * 2654435761u >> 20;
    return (letter >> (x % 25 / 5 + y % 40 / 13 * 3)) % 3 == 0;
}

unsigned char Index(const Case& c, int x, int y) {
    switch (c.content) {
    case Content::Page:
        if (IsInk(x, y) != IsInk(x + 1, y))
            return static_cast<unsigned char>(1 + (Next() >> 30)); // the edge of a stroke
        return IsInk(x, y) ? 0 : 7;
    case Content::Scan:
        return static_cast<unsigned char>((IsInk(x, y) ? 16 : 160) + (Next() >> 28) + (Next() >> 28));
    case Content::Dithered:
        return static_cast<unsigned char>((static_cast<unsigned>(x + y) * 16 / 4096 + (Next() >> 31)) % 16);
    default:
        return static_cast<unsigned char>(Next() >> 24);
    }
}

void Paint(const Case& c, Picture& source) {
    for (std::size_t i = 40; i < source.bytes.size(); ++i)
        source.bytes[i] = static_cast<unsigned char>(Next() >> 24);
    if (c.content == Content::Noise)
        return;
    const int entries = 1 << c.bits;
    for (int i = 0; i < entries; ++i) {
        unsigned char* const entry = source.bytes.data() + 40 + i * 4;
        const int level = i * 255 / (entries - 1);
        if (c.content == Content::Identity || c.content == Content::Inverted)
            std::memset(entry, c.content == Content::Identity ? level : 255 - level, 3);
        else if (c.content == Content::Curve)
            std::memset(entry, level * level / 255, 3);
    }
    if (c.bits != 8 || c.content < Content::Page)
        return;
    for (int y = 0; y < c.height; ++y)
        for (int x = 0; x < c.width; ++x)
            source.param.pBits[static_cast<std::ptrdiff_t>(y) * source.param.nLineBytes + x] = Index(c, x, y);
}

void Measure(const Case& c, int rounds) {
    const int bits = c.bits < 32 ? 24 : c.bits;
    Picture source = Make(c.width, c.height, c.bits);
    Picture result = Make(c.cx, c.cy, bits);
    Paint(c, source);
    std::vector<unsigned char> evict(48u << 20);
    const Tier tiers[] = {Tier::Scalar, Tier::Sse2, Tier::Ssse3, Tier::Avx2};
    double best[4] = {1e9, 1e9, 1e9, 1e9};
    double limit = 1e9;
    for (int round = 0; round < rounds; ++round) {
        std::memset(evict.data(), round, evict.size());
        limit = std::min(limit, Limit(source.bytes, result.bytes));
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
    std::printf("%-34s limit %5.2f | scalar %6.2f | sse2 %5.2f (%4.1fx) | ssse3 %5.2f (%4.1fx) | avx2 %5.2f (%4.1fx, "
                "%5.2f limit)\n",
                c.name, limit, best[0], best[1], best[0] / best[1], best[2], best[0] / best[2], best[3],
                best[0] / best[3], best[3] / limit);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
    const char* const part = argc > 2 ? argv[2] : "";
    const Case cases[] = {
        {"24 bit down", 24, 2480, 3508, 1653, 2338, Content::Noise},
        {"32 bit down", 32, 2480, 3508, 1653, 2338, Content::Noise},
        {"24 bit up", 24, 1653, 2338, 2480, 3508, Content::Noise},
        {"32 bit up", 32, 1653, 2338, 2480, 3508, Content::Noise},
        {"24 bit to a quarter", 24, 2480, 3508, 620, 877, Content::Noise},
        {"8 bit identity gray, down", 8, 2480, 3508, 1653, 2338, Content::Identity},
        {"8 bit inverted gray, down", 8, 2480, 3508, 1653, 2338, Content::Inverted},
        {"8 bit bent gray, down", 8, 2480, 3508, 1653, 2338, Content::Curve},
        {"8 bit colours, noise, down", 8, 2480, 3508, 1653, 2338, Content::Noise},
        {"8 bit colours, scan, down", 8, 2480, 3508, 1653, 2338, Content::Scan},
        {"8 bit colours, dithered, down", 8, 2480, 3508, 1653, 2338, Content::Dithered},
        {"8 bit colours, page, down", 8, 2480, 3508, 1653, 2338, Content::Page},
        {"8 bit colours, page, to a quarter", 8, 2480, 3508, 620, 877, Content::Page},
        {"8 bit identity gray, up", 8, 1653, 2338, 2480, 3508, Content::Identity},
        {"8 bit bent gray, up", 8, 1653, 2338, 2480, 3508, Content::Curve},
        {"8 bit colours, noise, up", 8, 1653, 2338, 2480, 3508, Content::Noise},
        {"8 bit colours, page, up", 8, 1653, 2338, 2480, 3508, Content::Page},
        {"16 bit down", 16, 2480, 3508, 1653, 2338, Content::Noise},
        {"4 bit colours, noise, down", 4, 2480, 3508, 1653, 2338, Content::Noise},
        {"4 bit gray, down", 4, 2480, 3508, 1653, 2338, Content::Identity},
        {"1 bit colours, noise, down", 1, 2480, 3508, 1653, 2338, Content::Noise},
        {"1 bit gray, down", 1, 2480, 3508, 1653, 2338, Content::Identity},
        {"48 bit down", 48, 2480, 3508, 1653, 2338, Content::Noise},
        {"64 bit down", 64, 2480, 3508, 1653, 2338, Content::Noise},
        {"48 bit up", 48, 1653, 2338, 2480, 3508, Content::Noise},
    };
    for (const Case& c : cases)
        if (std::strstr(c.name, part))
            Measure(c, rounds);
}
