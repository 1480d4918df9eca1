// Scratch memory that cannot be had, one request at a time and all from one on: the slower forms do the
// work, and the bytes are the same. The host's own blocks and operator new are left alone.
#include "dibprep.h"
#include "memory/x86/cpu_tier.h"
#include "tests/support/dib_builder.h"

#include <gtest/gtest.h>

using testdib::Bytes;
using testdib::Random;

namespace {

// The request to refuse (0: none), whether those behind it are refused too, and what was seen.
int refuseAt = 0;
bool refuseRest = false;
int requests = 0;
int refused = 0;

bool Refuses() {
    ++requests;
    if (refuseAt == 0 || requests < refuseAt || (requests > refuseAt && !refuseRest))
        return false;
    ++refused;
    return true;
}

} // namespace

extern "C" {
// The names that the linker's --wrap gives to the functions and their replacements.
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_malloc(std::size_t size) { return Refuses() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) { return Refuses() ? nullptr : __real_calloc(count, size); }
}

namespace {

// The bytes of a result block, which is freed; empty for none.
Bytes Take(void* handle) {
    if (!handle)
        return {};
    const auto* const bytes = static_cast<const std::uint8_t*>(GlobalLock(handle));
    Bytes taken(bytes, bytes + GlobalSize(handle));
    GlobalUnlock(handle);
    GlobalFree(handle);
    return taken;
}

void* BlockOf(const Bytes& bytes) {
    void* const handle = GlobalAlloc(66, bytes.size());
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(GlobalLock(handle)));
    GlobalUnlock(handle);
    return handle;
}

// Runs `make` with every request refused alone, and with all from it on, and demands the bytes of the
// scalar forms. Answers how many requests an undisturbed run makes.
template <typename Make>
int ExpectTheSameBytes(Make make) {
    dibprep::ForceTier(dibprep::Tier::Scalar);
    const Bytes expected = make();
    dibprep::ForceTier(dibprep::BestKnownTier);
    EXPECT_FALSE(expected.empty());
    refuseAt = requests = 0;
    EXPECT_EQ(make(), expected) << "undisturbed";
    const int undisturbed = requests;
    for (const bool rest : {false, true}) {
        for (int n = 1; n <= undisturbed; ++n) {
            refuseRest = rest;
            requests = refused = 0;
            refuseAt = n;
            const Bytes got = make();
            refuseAt = 0;
            EXPECT_EQ(got, expected) << "request " << n << (rest ? " and all behind it" : "");
            EXPECT_GE(refused, 1);
        }
    }
    return undisturbed;
}

Bytes Noise(int width, int height, int bits, int ppm, std::uint32_t start) {
    Bytes dib = testdib::MakeDib(width, height, bits, ppm, ppm);
    const int colours = testdib::DefaultColors(bits);
    if (colours > 0)
        testdib::SetGrayTable(dib, colours);
    Random random(start);
    for (std::size_t i = 40 + 4 * static_cast<std::size_t>(colours); i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(random.Next());
    return dib;
}

Bytes Quantised(Bytes dib, unsigned short colours) {
    CNiGoRo2 quantiser(dib.data(), colours, 5, 0);
    return Take(quantiser.QuantizeBitmap(1, 0));
}

Bytes Converted(const Bytes& dib, unsigned short dpi) {
    void* const source = BlockOf(dib);
    void* result = nullptr;
    EXPECT_EQ(ConvertResolution(source, &result, nullptr, dpi, 128), 0);
    GlobalFree(source);
    return Take(result);
}

class ScarceMemory : public testing::Test {
protected:
    void SetUp() override {
        if (dibprep::ProcessorTier() == dibprep::Tier::Scalar)
            GTEST_SKIP() << "this processor has no SSE2";
    }
    void TearDown() override {
        refuseAt = 0;
        dibprep::ForceTier(dibprep::BestKnownTier);
    }
};

} // namespace

TEST_F(ScarceMemory, QuantisedTrueColourIsTheSame) {
    const Bytes dib = Noise(160, 120, 24, 11811, 1);
    for (const unsigned short colours : {16, 200})
        EXPECT_GE(ExpectTheSameBytes([&] { return Quantised(dib, colours); }), 5) << colours << " colours";
}

TEST_F(ScarceMemory, QuantisedHighColourIsTheSame) {
    const Bytes dib = Noise(160, 120, 16, 11811, 2);
    for (const unsigned short colours : {16, 200})
        EXPECT_GE(ExpectTheSameBytes([&] { return Quantised(dib, colours); }), 4) << colours << " colours";
}

// Few pixels are sorted, many are counted; fewer colours than the palette holds need no reduction.
TEST_F(ScarceMemory, PagesWithAColourTableAreTheSame) {
    for (const int width : {30, 160}) {
        for (const int colours : {8, 256}) {
            Bytes page = Noise(width, 60, 8, 11811, 5);
            for (int i = 0; i < 256; ++i) {
                const int kind = i % colours;
                testdib::SetEntry(page, i, kind * 37 & 255, kind * 91 & 255, kind * 7 & 255);
            }
            EXPECT_GE(ExpectTheSameBytes([&] { return Converted(page, 300); }), 3) << width << ", " << colours;
            EXPECT_GE(ExpectTheSameBytes([&] { return Converted(page, 203); }), 3) << width << ", " << colours;
        }
    }
}

TEST_F(ScarceMemory, OneBitPagesWithManyFractionsAreTheSame) {
    Bytes page = Noise(333, 200, 1, 11811, 3);
    for (const int clear : {0, 255}) { // black or white
        testdib::SetEntry(page, 0, clear, clear, clear);
        testdib::SetEntry(page, 1, 255 - clear, 255 - clear, 255 - clear);
        for (const unsigned short dpi : {203, 301})
            EXPECT_EQ(ExpectTheSameBytes([&] { return Converted(page, dpi); }), 1) << dpi;
    }
}

TEST_F(ScarceMemory, GrayAndTrueColourPagesAreTheSame) {
    for (const int bits : {8, 24}) {
        for (const unsigned short dpi : {100, 203, 301, 900})
            EXPECT_GE(ExpectTheSameBytes([&] { return Converted(Noise(133, 60, bits, 11811, 4), dpi); }), 1)
                << bits << " bits, " << dpi;
    }
}
