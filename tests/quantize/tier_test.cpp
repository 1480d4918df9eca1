// The quantiser's kernels, and its fast forms of filling and reducing the octree and of building the
// search cube: the same bytes as the scalar forms, on every tier.
#include "quantize/forms.h"
#include "quantize/kernels.h"
#include "tests/quantize/tier_pictures.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tiertest;
using dibprep::CellScores;
using dibprep::KernelsOf;
using dibprep::Tier;

namespace {

using Quantiser = std::unique_ptr<CNiGoRo2>;

Quantiser Make(Bytes& dib, unsigned short colours = 256, unsigned short depth = 5) {
    return std::make_unique<CNiGoRo2>(dib.data(), colours, depth, 0);
}

void SetDefaults(CNiGoRo2& quantiser, int count, std::uint64_t start) {
    Random random(start);
    quantiser.m_pDefaultColors = new tagRGBQUAD[static_cast<std::size_t>(count)]();
    quantiser.m_dwDefaultColors = static_cast<unsigned>(count);
    for (int i = 0; i < count; ++i) {
        const auto any = [&] { return static_cast<unsigned char>(random.Next()); };
        quantiser.m_pDefaultColors[i] = {any(), any(), any(), 0};
    }
}

TEST(QuantizeTiers, EveryTierHasKernelsOfItsOwn) {
    for (const Tier tier : dibprep::EveryTier)
        EXPECT_EQ(KernelsOf(tier).tier, std::min(tier, Tier::Avx2)); // which is the last with a form of its own
    EXPECT_NE(KernelsOf(Tier::Sse2).keys, KernelsOf(Tier::Scalar).keys);
    EXPECT_NE(KernelsOf(Tier::Ssse3).keys, KernelsOf(Tier::Sse2).keys);
    EXPECT_NE(KernelsOf(Tier::Avx2).keys, KernelsOf(Tier::Ssse3).keys);
    for (const Tier tier : {Tier::Sse2, Tier::Ssse3, Tier::Avx2}) {
        EXPECT_NE(KernelsOf(tier).sameBlocks, KernelsOf(Tier::Scalar).sameBlocks);
        EXPECT_NE(KernelsOf(tier).mixedBlocks, KernelsOf(Tier::Scalar).mixedBlocks);
    }
    EXPECT_NE(KernelsOf(Tier::Avx2).pick, KernelsOf(Tier::Scalar).pick);
    EXPECT_NE(KernelsOf(Tier::Avx2).sortFew, KernelsOf(Tier::Scalar).sortFew);
    EXPECT_NE(KernelsOf(Tier::Avx2).search, KernelsOf(Tier::Scalar).search);
    EXPECT_NE(KernelsOf(Tier::Sse2).nearest, KernelsOf(Tier::Scalar).nearest);
    EXPECT_NE(KernelsOf(Tier::Avx2).nearest, KernelsOf(Tier::Sse2).nearest);
}

TEST(QuantizeTiers, KeyHoldsCellAndPlaceAndGivesTheChannelsBack) {
    EXPECT_EQ(dibprep::KeyOf(0xF80000), 31u << 19);
    EXPECT_EQ(dibprep::KeyOf(0x00F800), 31u << 14);
    EXPECT_EQ(dibprep::KeyOf(0x0000F8), 31u << 9);
    EXPECT_EQ(dibprep::KeyOf(0x070503), 7u << 6 | 5u << 3 | 3u);
    Random random(1);
    for (int i = 0; i < 1000; ++i) {
        const std::uint32_t pixel = random.Next() & 0xFFFFFF;
        const std::uint32_t key = dibprep::KeyOf(pixel);
        EXPECT_EQ(dibprep::RedOf(key), pixel >> 16);
        EXPECT_EQ(dibprep::GreenOf(key), pixel >> 8 & 0xFF);
        EXPECT_EQ(dibprep::BlueOf(key), pixel & 0xFF);
    }
}

TEST(QuantizeTiers, KeysOfAllLengthsBetweenUnreadablePages) {
    Random random(2);
    for (const Tier tier : FastTiersHere()) {
        for (const auto side : {testhost::GuardedBuffer::Side::Start, testhost::GuardedBuffer::Side::End}) {
            for (int count = 0; count <= 67; ++count) {
                const std::size_t length = 3 * static_cast<std::size_t>(count);
                testhost::GuardedBuffer pixels(length, side);
                testhost::GuardedBuffer keys(4 * static_cast<std::size_t>(count) + 4, side);
                for (std::size_t i = 0; i < length; ++i)
                    pixels.data()[i] = static_cast<std::uint8_t>(random.Next());
                std::vector<std::uint32_t> expected(static_cast<std::size_t>(count) + 1, 0xA5A5A5A5);
                dibprep::ScalarQuantizeKernels.keys(pixels.data(), count, expected.data());
                std::memset(keys.data(), 0xA5, keys.size());
                KernelsOf(tier).keys(pixels.data(), count, reinterpret_cast<std::uint32_t*>(keys.data()));
                ASSERT_EQ(std::memcmp(keys.data(), expected.data(), keys.size()), 0)
                    << dibprep::NameOf(tier) << ' ' << count;
            }
        }
    }
}

TEST(QuantizeTiers, NearestOfACellForAllNumbersOfCandidates) {
    Random random(3);
    auto scores = std::make_unique<CellScores>();
    for (int count = 1; count <= CellScores::Most; ++count) {
        const int spread = random.OneIn(2) ? 8 : 255; // close candidates tie
        scores->count = count;
        for (int i = 0; i < count; ++i) {
            const int red = random.Range(-spread, 0);
            const int green = random.Range(-spread, 0);
            const int blue = random.Range(-spread, 0);
            for (int x = 0; x < 8; ++x) {
                const auto square = [x](int v) { return static_cast<std::uint32_t>((v + x) * (v + x)) << 14; };
                scores->red[i][x] = square(red) + 0x80000000u;
                scores->green[i][x] = square(green);
                const auto place = static_cast<std::uint32_t>(count - 1 - i);
                scores->blue[i][x] = square(blue) + (place << 8) + (random.Next() & 0xFF);
            }
        }
        unsigned char expected[512];
        dibprep::ScalarQuantizeKernels.nearest(*scores, expected);
        for (const Tier tier : FastTiersHere()) {
            testhost::GuardedBuffer indices(512);
            KernelsOf(tier).nearest(*scores, indices.data());
            ASSERT_EQ(std::memcmp(indices.data(), expected, 512), 0) << dibprep::NameOf(tier) << ' ' << count;
        }
    }
}

TEST(QuantizeTiers, FilledTreesAreEqual) {
    for (const Kind kind : AllKinds) {
        for (int bits : {24, 16}) {
            for (unsigned short depth = 1; depth <= 5; ++depth) {
                Bytes dib = Picture(kind, 257 + depth, 70, bits, 10u + depth);
                const Quantiser expected = Make(dib, 256, depth);
                if (depth == 3 || depth == 5)
                    SetDefaults(*expected, 30, depth);
                ASSERT_EQ(expected->InitOctree(), 1);
                expected->InsertDefaultColors();
                dibprep::ScalarFillTree(*expected);
                for (const Tier tier : FastTiersHere()) {
                    const ForcedTier forced(tier);
                    const Quantiser q = Make(dib, 256, depth);
                    if (expected->m_dwDefaultColors)
                        SetDefaults(*q, 30, depth);
                    ASSERT_EQ(q->InitOctree(), 1);
                    q->InsertDefaultColors();
                    ASSERT_TRUE(dibprep::FastFillTree(*q));
                    ASSERT_EQ(DifferenceOfTrees(*q, *expected), "")
                        << dibprep::NameOf(tier) << ' ' << NameOf(kind) << ' ' << bits << " bits, depth " << depth;
                }
            }
        }
    }
}

TEST(QuantizeTiers, FillingCountsOnFromWhatIsThere) {
    Bytes dib = Picture(Kind::Runs, 200, 90, 24, 5);
    const Quantiser expected = Make(dib);
    expected->InitOctree();
    // What only a host can have put there: a leaf with child bits, sums near the wrap.
    for (unsigned int n = 0; n < 37449; ++n) {
        expected->m_pCube[n].m_dwRed = 0xFFFFFF00u + n;
        expected->m_pCube[n].m_dwPixels = 0xFFFFFFF0u;
        expected->m_pCube[n].m_dwWeight = 0xFFFFFF00u;
        expected->m_pCube[n].m_byChild = static_cast<unsigned char>(n);
    }
    const Quantiser q = Make(dib);
    q->InitOctree();
    std::memcpy(q->m_pCube, expected->m_pCube, 37449 * sizeof(CCube2));
    for (const Tier tier : FastTiersHere()) {
        const ForcedTier forced(tier);
        ASSERT_TRUE(dibprep::FastFillTree(*q));
        dibprep::ScalarFillTree(*expected);
        ASSERT_EQ(DifferenceOfTrees(*q, *expected), "");
    }
}

TEST(QuantizeTiers, RowsAreReadToTheirLastByteOnly) {
    for (int width = 1; width <= 40; ++width) {
        const int height = 16384 / width + 1;
        Bytes dib = Picture(Kind::Photo, width, height, 24, static_cast<unsigned>(width));
        const std::size_t size = dib.size() - 40 - testdib::Stride(width, 24) + static_cast<std::size_t>(3 * width);
        for (const auto side : {testhost::GuardedBuffer::Side::Start, testhost::GuardedBuffer::Side::End}) {
            testhost::GuardedBuffer pixels(size, side);
            std::memcpy(pixels.data(), dib.data() + 40, size);
            const Quantiser expected = Make(dib, 256, 4);
            expected->InitOctree();
            dibprep::ScalarFillTree(*expected);
            for (const Tier tier : FastTiersHere()) {
                const ForcedTier forced(tier);
                const Quantiser q = Make(dib, 256, 4);
                q->m_pBits = pixels.data();
                q->InitOctree();
                ASSERT_TRUE(dibprep::FastFillTree(*q));
                ASSERT_EQ(DifferenceOfTrees(*q, *expected), "") << width;
            }
        }
    }
}

TEST(QuantizeTiers, FillingLeavesToTheScalarFormWhatIsNotItsOwn) {
    Bytes dib = Picture(Kind::Noise, 128, 128, 24, 6);
    const Quantiser deep = Make(dib, 256, 6);
    EXPECT_FALSE(dibprep::FastFillTree(*deep));
    const Quantiser small = Make(dib);
    small->m_bih.biHeight = 127;
    EXPECT_FALSE(dibprep::FastFillTree(*small));
    const Quantiser fields = Make(dib);
    fields->m_bih.biCompression = 3;
    EXPECT_FALSE(dibprep::FastFillTree(*fields));
    const Quantiser topDown = Make(dib);
    topDown->m_bih.biHeight = -128;
    EXPECT_FALSE(dibprep::FastFillTree(*topDown));
    const Quantiser shortHeader = Make(dib);
    shortHeader->m_bih.biSize = 39;
    EXPECT_FALSE(dibprep::FastFillTree(*shortHeader));
    const ForcedTier forced(Tier::Scalar);
    const Quantiser scalar = Make(dib);
    EXPECT_FALSE(dibprep::FastFillTree(*scalar));
}

TEST(QuantizeTiers, ReducedTreesAreEqual) {
    for (const Kind kind : AllKinds) {
        for (unsigned short depth : {1, 3, 5, 6}) {
            Bytes dib = Picture(kind, 90, 50, 24, 20u + depth);
            for (unsigned short colours : {0, 1, 7, 16, 100, 256, 257, 65535}) {
                const Quantiser expected = Make(dib, colours, depth);
                const Quantiser q = Make(dib, colours, depth);
                for (CNiGoRo2* const each : {expected.get(), q.get()}) {
                    each->InitOctree();
                    dibprep::ScalarFillTree(*each);
                }
                unsigned int left = 12345;
                ASSERT_TRUE(dibprep::FastReduceColors(*q, left));
                ASSERT_EQ(left, dibprep::ScalarReduceColors(*expected));
                ASSERT_EQ(DifferenceOfTrees(*q, *expected), "")
                    << NameOf(kind) << " depth " << depth << ", " << colours << " colours";
            }
        }
    }
}

TEST(QuantizeTiers, TreesOfRandomWeightsAreReducedAlike) {
    Random random(30);
    Bytes dib = Picture(Kind::Flat, 1, 1, 24, 1);
    for (int round = 0; round < 24; ++round) {
        const auto colours = static_cast<unsigned short>(random.Range(1, 300));
        const Quantiser expected = Make(dib, colours, 4);
        const Quantiser q = Make(dib, colours, 4);
        expected->InitOctree();
        q->InitOctree();
        // Small weights tie often; inner nodes hold colours of their own.
        const int heaviest = round % 3 == 0 ? 3 : round % 3 == 1 ? 40 : 100000;
        for (unsigned int n = 4680; n > 0; --n) {
            CCube2& cube = expected->m_pCube[n];
            if (n < 585 ? cube.m_byChild == 0 : random.OneIn(3))
                continue;
            if (n >= 585 || random.OneIn(10)) {
                const auto own = static_cast<unsigned int>(random.Range(1, heaviest));
                cube.m_dwPixels = random.Next();
                cube.m_dwRed = random.Next();
                cube.m_dwGreen = random.Next();
                cube.m_dwBlue = random.Next();
                cube.m_dwWeight += own;
            }
            CCube2& parent = expected->m_pCube[(n - 1) / 8];
            parent.m_byChild |= static_cast<unsigned char>(1u << (n - 1) % 8);
            parent.m_dwWeight += cube.m_dwWeight;
        }
        std::memcpy(q->m_pCube, expected->m_pCube, 4681 * sizeof(CCube2));
        unsigned int left = 0;
        ASSERT_TRUE(dibprep::FastReduceColors(*q, left)) << round;
        ASSERT_EQ(left, dibprep::ScalarReduceColors(*expected)) << round;
        ASSERT_EQ(DifferenceOfTrees(*q, *expected), "") << round;
    }
}

TEST(QuantizeTiers, TreesThatFillingDoesNotMakeAreLeftToTheLoop) {
    Bytes dib = Picture(Kind::Noise, 40, 40, 24, 40);
    const auto reduces = [&](auto change) {
        const Quantiser q = Make(dib, 8, 5);
        q->InitOctree();
        dibprep::ScalarFillTree(*q);
        std::vector<CCube2> before(q->m_pCube, q->m_pCube + 37449);
        change(q->m_pCube, before);
        before.assign(q->m_pCube, q->m_pCube + 37449);
        unsigned int left = 0;
        const bool done = dibprep::FastReduceColors(*q, left);
        if (!done) {
            EXPECT_EQ(std::memcmp(before.data(), q->m_pCube, before.size() * sizeof(CCube2)), 0) << "untouched";
        }
        return done;
    };
    const auto firstLeaf = [](const std::vector<CCube2>& nodes) {
        std::size_t n = 4681;
        while (nodes[n].m_dwPixels == 0)
            ++n;
        return n;
    };
    EXPECT_TRUE(reduces([](CCube2*, auto&) {}));
    EXPECT_FALSE(reduces([&](CCube2* c, auto& nodes) { c[firstLeaf(nodes)].m_dwFixed = 1; }));
    EXPECT_FALSE(reduces([&](CCube2* c, auto& nodes) { c[firstLeaf(nodes)].m_dwWeight = 0; }));
    EXPECT_FALSE(reduces([&](CCube2* c, auto& nodes) { c[firstLeaf(nodes)].m_dwWeight = 100000; }));
    EXPECT_FALSE(reduces([](CCube2* c, auto&) { c[0].m_dwWeight = 0xFFFFFFFF; }));
    const ForcedTier forced(Tier::Scalar);
    EXPECT_FALSE(reduces([](CCube2*, auto&) {}));
}

TEST(QuantizeTiers, SearchCubesAreEqual) {
    Random random(50);
    Bytes dib = testdib::MakeDib(1, 1, 24);
    for (int round = 0; round < 24; ++round) {
        const int count = round < 12 ? round + 1 : random.Range(2, 256);
        const int spread = round % 4 == 0 ? 4 : round % 4 == 1 ? 60 : 256;
        const std::vector<CColorTrans2> records = Records(round == 23 ? 256 : count, spread, random);
        const Quantiser expected = Make(dib);
        const Quantiser q = Make(dib);
        tagRGBQUAD expectedTable[256] = {};
        tagRGBQUAD table[256] = {};
        SetPalette(*expected, records);
        SetPalette(*q, records);
        // The second time the lists grow on, from another order.
        for (int time = 0; time < 2; ++time) {
            dibprep::ScalarBuildSearchCube(*expected, expectedTable);
            ASSERT_TRUE(dibprep::FastBuildSearchCube(*q, table));
            ASSERT_EQ(std::memcmp(table, expectedTable, sizeof table), 0) << round;
            ASSERT_EQ(DifferenceOfSearches(*q, *expected), "") << round << ' ' << time;
        }
    }
}

TEST(QuantizeTiers, AFailingListLeavesTheSameRecordsBehind) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    Random random(60);
    Bytes dib = testdib::MakeDib(1, 1, 24);
    const std::vector<CColorTrans2> records = Records(200, 100, random);
    for (int n : {1, 2, 3, 40, 200, 700}) {
        const Quantiser expected = Make(dib);
        const Quantiser q = Make(dib);
        tagRGBQUAD table[256] = {};
        SetPalette(*expected, records);
        SetPalette(*q, records);
        testhost::FailNew(n);
        EXPECT_THROW(dibprep::ScalarBuildSearchCube(*expected, table), std::bad_alloc) << n;
        testhost::FailNew(n);
        EXPECT_THROW(dibprep::FastBuildSearchCube(*q, table), std::bad_alloc) << n;
        testhost::FailNew(0);
        ASSERT_EQ(DifferenceOfSearches(*q, *expected), "") << n;
    }
}

} // namespace
