// What a call takes at 16 x 16 pixels, beyond what the host's functions take: the benchmark's own
// blocks and probes cost next to nothing.
#include "bench/host_blocks.h"
#include "bench/works.h"

#include "dibprep.h"

#include <cstring>

namespace bench {

namespace {

constexpr int Side = 16;
constexpr int Dpi = 300;
constexpr int CallsAtOnce = 500;

// All blocks are the benchmark's own until the work is over.
struct State {
    TouchedBlocks blocks;
    void* handle;
    std::uint8_t* address;

    explicit State(const Bytes& dib)
        : handle(GlobalAlloc(66, dib.size())), address(static_cast<std::uint8_t*>(GlobalLock(handle))) {
        std::memcpy(address, dib.data(), dib.size());
        GlobalUnlock(handle);
    }
    ~State() {
        FreeTouchedBlocks(nullptr);
        ReleaseTouchedBlocks();
    }
};

void Small(const char* name, const std::function<Bytes()>& dib, const Convert& convert) {
    Register(std::string("16 x 16 ") + name, [dib, convert] {
        const auto state = std::make_shared<State>(dib());
        Work work;
        work.callsAtOnce = CallsAtOnce;
        work.contestants.push_back({"dibprep, call", Memory::Touched, [state, convert] {
                                        convert({state->handle, state->address});
                                        FreeTouchedBlocks(state->handle);
                                    }});
        return work;
    });
}

Dib Photo() { return Photograph(Side, Side, Dpi); }

Dib GraySquare() {
    Dib square = EmptyDib(Side, Side, 8, Dpi);
    const Dib photo = Photo();
    for (int y = 0; y < Side; ++y)
        for (int x = 0; x < Side; ++x)
            square.row(y)[x] = photo.row(y)[x * 3];
    return square;
}

void* Pipeline(const Source& source) {
    void* result = nullptr;
    ConvertResolution(source.handle, &result, nullptr, 200, 128);
    return result;
}

void* Resampler(const Source& source) {
    unsigned short status = 0;
    return ConvertResolution2(source.handle, 7874, 7874, &status);
}

void* Size(const Source& source) {
    unsigned int size = 0;
    GetBufferSize(source.handle, 200, &size);
    return nullptr;
}

Convert Utility(void* (*convert)(unsigned char*)) {
    return [convert](const Source& source) { return convert(source.address); };
}

void* Quantise(unsigned char* dib) { return CNiGoRo2(dib, 256, 5, 0).QuantizeBitmap(1, 0); }

} // namespace

void RegisterSmallImages() {
    const auto colour = [] { return Photo().bytes; };
    const auto deep = [] { return Deeper(Photo(), Dpi).bytes; };
    const auto gray = [] { return GraySquare().bytes; };
    const auto mono = [] { return WithoutColour(GraySquare(), Dpi).bytes; };
    const auto table = [] { return Dithered(Photo(), Dpi).bytes; };
    const auto runs = [] { return RunLengthCoded(GraySquare()); };
    const auto topDown = [] {
        Dib dib = Photo();
        const int height = -Side;
        std::memcpy(dib.bytes.data() + 8, &height, sizeof height);
        return dib.bytes;
    };
    Small("GetBufferSize", colour, Size);
    Small("pipeline 24 bit", colour, Pipeline);
    Small("pipeline gray", gray, Pipeline);
    Small("pipeline 1 bit", mono, Pipeline);
    Small("pipeline colour table", table, Pipeline);
    Small("resampler 24 bit", colour, Resampler);
    Small("resampler 32 bit", deep, Resampler);
    Small("resampler gray table", gray, Resampler);
    Small("resampler colour table", table, Resampler);
    Small("resampler 1 bit", mono, Resampler);
    Small("quantiser", colour, Utility(Quantise));
    Small("RLE8", runs, Utility(RestoreRLE8));
    Small("flip", topDown, Utility(TopDownToBottomUp));
    Small("depth 32 to 24", deep, Utility(ConvertTo24BPPDIB));
    Small("depth 24 to 16", colour, Utility(ConvertTo16BPPDIB));
    Small("depth 8 to 24", table, Utility(ConvertTo24BPPDIB));
}

} // namespace bench
