// Pictures for every road (see roads.h).
#include "tests/modes/roads.h"

#include "dibprep.h"
#include "tests/support/test_host.h"

#include <memory>

namespace modes {

namespace {

using testdib::Random;

Bytes RandomDib(std::uint64_t start, int width, int height, int bits, bool gray = false, int ppm = 11811) {
    Random random(start);
    Bytes dib = testdib::MakeDib(width, height, bits, ppm, ppm);
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(random.OneIn(9) ? 255 : random.Next());
    if (gray)
        testdib::SetGrayTable(dib, 1 << bits);
    return dib;
}

// What `convert` makes of the handle and the address of a locked block.
using Convert = std::function<void*(void* handle, unsigned char* address)>;

Trip Make(const std::string& name, const Bytes& dib, const Convert& convert) {
    return {name, [dib, convert] {
                testhost::Reset();
                void* const source = testhost::MakeBlock(dib);
                void* const result = convert(source, testhost::Address(source));
                const Bytes bytes = result ? testhost::Bytes(result) : Bytes();
                testhost::Reset();
                return bytes;
            }};
}

Trip Utility(const std::string& name, const Bytes& dib, void* (*convert)(unsigned char*)) {
    return Make(name, dib, [convert](void*, unsigned char* address) { return convert(address); });
}

Trip Resampled(const Bytes& dib, int bits, unsigned int ppmX, unsigned int ppmY, bool gray) {
    return Make("resampler, " + std::to_string(bits) + (gray ? " bits gray, " : " bits, ") + std::to_string(ppmX), dib,
                [ppmX, ppmY](void* handle, unsigned char*) {
                    unsigned short status = 0;
                    return ConvertResolution2(handle, ppmX, ppmY, &status);
                });
}

Trip Quantised(const Bytes& dib, int bits, unsigned short colours) {
    return Make("quantiser, " + std::to_string(bits) + " bits to " + std::to_string(colours), dib,
                [colours](void*, unsigned char* address) {
                    return std::make_unique<CNiGoRo2>(address, colours, static_cast<unsigned short>(5), 0)
                        ->QuantizeBitmap(1, 0);
                });
}

Trip Sized(int width, int ppm, unsigned short dpi) {
    return {"size of " + std::to_string(width) + " at " + std::to_string(ppm), [=] {
                testhost::Reset();
                void* const source = testhost::MakeBlock(testdib::MakeDib(width, 1, 24, ppm, ppm));
                unsigned int size = 0;
                GetBufferSize(source, dpi, &size);
                testhost::Reset();
                Bytes bytes(4);
                testdib::PutU32(bytes, 0, size);
                return bytes;
            }};
}

// Runs of one value and stretches of several, in rows.
Bytes RunLengths(int bits, int width, int height) {
    Random random(17);
    Bytes dib = RandomDib(5, width, height, bits);
    dib.resize(40 + 4 * static_cast<std::size_t>(testdib::DefaultColors(bits)));
    testdib::PutU32(dib, 16, bits == 8 ? 1 : 2);
    const std::size_t start = dib.size();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width;) {
            const int length = std::min(random.Range(3, 20), width - x);
            const bool stretch = length >= 3 && random.OneIn(2);
            if (stretch)
                dib.push_back(0);
            dib.push_back(static_cast<std::uint8_t>(length));
            const int bytes = !stretch ? 1 : bits == 8 ? (length + 1) / 2 * 2 : (length + 3) / 4 * 2;
            for (int i = 0; i < bytes; ++i)
                dib.push_back(static_cast<std::uint8_t>(random.Next()));
            x += length;
        }
        dib.push_back(0);
        dib.push_back(y + 1 < height ? 0 : 1);
    }
    testdib::PutU32(dib, 20, static_cast<std::uint32_t>(dib.size() - start));
    dib.resize(dib.size() + 260);
    return dib;
}

void AddPipeline(std::vector<Trip>& trips, int from, int to) {
    struct Source {
        int bits;
        bool gray;
        const char* name;
    };
    const int ppm = from * 10000 / 254;
    for (const Source source :
         {Source{1, false, "1 bit"}, Source{4, true, "4 bits gray"}, Source{4, false, "4 bits"},
          Source{8, true, "8 bits gray"}, Source{8, false, "8 bits"}, Source{24, false, "24 bits"}})
        trips.push_back(
            Make(std::string("pipeline, ") + source.name + ", " + std::to_string(from) + " to " + std::to_string(to),
                 RandomDib(static_cast<std::uint64_t>(from), 61, 47, source.bits, source.gray, ppm),
                 [to](void* handle, unsigned char*) {
                     void* result = nullptr;
                     ConvertResolution(handle, &result, nullptr, static_cast<unsigned short>(to), 128);
                     return result;
                 }));
}

} // namespace

std::vector<Trip> IntegerTrips() {
    std::vector<Trip> trips;
    for (const int bits : {1, 4, 8, 16, 24, 32, 48, 64})
        for (const bool gray : {false, true}) {
            if (gray && bits > 8)
                continue;
            const Bytes dib = RandomDib(static_cast<std::uint64_t>(bits), 53, 31, bits, gray);
            for (const unsigned int ppm : {3000u, 7874u, 11811u, 23622u, 30001u})
                trips.push_back(Resampled(dib, bits, ppm, ppm + 77, gray));
        }
    Bytes flat = RandomDib(3, 40, 30, 24); // square pixels at the finer resolution
    testdib::PutU32(flat, 28, 3779);
    trips.push_back(Resampled(flat, 24, 0, 0, false));
    for (const int bits : {16, 24, 32})
        for (const unsigned short colours : {256, 16, 2})
            trips.push_back(Quantised(RandomDib(static_cast<std::uint64_t>(bits), 90, 60, bits), bits, colours));
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        const Bytes dib = RandomDib(static_cast<std::uint64_t>(bits) + 40, 35, 19, bits);
        trips.push_back(Utility(std::to_string(bits) + " to 24 bits", dib, ConvertTo24BPPDIB));
        trips.push_back(Utility(std::to_string(bits) + " to 16 bits", dib, ConvertTo16BPPDIB));
    }
    trips.push_back(Utility("RLE8", RunLengths(8, 70, 20), RestoreRLE8));
    trips.push_back(Utility("RLE4", RunLengths(4, 70, 20), RestoreRLE4));
    Bytes topDown = RandomDib(6, 33, 21, 24);
    testdib::PutU32(topDown, 8, static_cast<std::uint32_t>(-21));
    trips.push_back(Utility("flip", topDown, TopDownToBottomUp));
    for (const int width : {1, 49, 98, 2480, 60000}) // 49 pixels at 49 dpi to 1 dpi are 1, in exact numbers
        for (const unsigned short dpi : {1, 3, 137, 200})
            trips.push_back(Sized(width, 1929, dpi));
    return trips;
}

std::vector<Trip> ShortFractionTrips() {
    std::vector<Trip> trips;
    AddPipeline(trips, 300, 200);
    AddPipeline(trips, 600, 300);
    AddPipeline(trips, 200, 400);
    AddPipeline(trips, 300, 600);
    return trips;
}

std::vector<Trip> OtherFractionTrips() {
    std::vector<Trip> trips;
    AddPipeline(trips, 300, 137);
    AddPipeline(trips, 200, 300);
    AddPipeline(trips, 96, 95);
    return trips;
}

} // namespace modes
