// The pipeline and the resampler at whole pages.
#include "bench/works.h"

#include "dibprep.h"

#include <cstring>

namespace bench {

namespace {

enum class Kind { Colour, Deep, Gray, OtherGray, Mono, Table };

std::shared_ptr<Dib> MakePage(Kind kind, int width, int height, int dpi) {
    switch (kind) {
    case Kind::Colour:
        return std::make_shared<Dib>(ColourPage(width, height, dpi));
    case Kind::Deep:
        return std::make_shared<Dib>(Deeper(ColourPage(width, height, dpi), dpi));
    case Kind::Gray:
        return std::make_shared<Dib>(TextPage(width, height, dpi));
    case Kind::OtherGray: {
        const auto page = std::make_shared<Dib>(TextPage(width, height, dpi));
        for (std::size_t i = 0; i < 256; ++i) // inverted
            std::memset(page->bytes.data() + 40 + i * 4, static_cast<int>(255 - i), 3);
        return page;
    }
    case Kind::Mono:
        return std::make_shared<Dib>(WithoutColour(TextPage(width, height, dpi), dpi));
    case Kind::Table:
        return std::make_shared<Dib>(Dithered(ColourPage(width, height, dpi), dpi));
    }
    return nullptr;
}

struct Ratio {
    const char* name;
    int from;
    int to;
    int width; // of the source
    int height;
};

constexpr Ratio Down = {"300-200", 300, 200, PageWidth, PageHeight};
constexpr Ratio OddDown = {"300-137", 300, 137, PageWidth, PageHeight};
constexpr Ratio Up = {"200-300", 200, 300, SmallPageWidth, SmallPageHeight};
constexpr Ratio Half = {"600-300", 600, 300, PageWidth, PageHeight}; // half an A4 page, so to say
// Sources whose results have the pixels of an A4 page at 300 dpi.
constexpr Ratio Twice = {"200-400", 200, 400, PageWidth / 2, PageHeight / 2};
constexpr Ratio FineTwice = {"300-600", 300, 600, PageWidth / 2, PageHeight / 2};

void Pipeline(const char* name, Kind kind, const Ratio& ratio) {
    Register(std::string("pipeline ") + name + ' ' + ratio.name, [kind, ratio] {
        return Conversion(
            {MakePage(kind, ratio.width, ratio.height, ratio.from)},
            [ratio](const Source& source) {
                void* result = nullptr;
                ConvertResolution(source.handle, &result, nullptr, static_cast<unsigned short>(ratio.to), 128);
                return result;
            },
            kind == Kind::Table ? Job::ScaleAndReduce : Job::Scale);
    });
}

void Resampler(const char* name, Kind kind, const Ratio& ratio) {
    Register(std::string("resampler ") + name + ' ' + ratio.name, [kind, ratio] {
        return Conversion(
            {MakePage(kind, ratio.width, ratio.height, ratio.from)},
            [ratio](const Source& source) {
                const auto perMetre = static_cast<unsigned int>(ratio.to * 10000 / 254);
                unsigned short status = 0;
                return ConvertResolution2(source.handle, perMetre, perMetre, &status);
            },
            Job::Scale);
    });
}

} // namespace

void RegisterPipeline() {
    for (const Ratio& ratio : {Down, OddDown, Up, Half}) {
        Pipeline("24 bit", Kind::Colour, ratio);
        Pipeline("gray", Kind::Gray, ratio);
        Pipeline("1 bit", Kind::Mono, ratio);
    }
    for (const Ratio& ratio : {Twice, FineTwice}) {
        Pipeline("24 bit", Kind::Colour, ratio);
        Pipeline("gray", Kind::Gray, ratio);
    }
    Pipeline("colour table", Kind::Table, Down);
    Pipeline("colour table", Kind::Table, OddDown);
}

void RegisterResampler() {
    for (const Ratio& ratio : {Down, Up}) {
        Resampler("24 bit", Kind::Colour, ratio);
        Resampler("32 bit", Kind::Deep, ratio);
        Resampler("gray table", Kind::Gray, ratio);
        Resampler("inverted gray table", Kind::OtherGray, ratio);
        Resampler("colour table", Kind::Table, ratio);
    }
}

} // namespace bench
