// How often each entry calls the host for one small picture. The counts may fall; they must not grow.
#include "dibprep.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

int probes = 0;

} // namespace

// Stands in front of libdibhost's.
extern "C" int IsBadReadPtr(const void*, size_t) {
    ++probes;
    return 0;
}

namespace {

using testdib::Bytes;

struct Counts {
    int allocations = 0;
    int locks = 0;
    int all = 0; // of the six functions for blocks
    int probes = 0;
};

bool operator==(const Counts& a, const Counts& b) {
    return a.allocations == b.allocations && a.locks == b.locks && a.all == b.all && a.probes == b.probes;
}

std::ostream& operator<<(std::ostream& out, const Counts& counts) {
    return out << counts.allocations << " allocations, " << counts.locks << " locks, " << counts.all << " calls, "
               << counts.probes << " probes";
}

class HostCalls : public testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override { testhost::Reset(); }

    static Counts Of(const Bytes& dib, const std::function<void*(void*, unsigned char*)>& convert) {
        void* const source = testhost::MakeBlock(dib);
        testhost::ResetCounters();
        const int before = testhost::Calls();
        probes = 0;
        EXPECT_NE(convert(source, testhost::Address(source)), nullptr);
        EXPECT_EQ(testhost::BadCalls(), 0);
        return {testhost::Allocations(), testhost::Locks(), testhost::Calls() - before, probes};
    }

    static Counts Pipeline(const Bytes& dib) {
        return Of(dib, [](void* handle, unsigned char*) {
            void* result = nullptr;
            ConvertResolution(handle, &result, nullptr, 200, 128);
            return result;
        });
    }

    static Counts Resampler(const Bytes& dib) {
        return Of(dib, [](void* handle, unsigned char*) {
            unsigned short status = 0;
            return ConvertResolution2(handle, 7874, 7874, &status);
        });
    }

    static Counts Utility(const Bytes& dib, void* (*convert)(unsigned char*)) {
        return Of(dib, [convert](void*, unsigned char* address) { return convert(address); });
    }
};

Bytes Square(int bits, bool gray = false) {
    testdib::Random random(1);
    Bytes dib = testdib::MakeDib(16, 16, bits);
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(random.Next());
    if (gray)
        testdib::SetGrayTable(dib, 1 << bits);
    return dib;
}

TEST_F(HostCalls, OfThePipelineDoNotGrow) {
    EXPECT_EQ(Pipeline(Square(24)), (Counts{3, 7, 25, 0}));
    EXPECT_EQ(Pipeline(Square(8, true)), (Counts{3, 7, 28, 0}));
    EXPECT_EQ(Pipeline(Square(1)), (Counts{3, 7, 26, 0}));
    EXPECT_EQ(Pipeline(Square(4, true)), (Counts{4, 8, 33, 0}));
    EXPECT_EQ(Pipeline(Square(8)), (Counts{5, 10, 39, 0}));
}

TEST_F(HostCalls, OfTheResamplerDoNotGrow) {
    for (const int bits : {1, 4, 8, 16, 24, 32, 48, 64})
        EXPECT_EQ(Resampler(Square(bits)), (Counts{1, 4, 11, 9})) << bits << " bits";
}

TEST_F(HostCalls, OfTheQuantiserDoNotGrow) {
    for (const int bits : {16, 24, 32})
        EXPECT_EQ(
            Utility(Square(bits), [](unsigned char* dib) { return CNiGoRo2(dib, 256, 5, 0).QuantizeBitmap(1, 0); }),
            (Counts{1, 2, 9, 0}))
            << bits << " bits";
}

TEST_F(HostCalls, OfTheUtilitiesDoNotGrow) {
    EXPECT_EQ(Utility(Square(32), ConvertTo24BPPDIB), (Counts{1, 2, 9, 0}));
    EXPECT_EQ(Utility(Square(24), ConvertTo16BPPDIB), (Counts{1, 2, 9, 0}));
    Bytes topDown = Square(24);
    testdib::PutU32(topDown, 8, static_cast<std::uint32_t>(-16));
    EXPECT_EQ(Utility(topDown, TopDownToBottomUp), (Counts{1, 2, 9, 0}));
    Bytes runs = Square(8);
    runs.resize(40 + 1024 + 300);
    testdib::PutU32(runs, 16, 1);
    testdib::PutU32(runs, 20, 2);
    EXPECT_EQ(Utility(runs, RestoreRLE8), (Counts{1, 2, 9, 0}));
}

TEST_F(HostCalls, OfTheSizeQueryDoNotGrow) {
    EXPECT_EQ(Of(Square(24),
                 [](void* handle, unsigned char*) {
                     unsigned int size = 0;
                     return GetBufferSize(handle, 200, &size) == 0 ? handle : nullptr;
                 }),
              (Counts{0, 1, 3, 0}));
}

} // namespace
