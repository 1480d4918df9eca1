// Times the entries of the library as a host calls them, result blocks and all, on A4 pages.
//
//     entries_bench [rounds] [part of a work's name]
//
// Prints one line per contestant, separated by tabs: work, contestant, minimum and median in
// milliseconds, ratio of the minimum to LIMIT.
#include "bench/harness.h"
#include "dibprep.h"
#include "dibprep/hostlayer.h"

#include <cstdlib>

namespace {

constexpr int Width = 2480;
constexpr int Height = 3508;

struct Page {
    void* block;
    std::vector<unsigned char> bytes;
};

// Lines of "text" on white, a smooth picture in one corner: the bytes are the same everywhere.
Page MakePage(int width, int height, int bits, bool gray, int compression = 0) {
    const std::size_t table = bits <= 8 ? std::size_t{4} << bits : 0;
    const std::size_t stride = (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
    std::vector<unsigned char> dib(40 + table + stride * static_cast<std::size_t>(height));
    tagBITMAPINFOHEADER header = {};
    header.biSize = 40;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<unsigned short>(bits);
    header.biCompression = static_cast<unsigned int>(compression);
    header.biXPelsPerMeter = header.biYPelsPerMeter = 11811;
    std::memcpy(dib.data(), &header, sizeof header);
    for (std::size_t i = 0; i < table / 4; ++i) {
        unsigned char* entry = dib.data() + 40 + 4 * i;
        const auto level = static_cast<unsigned char>(bits == 1 ? i * 255 : i * 255 / (table / 4 - 1));
        entry[0] = gray ? level : static_cast<unsigned char>(level * 7);
        entry[1] = level;
        entry[2] = gray ? level : static_cast<unsigned char>(255 - level);
    }
    unsigned int random = 1;
    for (int y = 0; y < height; ++y) {
        unsigned char* row = dib.data() + 40 + table + static_cast<std::size_t>(y) * stride;
        const bool text = y / 40 % 2 == 0;
        for (std::size_t i = 0; i < stride; ++i) {
            random = random * 1664525u + 1013904223u;
            const bool picture = y < height / 4 && i < stride / 2;
            const bool ink = text && (i / 3 * 2654435761u + static_cast<unsigned>(y) / 5 * 40503u) >> 28 < 5;
            const auto smooth = static_cast<unsigned char>((static_cast<unsigned>(y) * 3 + i) / 16 + (random >> 29));
            row[i] = picture ? smooth : ink ? 0x10 : 0xFF;
        }
    }
    Page page = {GlobalAlloc(66, dib.size()), dib};
    std::memcpy(GlobalLock(page.block), dib.data(), dib.size());
    GlobalUnlock(page.block);
    return page;
}

// The 8-bit page as run-length codes: runs from three pixels on, literals between them.
Page RunLengthPage(const Page& page) {
    std::vector<unsigned char> code(page.bytes.begin(), page.bytes.begin() + 40 + 1024);
    const std::size_t table = code.size();
    for (int y = 0; y < Height; ++y) {
        const unsigned char* const row = page.bytes.data() + table + static_cast<std::size_t>(y) * Width;
        const auto same = [&](int x) { return x + 2 < Width && row[x] == row[x + 1] && row[x] == row[x + 2]; };
        for (int x = 0; x < Width;) {
            const int begin = x++;
            if (same(begin))
                while (x < Width && row[x] == row[begin] && x - begin < 255)
                    ++x;
            else
                while (x < Width && !same(x) && x - begin < 255)
                    ++x;
            const int count = x - begin;
            const bool literal = count > 2 && !same(begin);
            if (literal) {
                code.insert(code.end(), {0, static_cast<unsigned char>(count)});
                code.insert(code.end(), row + begin, row + x);
                code.resize(code.size() + static_cast<std::size_t>(count % 2));
            } else if (same(begin)) {
                code.insert(code.end(), {static_cast<unsigned char>(count), row[begin]});
            } else {
                for (int single = begin; single < x; ++single)
                    code.insert(code.end(), {1, row[single]});
            }
        }
        code.insert(code.end(), {0, static_cast<unsigned char>(y + 1 < Height ? 0 : 1)});
    }
    tagBITMAPINFOHEADER header;
    std::memcpy(&header, code.data(), sizeof header);
    header.biCompression = 1;
    header.biSizeImage = static_cast<unsigned int>(code.size() - table);
    std::memcpy(code.data(), &header, sizeof header);
    Page made = {GlobalAlloc(66, code.size()), code};
    std::memcpy(GlobalLock(made.block), code.data(), code.size());
    GlobalUnlock(made.block);
    return made;
}

// A smooth picture in six levels, by an ordered dither of 4 x 4.
Page DitheredPage() {
    Page page = MakePage(Width, Height, 8, false);
    constexpr int thresholds[16] = {0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5};
    for (int y = 0; y < Height; ++y)
        for (int x = 0; x < Width; ++x) {
            const int level = ((x * 3 + y) / 9 + (x / 300 * 37 + y / 200 * 53)) % 256;
            page.bytes[40 + 1024 + static_cast<std::size_t>(y) * Width + static_cast<std::size_t>(x)] =
                static_cast<unsigned char>((level * 5 * 16 + thresholds[y % 4 * 4 + x % 4] * 255) / (255 * 16));
        }
    return page;
}

// The page with its rows from the top down.
Page TopDown(Page page) {
    const int height = -Height;
    std::memcpy(page.bytes.data() + 8, &height, sizeof height);
    page.block = GlobalAlloc(66, page.bytes.size());
    std::memcpy(GlobalLock(page.block), page.bytes.data(), page.bytes.size());
    GlobalUnlock(page.block);
    return page;
}

class Bench {
public:
    Bench(int rounds, const char* filter) : m_rounds(rounds), m_filter(filter) {}

    // `run` returns the result block.
    template <class Run>
    void Work(const std::string& name, const Page& page, Run run) const {
        if (name.find(m_filter) == std::string::npos)
            return;
        void* const result = run();
        std::vector<unsigned char> output(result ? GlobalSize(result) : 0);
        if (result)
            GlobalFree(result);
        bench::Compete(name,
                       {{"LIMIT", [&] { bench::Limit(page.bytes, output); }},
                        {"memcpy of the output", [&] {
                             static std::vector<unsigned char> other;
                             other.resize(output.size());
                             if (!output.empty())
                                 std::memcpy(output.data(), other.data(), output.size());
                         }},
                        {"dibprep", [&] {
                             const dibhost::BlockScope scope;
                             run();
                         }}},
                       m_rounds);
    }

    void Pipeline(const std::string& name, const Page& page, unsigned short dpi) const {
        Work(name, page, [&] {
            void* result = nullptr;
            ConvertResolution(page.block, &result, nullptr, dpi, 128);
            return result;
        });
    }

    void Resampler(const std::string& name, const Page& page, unsigned int ppm) const {
        Work(name, page, [&] {
            unsigned short status = 0;
            return ConvertResolution2(page.block, ppm, ppm, &status);
        });
    }

    void Utility(const std::string& name, const Page& page, void* (*convert)(unsigned char*)) const {
        Work(name, page, [&] {
            void* const result = convert(static_cast<unsigned char*>(GlobalLock(page.block)));
            GlobalUnlock(page.block);
            return result;
        });
    }

private:
    int m_rounds;
    std::string m_filter;
};

void* Quantise(unsigned char* dib) { return CNiGoRo2(dib, 256, 5, 0).QuantizeBitmap(1, 0); }

} // namespace

int main(int argc, char** argv) {
    const Bench bench(argc > 1 ? std::atoi(argv[1]) : 15, argc > 2 ? argv[2] : "");
    const Page colour = MakePage(Width, Height, 24, false);
    const Page gray = MakePage(Width, Height, 8, true);
    const Page table = MakePage(Width, Height, 8, false);
    const Page mono = MakePage(Width, Height, 1, true);
    const Page deep = MakePage(Width, Height, 32, false);
    std::puts("work\tcontestant\tmin ms\tmedian ms\tto LIMIT");
    bench.Pipeline("pipeline 24 bit 300-200", colour, 200);
    bench.Pipeline("pipeline 24 bit 300-137", colour, 137);
    bench.Pipeline("pipeline gray 300-200", gray, 200);
    bench.Pipeline("pipeline gray 300-137", gray, 137);
    bench.Pipeline("pipeline 1 bit 300-200", mono, 200);
    bench.Pipeline("pipeline colour table 300-200", table, 200);
    bench.Resampler("resampler 24 bit 300-200", colour, 7874);
    bench.Resampler("resampler 32 bit 300-200", deep, 7874);
    bench.Resampler("resampler gray table 300-200", gray, 7874);
    bench.Resampler("resampler colour table 300-200", table, 7874);
    bench.Utility("quantiser 24 bit to 256", colour, Quantise);
    bench.Utility("depth 32 to 24", deep, ConvertTo24BPPDIB);
    bench.Utility("depth 24 to 16", colour, ConvertTo16BPPDIB);
    bench.Utility("depth 8 to 24", table, ConvertTo24BPPDIB);
    bench.Utility("flip 24 bit", TopDown(colour), TopDownToBottomUp);
    bench.Utility("run lengths 8 bit, text", RunLengthPage(table), RestoreRLE8);
    bench.Utility("run lengths 8 bit, dithered", RunLengthPage(DitheredPage()), RestoreRLE8);
    return 0;
}
