// The fast road at every tier against the line builders, byte by byte.
#include "tests/transform/tier_support.h"

#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"

#include <gtest/gtest.h>

using dibprep::Tier;
using namespace testtiers;
using namespace tiertest;

namespace {

class TransformTier : public ForTier<testing::Test> {
protected:
    void SetUp() override {
        ForTier::SetUp();
        testhost::Reset();
    }
    void Compare(const Page& page, int dpi, int threshold = 128, std::uint32_t start = 1) {
        const Call call{MakePage(page, start), dpi, threshold};
        EXPECT_EQ("", CompareRows(call, GetParam()))
            << page.bits << " bits, " << page.width << " x " << page.height << ", " << page.dpiX << " and " << page.dpiY
            << " to " << dpi << ", threshold " << threshold << ", start " << start;
    }
};

struct Resolutions {
    int from;
    int to;
};

constexpr Resolutions CommonResolutions[] = {{300, 200}, {600, 300}, {200, 400}, {300, 600}, {400, 300}, {200, 300},
                                             {300, 204}, {600, 200}, {300, 400}, {300, 300}, {96, 300},  {300, 96},
                                             {240, 256}, {200, 256}, {300, 137}, {299, 200}};

} // namespace

INSTANTIATE_TEST_SUITE_P(Every, TransformTier, FastTiers(), NameOfTier);

// A narrower row than a vector load is the line builders' work.
TEST_P(TransformTier, EveryWidthAroundTheVectorLengthsInColour) {
    for (int width = 6; width <= 75; ++width) {
        for (const Resolutions& at : {CommonResolutions[0], CommonResolutions[2], CommonResolutions[4]})
            Compare({24, width, 5, at.from, at.from}, at.to);
    }
}

TEST_P(TransformTier, EveryWidthAroundTheVectorLengthsInGray) {
    for (int width = 16; width <= 110; ++width) {
        for (const Resolutions& at : {CommonResolutions[0], CommonResolutions[2], CommonResolutions[4]})
            Compare({8, width, 5, at.from, at.from}, at.to);
    }
}

TEST_P(TransformTier, EveryWidthAroundTheVectorLengthsInOneBit) {
    for (int width = 3; width <= 530; width += width < 70 ? 1 : 7) {
        for (const Resolutions& at : {CommonResolutions[0], CommonResolutions[2], CommonResolutions[4]})
            Compare({1, width, 5, at.from, at.from}, at.to);
    }
}

// Where windows of 64 bytes begin to fit, and where tables begin to repeat.
TEST_P(TransformTier, WidthsAroundTheLongestVectors) {
    for (const Resolutions& at : {CommonResolutions[0], CommonResolutions[1], CommonResolutions[2], {300, 137}}) {
        for (const int width : {21, 22, 43, 84, 85, 86, 191, 192, 193, 257, 383, 384, 385})
            Compare({24, width, 4, at.from, at.from}, at.to);
        for (const int width : {63, 64, 65, 127, 128, 129, 191, 192, 193, 255, 256, 257, 575, 576, 577})
            Compare({8, width, 4, at.from, at.from}, at.to);
        for (const int width : {511, 512, 513, 767, 768, 769, 1023, 1024, 1025, 2047, 2048, 2049})
            Compare({1, width, 4, at.from, at.from}, at.to);
    }
}

TEST_P(TransformTier, InexactRatiosOfEveryWidth) {
    for (const Resolutions& at : {Resolutions{300, 137}, {300, 201}, {299, 200}, {200, 299}, {300, 59}}) {
        for (int width = 6; width <= 60; ++width) {
            Compare({24, width, 7, at.from, at.from}, at.to);
            Compare({8, width + 10, 7, at.from, at.from, Picture::FewLevels, width % 3 == 0}, at.to);
        }
        for (int width = 6; width <= 530; width += width < 70 ? 1 : 7)
            Compare({1, width, 7, at.from, at.from, Picture::Random, false, width % 2 == 0}, at.to, 1 + width % 255);
    }
}

TEST_P(TransformTier, RowsOfOneSampleAmongOthers) {
    for (const Resolutions& at : {Resolutions{300, 200}, {300, 137}, {200, 299}, {300, 300}}) {
        for (int width = 120; width < 140; ++width) {
            Compare({1, width, 60, at.from, at.from, Picture::Lines, false, width % 3 == 0}, at.to, 100);
            Compare({8, width, 60, at.from, at.from, Picture::Lines}, at.to);
        }
    }
}

// The last samples of a margin stand beside others; a column more or less moves the margins from row to row.
TEST_P(TransformTier, MarginsOfOneLevelBesideAPicture) {
    for (const Resolutions& at : {Resolutions{300, 400}, {300, 200}, {300, 137}, {200, 300}}) {
        for (int more = -1; more <= 1; ++more) {
            Compare({24, 800 + more, 12, at.from, at.from, Picture::Margins}, at.to);
            Compare({8, 2400 + more, 12, at.from, at.from, Picture::Margins, more == 0}, at.to);
        }
        Compare({8, 2400, 12, at.from, at.from, Picture::Margins}, at.to);
    }
    Compare({24, 1600, 12, 300, 300, Picture::Margins}, 40);
}

TEST_P(TransformTier, EqualResolutionsCopy) {
    for (int width = 6; width < 60; ++width) {
        Compare({24, width, 7, 300, 300}, 300);
        Compare({8, width + 10, 7, 300, 300, Picture::Random, width % 2 == 0}, 300);
        Compare({24, width, 7, 300, 400}, 300);
    }
}

TEST_P(TransformTier, CommonResolutionsAndPictures) {
    for (const Resolutions& at : CommonResolutions) {
        for (const Picture picture : {Picture::Random, Picture::FewLevels, Picture::Flat, Picture::White,
                                      Picture::Black, Picture::Stripes, Picture::Lines, Picture::Levels}) {
            Compare({24, 75, 24, at.from, at.from, picture}, at.to);
            Compare({8, 131, 24, at.from, at.from, picture}, at.to);
            Compare({1, 611, 24, at.from, at.from, picture}, at.to);
        }
    }
}

TEST_P(TransformTier, RandomResolutions) {
    testdib::Random random(7);
    for (std::uint32_t round = 0; round < 60; ++round) {
        const int dpi = random.Range(40, 900);
        const int dpiX = random.Range(dpi / 6 + 1, dpi * 4);
        const int dpiY = random.Range(dpi / 6 + 1, dpi * 4);
        const auto picture = static_cast<Picture>(random.Range(0, 2));
        const bool twist = random.OneIn(2);
        Compare({24, random.Range(20, 90), random.Range(4, 16), dpiX, dpiY, picture}, dpi, 128, round);
        Compare({8, random.Range(20, 150), random.Range(4, 16), dpiX, dpiY, picture, twist}, dpi, 128, round);
        Compare({1, random.Range(20, 900), random.Range(4, 16), dpiX, dpiY, picture, false, twist}, dpi,
                random.Range(1, 255), round);
    }
}

// Differences that the column's and row's thirds divide: the result is a whole number but for the
// rounding of the doubles, which decides between it and the one below.
TEST_P(TransformTier, ResultsNextToWholeNumbersRoundAsTheDoublesDo) {
    for (std::uint32_t start = 0; start < 4; ++start) {
        Compare({24, 150, 40, 400, 400, Picture::FewLevels}, 300, 128, start);
        Compare({24, 100, 30, 200, 200, Picture::FewLevels}, 300, 128, start);
        Compare({8, 300, 40, 400, 300, Picture::FewLevels}, 300, 128, start);
        Compare({8, 300, 40, 300, 700, Picture::FewLevels}, 210, 128, start);
        Compare({8, 300, 40, 300, 400, Picture::FewLevels}, 200, 128, start);
    }
}

// Each axis by itself may have short binary fractions.
TEST_P(TransformTier, AxesOfDifferentResolution) {
    for (const int bits : {1, 8, 24}) {
        Compare({bits, 120, 40, 300, 400, Picture::Random}, 200);
        Compare({bits, 120, 40, 300, 450, Picture::Random}, 200);
        Compare({bits, 120, 40, 450, 300, Picture::Random}, 200);
        Compare({bits, 120, 40, 300, 307, Picture::Random}, 256);
        Compare({bits, 120, 40, 300, 600, Picture::Random}, 4096);
    }
}

// Tables of columns that repeat after 32 and after 64 pixels, under rows that are needed once: alone, in
// halves and in quarters.
TEST_P(TransformTier, LongPeriodsUnderRowsOfEveryWeight) {
    for (const int dpiY : {64, 80, 72}) {
        Compare({24, 170, 16, 33, dpiY}, 32);
        Compare({8, 330, 16, 65, dpiY * 2}, 64);
    }
}

TEST_P(TransformTier, ExtremeRatios) {
    Compare({24, 3000, 60, 3000, 3000}, 200);
    Compare({8, 6000, 60, 3000, 3000}, 100);
    Compare({1, 9000, 60, 3000, 3000}, 100);
    Compare({24, 8, 4, 72, 72}, 3600);
    Compare({8, 20, 4, 72, 72}, 3600);
    Compare({1, 20, 4, 72, 72}, 3600);
    Compare({24, 6000, 2, 6000, 1}, 1);
}

// Up to 64ths the columns are integers, up to 16384ths the rows; beyond there are doubles.
TEST_P(TransformTier, ExactFractionsOfEveryLength) {
    for (int dpi = 2; dpi <= 1024; dpi *= 2) {
        for (const int bits : {1, 8, 24}) {
            Compare({bits, 16, 3, 1, dpi}, dpi);
            Compare({bits, 16, 3, dpi, 1}, dpi);
            if (dpi <= 16)
                Compare({bits, 16, 3, 1, 1}, dpi);
        }
    }
    Compare({8, 16, 2, 16384, 1}, 16384);
    Compare({24, 16, 2, 8192, 1}, 24576);
    Compare({8, 16, 2, 32768, 1}, 32767);
}

TEST_P(TransformTier, AnyThreshold) {
    for (const int threshold :
         {-2147483647 - 1, -1, 0, 1, 2, 63, 64, 127, 128, 129, 191, 192, 254, 255, 256, 2147483647}) {
        for (const bool clearIsWhite : {false, true}) {
            Compare({1, 333, 12, 300, 300, Picture::Random, false, clearIsWhite}, 200, threshold);
            Compare({1, 333, 12, 300, 300, Picture::Random, false, clearIsWhite}, 204, threshold);
        }
    }
}

TEST_P(TransformTier, GrayTablesThatAreNotTheIdentity) {
    Compare({8, 200, 20, 300, 300, Picture::Random, true}, 200);
    Compare({8, 200, 20, 400, 400, Picture::Random, true}, 300);
    Compare({8, 700, 20, 600, 600, Picture::Random, true}, 100);
}

TEST_P(TransformTier, DestinationBytesThatAreNotPixelsStay) {
    for (const int bits : {1, 8, 24}) {
        for (int width = 90; width < 106; ++width) {
            Call call{MakePage({bits, width, 9, 300, 300}, 3), 200, 128};
            call.fill = 0xA5;
            EXPECT_EQ("", CompareRows(call, GetParam())) << bits << " bits, width " << width;
            EXPECT_EQ("", CompareEntry(call, GetParam())) << bits << " bits, width " << width;
        }
    }
}

TEST_P(TransformTier, EntryGivesTheSameBlockAndPercentages) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        for (const Resolutions& at : CommonResolutions) {
            Call call{MakePage({bits, 133, 61, at.from, at.from}, 5), at.to, 100, Record};
            EXPECT_EQ("", CompareEntry(call, GetParam())) << bits << " bits, " << at.from << " to " << at.to;
        }
    }
}

TEST_P(TransformTier, HostFunctionsAreCalledAsOftenAsWithoutVectors) {
    for (const int bits : {1, 8, 24}) {
        const Call call{MakePage({bits, 133, 61, 300, 300}, 5), 200, 128, Record};
        const Outcome expected = RunEntry(call, Tier::Scalar);
        const Outcome got = RunEntry(call, GetParam());
        EXPECT_EQ(expected.hostCalls, got.hostCalls);
        EXPECT_EQ(expected.block, got.block);
    }
}

// Enlarged rows overwrite source rows that are still to be read.
TEST_P(TransformTier, OneBlockAsSourceAndDestinationGoesRowByRow) {
    for (const int bits : {1, 8, 24}) {
        for (const int dpi : {200, 600, 700}) {
            Bytes block = MakePage({bits, 133, 61, 300, 300}, 5);
            block.resize(block.size() + 300000);
            Bytes results[2];
            for (int i = 0; i < 2; ++i) {
                void* handle = testhost::MakeBlock(block);
                dibprep::ForceTier(i == 0 ? Tier::Scalar : GetParam());
                const auto wanted = static_cast<unsigned short>(dpi);
                EXPECT_EQ(0u, LinearTransformMain(34, &handle, &handle, nullptr, wanted, 128));
                results[i] = testhost::Bytes(handle);
                GlobalFree(handle);
            }
            dibprep::ForceTier(dibprep::BestKnownTier);
            EXPECT_EQ(results[0], results[1]) << bits << " bits to " << dpi;
        }
    }
}
