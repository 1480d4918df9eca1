// Columns, rows and records that no image of the library's own has: the fast forms refuse them and
// leave the rows to the definition.
#include "bilinear/deep_rows.h"
#include "bilinear/fast_rows.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "tests/support/tiers.h"
#include "transform/columns.h"
#include "transform/row_road.h"

#include <gtest/gtest.h>

#include <limits>

using namespace dibprep;
using testdib::Bytes;
using testdib::Random;

namespace {

CLinearTransformMem* EngineWith(CLinearTransformMem& engine, std::vector<CPosition> positions) {
    engine.srcWidth = 10;
    engine.outWidth = 2;
    engine.positions = std::move(positions);
    return &engine;
}

// A source of one row below another, and what the row kernels are told of it.
struct Picture {
    Picture(int width, int bits, std::uint32_t start) : dib(testdib::MakeDib(width, 2, bits)) {
        Random random(start);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        CConvertResolution().SetDIBParam(dib.data(), source);
        task.source = &source;
        task.upper = source.pBits + source.nLineBytes;
        task.lower = source.pBits;
        task.fy = 300;
        task.outStep = bits < 32 ? 3 : bits / 8;
        task.table = {reinterpret_cast<const unsigned char*>(source.pColorTable), 256};
        const int unit = std::max(bits / 8, 1);
        for (int x = 0; x + 1 < width; ++x)
            columns.push_back({x * unit, (x + 1) * unit, x * 37 % 1024});
        task.columns = columns.data();
        task.count = static_cast<int>(columns.size());
    }
    Bytes Made(RowKernel kernel) {
        Bytes out(static_cast<std::size_t>(task.count * task.outStep));
        task.out = out.data();
        kernel(task);
        return out;
    }
    template <typename Rows>
    Bytes Made(Rows& rows) {
        Bytes out(static_cast<std::size_t>(task.count * task.outStep));
        task.out = out.data();
        EXPECT_TRUE(rows.Make(task));
        return out;
    }
    bool Deep() { return DeepRows(DeepRowsFor(CurrentTier()), task, true).Active(); }
    bool Fast() { return FastRows(RowsFor(CurrentTier()), task, true).Active(); }

    Bytes dib;
    _tagDIBPARAM source = {};
    std::vector<_tagCOORDENTRY> columns;
    RowTask task = {};
};

class ForeignColumns : public testing::Test {
protected:
    void SetUp() override {
        testhost::Reset();
        if (ProcessorTier() == Tier::Scalar)
            GTEST_SKIP() << "this processor has no SSE2";
    }
};

} // namespace

TEST_F(ForeignColumns, OfATransformOutsideItsSourceAreNotUsable) {
    const CPosition good{0.5, 3, 4, 0, 0};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    CLinearTransformMem engine;
    EXPECT_TRUE(ReadColumns(*EngineWith(engine, {good, {0.25, 8, 9, 1, 1}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, {0.5, 9, 10, 1, 1}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, {0.5, 5, 4, 0, 0}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, {-0.5, 3, 4, 0, 0}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, {1.0, 3, 4, 0, 0}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, {nan, 3, 4, 0, 0}})).usable);
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good})).usable) << "one too few";
    EXPECT_FALSE(ReadColumns(*EngineWith(engine, {good, good, good})).usable) << "one too many";
    engine.outWidth = 0;
    engine.positions.clear();
    EXPECT_FALSE(ReadColumns(engine).usable);
}

TEST_F(ForeignColumns, OfDeepPicturesOutsideTheirSourceAreLeftToTheScalarRows) {
    for (const int bits : {48, 64}) {
        const int unit = bits / 8;
        const auto active = [&](_tagCOORDENTRY column) {
            Picture picture(6, bits, 1);
            picture.columns[2] = column;
            return picture.Deep();
        };
        EXPECT_TRUE(active({2 * unit, 3 * unit, 5}));
        EXPECT_TRUE(active({0, 0, 5}));
        EXPECT_TRUE(active({5 * unit, 5 * unit, 5}));
        EXPECT_FALSE(active({-unit, 0, 5}));
        EXPECT_FALSE(active({6 * unit, 6 * unit, 5}));
        EXPECT_FALSE(active({2 * unit + 1, 3 * unit + 1, 5}));
        EXPECT_FALSE(active({5 * unit, 6 * unit, 5}));
        EXPECT_FALSE(active({2 * unit, 4 * unit, 5}));
        EXPECT_FALSE(active({2 * unit, unit, 5}));
    }
}

TEST_F(ForeignColumns, BothSamplesOnOneDeepPixelGiveThatPixel) {
    for (const int bits : {48, 64}) {
        Picture picture(6, bits, 2);
        const int unit = bits / 8;
        picture.columns[0] = {0, 0, 700};
        picture.columns[3] = {2 * unit, 2 * unit, 700};
        const Bytes expected = picture.Made(bits == 48 ? ScalarRow48 : ScalarRow64);
        for (const Tier tier : testtiers::FastTiersHere()) {
            DeepRows rows(DeepRowsFor(tier), picture.task, true);
            ASSERT_TRUE(rows.Active());
            EXPECT_EQ(picture.Made(rows), expected) << NameOf(tier) << ", " << bits << " bits";
        }
    }
}

TEST_F(ForeignColumns, DeepRecordsThatDoNotFitAreLeftToTheScalarRows) {
    const auto active = [](auto change) {
        Picture picture(6, 48, 3);
        change(picture);
        return picture.Deep();
    };
    EXPECT_TRUE(active([](Picture&) {}));
    EXPECT_FALSE(active([](Picture& p) { p.task.outStep = 8; }));
    EXPECT_FALSE(active([](Picture& p) { p.task.count = 0; }));
    EXPECT_FALSE(active([](Picture& p) { p.source.nWidth = 1; }));
    EXPECT_FALSE(active([](Picture& p) { p.source.nLineBytes = 35; }));
    EXPECT_FALSE(active([](Picture& p) { p.source.nBitCount = 40; }));
    // Tables beyond 2 GiB: refused before a column is looked at.
    EXPECT_FALSE(active([](Picture& p) { p.task.count = 60000000; }));
}

TEST_F(ForeignColumns, OfPicturesOutsideTheirSourceAreLeftToTheScalarRows) {
    for (const int bits : {8, 16, 24, 32}) {
        const int unit = bits / 8;
        const auto active = [&](_tagCOORDENTRY column) {
            Picture picture(50, bits, 4);
            picture.columns[20] = column;
            return picture.Fast();
        };
        EXPECT_TRUE(active({20 * unit, 21 * unit, 5}));
        EXPECT_TRUE(active({20 * unit, 20 * unit, 5}));
        EXPECT_FALSE(active({18 * unit, 19 * unit, 5})) << "in front of the one before";
        EXPECT_FALSE(active({50 * unit, 50 * unit, 5}));
        EXPECT_FALSE(active({49 * unit, 50 * unit, 5}));
        EXPECT_FALSE(active({20 * unit, 22 * unit, 5}));
    }
}

TEST_F(ForeignColumns, RecordsThatDoNotFitAreLeftToTheScalarRows) {
    const auto active = [](int bits, auto change) {
        Picture picture(50, bits, 5);
        change(picture);
        return picture.Fast();
    };
    EXPECT_TRUE(active(24, [](Picture&) {}));
    EXPECT_FALSE(active(24, [](Picture& p) { p.source.nWidth = 0; }));
    EXPECT_FALSE(active(24, [](Picture& p) { p.source.nLineBytes = 149; }));
    EXPECT_FALSE(active(24, [](Picture& p) { p.task.count = 0; }));
    EXPECT_FALSE(active(24, [](Picture& p) { p.task.outStep = 4; }));
    EXPECT_FALSE(active(48, [](Picture& p) { p.task.outStep = 3; }));
    EXPECT_FALSE(active(8, [](Picture& p) { p.source.pHeader = nullptr; }));
    EXPECT_FALSE(active(8, [](Picture& p) { p.task.table.entries += 4; }));
    // Scratch rows beyond 2 GiB are not asked for.
    EXPECT_FALSE(active(16, [](Picture& p) {
        p.source.nWidth = 600000000;
        p.source.nLineBytes = 1200000000;
    }));
}

TEST_F(ForeignColumns, WithoutScratchMemoryTheScalarRowsDoTheWork) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    for (const int bits : {1, 4, 8, 16, 24, 32, 48, 64}) {
        Picture picture(120, bits, 6);
        testhost::FailNew(1);
        EXPECT_FALSE(bits > 32 ? picture.Deep() : picture.Fast()) << bits << " bits";
        testhost::FailNew(0);
    }
    Picture gray(120, 8, 7);
    testdib::SetGrayTable(gray.dib, 256);
    testhost::FailNew(1);
    EXPECT_FALSE(gray.Fast());
    testhost::FailNew(0);
}

TEST_F(ForeignColumns, WithoutMemoryForBlocksOfOneColourTheRowsAreTheSame) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    Picture picture(120, 8, 8);
    const Bytes expected = picture.Made(ScalarRow8);
    for (const Tier tier : testtiers::FastTiersHere()) {
        for (int n = 2; n <= 5; ++n) {
            testhost::FailNew(n);
            FastRows rows(RowsFor(tier), picture.task, true);
            testhost::FailNew(0);
            ASSERT_TRUE(rows.Active());
            EXPECT_EQ(picture.Made(rows), expected) << NameOf(tier) << ", allocation " << n;
        }
    }
}

TEST_F(ForeignColumns, AColourBehindAGrayTableWithoutMemoryForItEndsTheFastRows) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    Picture picture(120, 8, 9); // a random table, of whose entries the first four are gray and used
    for (int i = 0; i < 4; ++i)
        testdib::SetEntry(picture.dib, i, 60 * i, 60 * i, 60 * i);
    testdib::SetEntry(picture.dib, 4, 1, 2, 3);
    std::fill(picture.dib.begin() + 40 + 1024, picture.dib.end(), std::uint8_t{2});
    picture.source.nColors = 4;
    FastRows rows(RowsFor(CurrentTier()), picture.task, true);
    ASSERT_TRUE(rows.Active());
    EXPECT_EQ(picture.Made(rows), Bytes(119 * 3, 120));
    picture.dib.back() = 4; // the last pixel of the upper row
    Bytes out(119 * 3);
    picture.task.out = out.data();
    RowTask next = picture.task;
    testhost::FailNew(1);
    EXPECT_FALSE(rows.Make(next));
    testhost::FailNew(0);
    EXPECT_FALSE(rows.Active());
    EXPECT_FALSE(rows.Make(next)) << "nor is any later row made";
}
