// The fast road of the pipeline over rows and columns that somebody has changed behind its back.
#include "memory/x86/cpu_tier.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "transform/row_road.h"

#include <gtest/gtest.h>

#include <memory>

using namespace dibprep;
using testdib::Bytes;

namespace {

// A transform of a picture of random pixels from plain address to plain address, done once.
struct Road {
    Road(int bits, unsigned short dpi) : dib(testdib::MakeDib(150, 20, bits)), out(60000) {
        if (bits == 8)
            testdib::SetGrayTable(dib, 256);
        testdib::Random random(1);
        for (std::size_t i = dib.size() - 20 * testdib::Stride(150, bits); i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        source = std::make_unique<CBufTransfer>(dib.data(), 3, 0);
        destination = std::make_unique<CBufTransfer>(out.data(), 3, 1);
        engine.source = source.get();
        engine.destination = destination.get();
        EXPECT_EQ(engine.LinearTransform(0, nullptr, dpi, 128), 0);
    }

    Bytes dib;
    Bytes out;
    std::unique_ptr<CBufTransfer> source;
    std::unique_ptr<CBufTransfer> destination;
    CLinearTransformMem engine;
};

CLinearTransformMem* changed = nullptr;
int ChangeTheRatio(unsigned short percent) {
    if (percent > 30)
        changed->ratioY = -1;
    return 1;
}

class ForeignRows : public testing::Test {
protected:
    void SetUp() override {
        if (ProcessorTier() == Tier::Scalar)
            GTEST_SKIP() << "this processor has no SSE2";
    }
};

} // namespace

TEST_F(ForeignRows, OutsideTheSourceAreLeftToTheLineBuilders) {
    for (const int bits : {1, 8, 24}) {
        Road road(bits, 200);
        PipelineRows rows;
        ASSERT_TRUE(rows.Prepare(road.engine));
        EXPECT_TRUE(rows.Build(road.engine, 1));
        const Bytes before = road.out;
        const double ratio = road.engine.ratioY;
        road.engine.ratioY = 1e-6;
        EXPECT_FALSE(rows.Build(road.engine, 1));
        road.engine.ratioY = -1;
        EXPECT_FALSE(rows.Build(road.engine, 1));
        road.engine.ratioY = ratio;
        road.engine.srcHeight = 0;
        EXPECT_FALSE(rows.Build(road.engine, 1));
        EXPECT_EQ(road.out, before);
    }
}

TEST_F(ForeignRows, OfAnObjectThatItsCallbackChangesAreTheLineBuilders) {
    for (const int bits : {1, 8, 24}) {
        Bytes outs[2];
        for (const RowRoad way : {RowRoad::Fast, RowRoad::LineBuilders}) {
            Road road(bits, 200);
            std::fill(road.out.begin() + 1200, road.out.end(), std::uint8_t{0});
            changed = &road.engine;
            road.engine.progress = ChangeTheRatio;
            EXPECT_EQ(BuildImage(road.engine, 0, 128, way), 0);
            outs[way == RowRoad::Fast ? 0 : 1] = road.out;
        }
        EXPECT_EQ(outs[0], outs[1]) << bits << " bits";
    }
}

TEST_F(ForeignRows, WhoseOneBitColumnsFallAreGatheredBitByBit) {
    for (const unsigned short dpi : {203, 300, 600}) {
        Road road(1, dpi);
        CLinearTransformMem& engine = road.engine;
        std::reverse(engine.positions.begin(), engine.positions.end());
        Bytes expected(engine.outStride);
        unsigned char* const first = road.dib.data() + engine.srcBitsOffset;
        engine.MakeBWImageLine(0, first, first + engine.srcStride, expected.data());
        PipelineRows rows;
        ASSERT_TRUE(rows.Prepare(engine));
        const auto row = road.out.begin() + engine.outBitsOffset;
        std::fill(row, row + engine.outStride, std::uint8_t{0});
        ASSERT_TRUE(rows.Build(engine, 0));
        EXPECT_EQ(Bytes(row, row + engine.outStride), expected) << dpi;
    }
}
