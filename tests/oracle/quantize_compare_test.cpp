// The quantiser as a whole against its slow second version: palettes, both searches, mapping, modes,
// default colours, and the two sorts.
#include "dibprep.h"
#include "quantize_fixture.h"
#include "random_cases.h"

#include <string>

namespace {

using namespace oracle;

using QuantizeCompare = RandomCaseTest;

std::string Describe(const Bytes& dib, unsigned maxColors, unsigned depth) {
    return std::to_string(static_cast<std::int32_t>(testdib::U32(dib, 4))) + " x " +
           std::to_string(static_cast<std::int32_t>(testdib::U32(dib, 8))) + " of " +
           std::to_string(testdib::U16(dib, 14)) + " bits, compression " + std::to_string(testdib::U32(dib, 16)) +
           ", header of " + std::to_string(testdib::U32(dib, 0)) + ", colours used " +
           std::to_string(testdib::U32(dib, 32)) + ", at most " + std::to_string(maxColors) + " colours, depth " +
           std::to_string(depth);
}

void CompareResult(const std::optional<Bytes>& expected, void* actual) {
    ASSERT_EQ(actual != nullptr, expected.has_value());
    if (actual) {
        EXPECT_EQ(Difference(*expected, testhost::Bytes(actual)), "equal");
        EXPECT_EQ(testhost::LockCount(actual), 0);
    }
}

TEST_F(QuantizeCompare, ReducedPicturesAreTheSame) {
    ForEachCase(700, 30, [](Random& random) {
        const Bytes dib = RandomQuantizerSource(random, 24, 24);
        const unsigned maxColors = RandomMaxColors(random);
        const unsigned depth = RandomDepth(random);
        SCOPED_TRACE(Describe(dib, maxColors, depth));
        testhost::Reset();
        Pair pair(dib, maxColors, depth);
        if (random.OneIn(4))
            pair.SetDefaultColors(RandomDefaultColors(random, random.OneIn(6) ? 300 : 20));
        const std::uint32_t modes[] = {666, 884, 775, 1, 667};
        if (random.OneIn(8))
            pair.SetMode(modes[random.Range(0, 4)]);
        Memory memory;
        CompareResult(pair.slow.QuantizeBitmap(memory), pair.fast.QuantizeBitmap(1, 0));
        pair.CompareFields();
        if (testing::Test::HasFailure() || random.OneIn(2))
            return;
        // Once more on the same object, now perhaps with a special mode.
        if (random.OneIn(3))
            pair.SetMode(modes[random.Range(0, 4)]);
        CompareResult(pair.slow.Quantize(memory), pair.fast.Quantize());
        pair.CompareFields();
    });
}

TEST_F(QuantizeCompare, PicturesAboveTheCubeLimitAreTheSame) {
    ForEachCase(5, 31, [](Random& random) {
        Bytes dib = testdib::MakeDib(random.Range(125, 150), random.Range(125, 140), 24);
        const int style = random.Range(0, 2);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(style == 0   ? random.Next() >> 5
                                               : style == 1 ? (i * 7 + i / 400 * 3) / 5
                                                            : (random.Next() >> 5 & 63) + i / 300);
        SCOPED_TRACE(Describe(dib, 256, 5));
        testhost::Reset();
        Pair pair(dib, random.OneIn(2) ? 256 : static_cast<unsigned>(random.Range(60, 90)), 5);
        if (random.OneIn(3))
            pair.SetDefaultColors(RandomDefaultColors(random, 12));
        Memory memory;
        CompareResult(pair.slow.QuantizeBitmap(memory), pair.fast.QuantizeBitmap(1, 0));
        pair.CompareFields();
    });
}

// Without an octree the palette is the host's own.
TEST_F(QuantizeCompare, PalettesOfTheHostMapTheSame) {
    ForEachCase(500, 32, [](Random& random) {
        const Bytes dib = RandomQuantizerSource(random, 16, 16);
        SCOPED_TRACE(Describe(dib, 256, 0));
        testhost::Reset();
        Pair pair(dib, 256, 0);
        pair.SetPalette(RandomRecords(random, static_cast<std::size_t>(random.Range(0, random.OneIn(2) ? 6 : 256))));
        if (random.OneIn(4))
            pair.SetMode(775);
        if (random.OneIn(4))
            pair.SetLinear(true);
        Memory memory;
        CompareResult(pair.slow.QuantizeBitmap(memory), pair.fast.QuantizeBitmap(0, 0));
        pair.CompareFields();
    });
}

TEST_F(QuantizeCompare, ListSearchesFindTheSameIndex) {
    ForEachCase(400, 33, [](Random& random) {
        Pair pair(testdib::MakeDib(1, 1, 24), 256, 0);
        pair.SetPalette(RandomRecords(random, static_cast<std::size_t>(random.Range(0, random.OneIn(2) ? 5 : 256))));
        if (!random.OneIn(4)) {
            std::vector<tagRGBQUAD> table(256);
            pair.fast.BuildPalette(table.data());
            CompareTable(pair.slow.BuildPalette(), table);
        }
        pair.CompareFields();
        for (int i = 0; i < 120; ++i) {
            const Colour colour = RandomSearch(random, pair.slow.palette, pair.slow.colors);
            const int index = pair.fast.GetNearestColorIndexL(static_cast<unsigned char>(colour.red),
                                                              static_cast<unsigned char>(colour.green),
                                                              static_cast<unsigned char>(colour.blue));
            ASSERT_EQ(index, pair.slow.NearestInList(colour))
                << colour.red << ' ' << colour.green << ' ' << colour.blue << " among " << pair.slow.colors;
        }
    });
}

TEST_F(QuantizeCompare, CubesListTheSameRecordsAndFindTheSameIndex) {
    ForEachCase(12, 34, [](Random& random) {
        Pair pair(testdib::MakeDib(1, 1, 24), 256, 0);
        const int most = random.OneIn(3) ? 256 : random.OneIn(2) ? 40 : 4;
        pair.SetPalette(RandomRecords(random, static_cast<std::size_t>(random.Range(0, most))));
        for (int round = random.OneIn(3) ? 2 : 1; round > 0; --round) {
            std::vector<tagRGBQUAD> table(256);
            pair.fast.BuildSearchCube(table.data());
            CompareTable(pair.slow.BuildSearchCube(), table);
            pair.CompareFields();
        }
        for (int i = 0; i < 2000; ++i) {
            const Colour colour = RandomSearch(random, pair.slow.palette, pair.slow.colors);
            const int index = pair.fast.GetNearestColorIndexC(static_cast<unsigned char>(colour.red),
                                                              static_cast<unsigned char>(colour.green),
                                                              static_cast<unsigned char>(colour.blue));
            ASSERT_EQ(index, pair.slow.NearestInCube(colour))
                << colour.red << ' ' << colour.green << ' ' << colour.blue << " among " << pair.slow.colors;
        }
    });
}

TEST_F(QuantizeCompare, SortsLeaveTiesInTheSameOrder) {
    ForEachCase(1500, 35, [](Random& random) {
        std::vector<Record> slow = RandomRecords(random, static_cast<std::size_t>(random.Range(0, 300)));
        std::vector<CColorTrans2> fast = Converted(slow);
        const int count = static_cast<int>(slow.size());
        const Colour reference = RandomSearch(random, slow, count);
        const tagRGBQUAD ref{static_cast<unsigned char>(reference.blue), static_cast<unsigned char>(reference.green),
                             static_cast<unsigned char>(reference.red), 9};
        for (int round = random.Range(1, 2); round > 0; --round)
            switch (random.Range(0, 2)) {
            case 0:
                Sort(slow, 0, slow.size(), ByCount);
                Qsort(fast.data(), count, CompareDenom);
                break;
            case 1:
                Sort(slow, 0, slow.size(), ByBlue);
                Qsort(fast.data(), count, CompareBlue);
                break;
            default:
                Sort(slow, 0, slow.size(),
                     [&reference](const Record& a, const Record& b) { return ByDistance(a, b, reference); });
                Qsort(fast.data(), ref, count, CompareColor);
            }
        CompareRecords(slow, fast.data(), slow.size());
    });
}

TEST_F(QuantizeCompare, NoPictureAtAllGivesNothing) {
    testhost::Reset();
    for (const unsigned short depth : {0, 5}) {
        CNiGoRo2 fast(nullptr, 256, depth, 0);
        Memory memory;
        EXPECT_FALSE(Quantizer(Bytes(40), 256, depth).QuantizeBitmap(memory).has_value());
        EXPECT_EQ(fast.QuantizeBitmap(1, 0), nullptr);
    }
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

} // namespace
