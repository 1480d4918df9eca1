// How often and where the resampler asks whether memory can be read, and what it does when the
// answer changes while it works. This program answers itself, ahead of the host layer.
#include "dibprep/host.h"
#include "tests/bilinear/bilinear_test.h"

namespace {

struct Probe {
    const void* address;
    std::size_t bytes;
};
std::vector<Probe> probes;
std::vector<int> unreadable; // the calls, from 1, that answer so
void* watchedBlock;          // whose locks are counted at every call; may be null
std::vector<int> locks;

} // namespace

extern "C" int IsBadReadPtr(const void* address, std::size_t bytes) {
    probes.push_back({address, bytes});
    if (watchedBlock)
        locks.push_back(testhost::LockCount(watchedBlock));
    const int call = static_cast<int>(probes.size());
    return std::find(unreadable.begin(), unreadable.end(), call) != unreadable.end();
}

namespace {

using namespace bilinear_test;
using namespace testdib;

class Probes : public BilinearTest {
protected:
    void SetUp() override {
        BilinearTest::SetUp();
        probes.clear();
        unreadable.clear();
        watchedBlock = nullptr;
        locks.clear();
    }
    static std::vector<std::size_t> Sizes() {
        std::vector<std::size_t> sizes;
        for (const Probe& probe : probes)
            sizes.push_back(probe.bytes);
        return sizes;
    }
    void* Create(const Bytes& info, const Bytes* pixels = nullptr) {
        return object.CreateDIB(reinterpret_cast<const tagBITMAPINFO*>(info.data()), pixels ? pixels->data() : nullptr);
    }
};

using Sizes_ = std::vector<std::size_t>;

TEST_F(Probes, BiLinearLooksAtHeadersOnly) {
    const Bytes dib = MakeDib(30, 30, 8);
    EXPECT_FALSE(Resample(dib, 9, 9).empty());
    // Source header; source record; header to copy from (plain, for its table, whole, once more);
    // record of the result.
    EXPECT_EQ(Sizes(), (Sizes_{40, 44, 44, 40, 44, 40, 40, 44, 44}));
    EXPECT_EQ(probes[0].address, dib.data());
}

TEST_F(Probes, SourceStaysLockedOnceUntilTheResultIsMade) {
    void* const block = watchedBlock = testhost::MakeBlock(MakeDib(30, 30, 8));
    unsigned short status = 0;
    void* const result = ConvertResolution2(block, 5906, 5906, &status);
    EXPECT_EQ(locks, std::vector<int>(9, 1));
    EXPECT_EQ(testhost::LockCount(block), 0);
    EXPECT_EQ(Take(result).size(), 40u + 15u * 48u);
}

TEST_F(Probes, CreateDibLooksAtHeaderTableAndPixels) {
    const Bytes info = MakeDib(3, 2, 4);
    const Bytes pixels(8);
    Take(Create(info, &pixels));
    EXPECT_EQ(Sizes(), (Sizes_{40, 44, 104, 8, 104}));
    EXPECT_EQ(probes[3].address, pixels.data());
}

TEST_F(Probes, TableThatGoesAwayLeavesTheHeader) {
    Bytes info = MakeDib(3, 2, 4);
    SetGrayTable(info, 16);
    unreadable = {4};
    const Bytes made = Take(Create(info));
    EXPECT_EQ(Sizes(), (Sizes_{40, 44, 104, 104, 40}));
    ASSERT_EQ(made.size(), 112u);
    EXPECT_EQ(Bytes(made.begin(), made.begin() + 40), Bytes(info.begin(), info.begin() + 40));
    EXPECT_EQ(Bytes(made.begin() + 40, made.begin() + 104), Bytes(64)) << "zeros where the table would be";
    EXPECT_EQ(Bytes(made.begin() + 104, made.end()), Bytes(8, 0xFF));
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST_F(Probes, HeaderThatGoesAwayTooIsRefused) {
    unreadable = {4, 5};
    EXPECT_EQ(Create(MakeDib(3, 2, 4)), nullptr);
    EXPECT_EQ(object.m_nLastError, -4);
    EXPECT_EQ(testhost::Allocations(), 1);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(Probes, DriverReportsMemoryWhateverCreateDibReports) {
    const Bytes dib = MakeDib(30, 30, 8);
    const tagRECT whole = {0, 0, 9, 9};
    unreadable = {4};
    EXPECT_EQ(object.BiLinear(dib.data(), &whole, &whole, nullptr), nullptr);
    EXPECT_EQ(object.m_nLastError, -1);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

} // namespace
