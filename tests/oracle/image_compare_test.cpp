// Image buffers, the converter, gray levels, pens and the static palette against the slow second
// version, over random buffers and colours.
#include "dibprep/colour.h"
#include "dibprep/image.h"
#include "dibprep/memory.h"
#include "dibprep/quantize.h"
#include "tests/oracle/image_oracle.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using oracle::Bytes;
using testdib::Random;

class Images : public testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override { testhost::Reset(); }
};

// A buffer of this many rows with a stride that leaves room for every read: reading (x, y) takes
// data + y as its row, three bytes a pixel.
struct Buffer {
    Bytes model;
    std::size_t stride, columns, rows;
    testhost::GuardedBuffer room;

    Buffer(Random& random, std::size_t bytesPerPixel)
        : stride(static_cast<std::size_t>(random.Range(12, 60))), columns(stride / bytesPerPixel),
          rows(static_cast<std::size_t>(random.Range(2, 20))), room(stride * rows) {
        for (std::size_t i = 0; i < stride * rows; ++i)
            model.push_back(static_cast<std::uint8_t>(random.Next()));
        std::copy(model.begin(), model.end(), room.data());
    }
    template <class Image>
    void Give(Image& image) {
        image.data = room.data();
        image.size = static_cast<unsigned int>(room.size());
        image.stride = static_cast<unsigned short>(stride);
    }
    Bytes Now() { return Bytes(room.data(), room.data() + room.size()); }
    unsigned short Column(Random& random) const { return static_cast<unsigned short>(random.Next() % columns); }
    unsigned short Row(Random& random) const { return static_cast<unsigned short>(random.Next() % rows); }
    CImgRect Rect(Random& random) const {
        CImgRect rect;
        rect.firstRow = Row(random);
        rect.lastRow = Row(random);
        rect.firstColumn = Column(random);
        rect.lastColumn = Column(random);
        return rect;
    }
};

TEST_F(Images, GrayBuffersEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        Buffer buffer(random, 1);
        CGray256Image gray;
        CGray16Image inert;
        buffer.Give(gray);
        buffer.Give(inert);
        CGrayImage& image = gray;
        CGrayImage& nothing = inert;
        for (int i = 0; i < 20; ++i) {
            const unsigned short x = buffer.Column(random), y = buffer.Row(random);
            EXPECT_EQ(image.GetGrayScale(x, y), buffer.model[buffer.stride * y + x]);
            EXPECT_EQ(image.GetGrayScale(buffer.room.data() + y, x),
                      y + std::size_t{x} < buffer.model.size() ? buffer.model[y + std::size_t{x}] : 0);
            EXPECT_EQ(nothing.GetGrayScale(x, y), 0);
            EXPECT_EQ(nothing.GetGrayScale(buffer.room.data(), x), 0);
            const auto value = static_cast<unsigned char>(random.Next());
            image.Draw(x, y, value);
            buffer.model[buffer.stride * y + x] = value;
            if (random.OneIn(4)) {
                const CImgRect rect = buffer.Rect(random);
                image.Draw(rect, value);
                for (std::size_t row = rect.firstRow; row <= rect.lastRow; ++row)
                    for (std::size_t column = rect.firstColumn; column <= rect.lastColumn; ++column)
                        buffer.model[buffer.stride * row + column] = value;
            }
            nothing.Draw(x, y, static_cast<unsigned char>(~value));
            nothing.Draw(buffer.Rect(random), static_cast<unsigned char>(~value));
        }
        EXPECT_EQ(buffer.Now(), buffer.model);
    }
}

template <class Image>
void CompareColourImage(Random& random) {
    Buffer buffer(random, 3);
    Image object;
    buffer.Give(object);
    CColorImage& image = object;
    const auto expectPixel = [&](tagRGBQUAD colour, std::size_t at) {
        EXPECT_EQ(colour.rgbBlue, buffer.model[at]);
        EXPECT_EQ(colour.rgbGreen, buffer.model[at + 1]);
        EXPECT_EQ(colour.rgbRed, buffer.model[at + 2]);
        EXPECT_EQ(colour.rgbReserved, 0);
    };
    const auto draw = [&](std::size_t x, std::size_t y, tagRGBQUAD colour) {
        const std::size_t at = buffer.stride * y + 3 * x;
        buffer.model[at] = colour.rgbBlue;
        buffer.model[at + 1] = colour.rgbGreen;
        buffer.model[at + 2] = colour.rgbRed;
    };
    for (int i = 0; i < 20; ++i) {
        const unsigned short x = buffer.Column(random), y = buffer.Row(random);
        const auto far = static_cast<unsigned short>(random.Next() % (buffer.model.size() - 3 * x - 2));
        expectPixel(image.GetRGBQUAD(x, far), 3 * std::size_t{x} + far);
        const std::size_t row = buffer.stride * y;
        expectPixel(image.GetRGBQUAD(buffer.room.data() + row, x), row + 3 * std::size_t{x});
        tagRGBQUAD colour;
        const std::uint32_t word = random.Next();
        std::memcpy(&colour, &word, 4);
        image.Draw(x, y, colour);
        draw(x, y, colour);
        if (random.OneIn(4)) {
            const CImgRect rect = buffer.Rect(random);
            image.Draw(rect, colour);
            for (std::size_t drawn = rect.firstRow; drawn <= rect.lastRow; ++drawn)
                for (std::size_t column = rect.firstColumn; column <= rect.lastColumn; ++column)
                    draw(column, drawn, colour);
        }
    }
    EXPECT_EQ(buffer.Now(), buffer.model);
}

TEST_F(Images, ColourBuffersEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(300) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        CompareColourImage<CColor16Image>(random);
        CompareColourImage<CColor256Image>(random);
        CompareColourImage<CFullColorImage>(random);
    }
}

TEST_F(Images, ConverterEqualsTheSecondVersion) {
    static const unsigned short depths[] = {1, 4, 8, 16, 24, 32};
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(1000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        testhost::Reset();
        tagBITMAPINFOHEADER header{};
        header.biSize = 40;
        header.biWidth = random.OneIn(5) ? random.Range(20000, 90000) : random.Range(1, 300);
        header.biHeight = random.Range(1, 30);
        header.biBitCount = depths[random.Range(0, 5)];
        std::vector<tagRGBQUAD> table(256);
        const int examined = header.biBitCount == 4 ? 16 : 256;
        for (tagRGBQUAD& entry : table) {
            const auto level = static_cast<unsigned char>(random.Next());
            entry = {level, level, level, static_cast<unsigned char>(random.Next())};
        }
        int gray = 1;
        if (random.OneIn(2)) { // one colour somewhere, perhaps behind the entries that count
            const int at = random.Range(0, 255);
            table[static_cast<std::size_t>(at)].rgbGreen ^= 1;
            gray = at < examined ? 0 : 1;
        }
        CImgConverter converter;
        void* source = testhost::MakeBlock(Bytes(50));
        converter.source = source;
        converter.header = &header;
        converter.colorTable = table.data();
        converter.bits = testhost::Address(source);
        const std::uint32_t graySize = oracle::GrayResultSize(header.biWidth, header.biHeight);
        const std::uint32_t colourSize = oracle::ColourResultSize(header.biWidth, header.biHeight);
        EXPECT_EQ(converter.GetGray256ImageSize(), graySize);
        EXPECT_EQ(converter.GetFullColorImageSize(), colourSize);
        const bool hasTable = header.biBitCount == 4 || header.biBitCount == 8;
        int isGray = 77;
        EXPECT_EQ(converter.CheckColorMap(isGray), hasTable ? 1 : 0);
        EXPECT_EQ(isGray, hasTable ? gray : 77);
        void* result = nullptr;
        EXPECT_EQ(converter.MakeGray256Image(result), 0);
        EXPECT_EQ(testhost::Bytes(result), Bytes(graySize));
        EXPECT_EQ(converter.MakeFullColorImage(result), 0);
        EXPECT_EQ(testhost::Bytes(result), Bytes(colourSize));
        EXPECT_EQ(testhost::LiveBlocks(), 3);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST(Grays, EqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(50000) && !testing::Test::HasFailure(); ++n) {
        Random random = oracle::RandomOf(n);
        const std::uint32_t colour = n - start < 256 ? static_cast<std::uint32_t>(n - start) * 0x10101 : random.Next();
        const oracle::GrayLevels expected = oracle::GraysOf(colour);
        EXPECT_EQ(ColorToMono16Easy(colour), expected.easy16) << oracle::CaseName(n);
        EXPECT_EQ(ColorToMono16MinMax(colour), expected.minMax16) << oracle::CaseName(n);
        EXPECT_EQ(ColorToMono16(colour), expected.weighted16) << oracle::CaseName(n);
        EXPECT_EQ(ColorToMono256Easy(colour), expected.easy256) << oracle::CaseName(n);
        EXPECT_EQ(ColorToMono256MinMax(colour), expected.minMax256) << oracle::CaseName(n);
        EXPECT_EQ(ColorToMono256(colour), expected.weighted256) << oracle::CaseName(n);
    }
}

TEST(Pens, AreCollectedAsInTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(500) && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        std::vector<oracle::Pen> pens;
        for (int i = random.Range(0, 30); i > 0; --i)
            pens.push_back({static_cast<std::uint32_t>(random.Range(0, 2)), random.Next() % 6});
        for (const bool withArray : {false, true}) {
            const oracle::PenAnswers expected = oracle::CollectedPens(pens, withArray);
            std::vector<unsigned int> colours(expected.colours.size() + 1, 0xDDDDDDDD);
            CBaseColorsState state{0, withArray ? colours.data() : nullptr};
            std::vector<int> answers;
            for (const oracle::Pen& pen : pens) {
                tagLOGPEN record{pen.style, {3, 4}, pen.colour};
                answers.push_back(GetColorsCallback(&record, reinterpret_cast<std::intptr_t>(&state)));
            }
            EXPECT_EQ(answers, expected.answers);
            EXPECT_EQ(state.count, expected.count);
            EXPECT_EQ(colours.back(), 0xDDDDDDDD);
            colours.pop_back();
            if (withArray) {
                EXPECT_EQ(colours, expected.colours);
            }
        }
    }
}

TEST(StaticColours, PaletteAndEveryCellEqualTheSecondVersion) {
    CNiGoRo2::CreateStaticSearchCube();
    const auto palette = oracle::StaticPalette();
    EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
    ASSERT_EQ(palette.size(), 256u);
    for (const oracle::StaticColour& colour : palette) {
        EXPECT_EQ(STATIC_COLOR[3 * colour.number], colour.red) << colour.number;
        EXPECT_EQ(STATIC_COLOR[3 * colour.number + 1], colour.green) << colour.number;
        EXPECT_EQ(STATIC_COLOR[3 * colour.number + 2], colour.blue) << colour.number;
    }
    const auto cells = oracle::StaticCells();
    for (std::size_t cell = 0; cell < cells.size() && !testing::Test::HasFailure(); ++cell) {
        SCOPED_TRACE("cell " + std::to_string(cell));
        const CCubeCell& have = STATIC_CUBE[cell / 256][cell / 16 % 16][cell % 16];
        ASSERT_EQ(have.m_nCount, static_cast<int>(cells[cell].size()));
        for (std::size_t e = 0; e < cells[cell].size(); ++e) {
            const oracle::StaticColour& wanted = cells[cell][e];
            EXPECT_EQ(have.m_pList[e].m_byIndex, wanted.number) << "record " << e;
            EXPECT_EQ(have.m_pList[e].m_rgb.rgbRed, wanted.red) << "record " << e;
            EXPECT_EQ(have.m_pList[e].m_rgb.rgbGreen, wanted.green) << "record " << e;
            EXPECT_EQ(have.m_pList[e].m_rgb.rgbBlue, wanted.blue) << "record " << e;
        }
    }
    CNiGoRo2::DeleteStaticSearchCube();
    for (std::size_t cell = 0; cell < cells.size(); ++cell)
        EXPECT_EQ(STATIC_CUBE[cell / 256][cell / 16 % 16][cell % 16].m_nCount, 0);
    // The palette's block belongs to the library for the rest of the program.
    STATIC_COLOR.Free();
}

} // namespace
