// ConvertImage and ConvertImage2 at their limits: 16-bit row masks, blocks too small, high pictures.
#include "tests/transform/transform_support.h"

namespace {

using namespace transformtest;

class PreConversionLimits : public MemoryTest {
protected:
    unsigned Answer(unsigned (*convert)(void*, void**), const Bytes& dib) {
        void* source = testhost::MakeBlock(dib);
        void* result = nullptr;
        const unsigned answer = convert(source, &result);
        EXPECT_EQ(answer == 1, result != nullptr);
        size = result ? testhost::Size(result) : 0;
        if (result) {
            const Bytes bytes = testhost::Bytes(result);
            last = Part(bytes, bytes.size() - 4, 4);
            GlobalFree(result);
        }
        GlobalFree(source);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        return answer;
    }
    std::size_t size = 0;
    Bytes last; // the last four bytes of the result
};

TEST_F(PreConversionLimits, RowsOf24BitsFitUpTo21844Columns) {
    Bytes dib = ColourTableDib(21844, 1, 8);
    dib.back() = 255;
    EXPECT_EQ(Answer(ConvertImage, dib), 1u);
    EXPECT_EQ(size, 65532u + 40u);
    EXPECT_EQ(last, (Bytes{0, 10, 20, 200}));
}

TEST_F(PreConversionLimits, From21845ColumnsTheRowMaskCutsThemShortAndItDeclines) {
    // 3 * 21845 + 3 is 65538, and & 0xFFFC leaves a row of 0 bytes.
    for (const int width : {21845, 21846, 30000, 43690, 65535}) {
        EXPECT_EQ(Answer(ConvertImage, ColourTableDib(width, 1, 8)), 0u) << width;
        EXPECT_EQ(Answer(ConvertImage, ColourTableDib(width, 1, 4)), 0u) << width;
    }
}

TEST_F(PreConversionLimits, RowsOf8BitsFitUpTo65532Columns) {
    Bytes dib = GrayDib(65532, 1, 4);
    dib[dib.size() - 3] = 0x3F; // the row has 32766 bytes and two of padding
    EXPECT_EQ(Answer(ConvertImage2, dib), 1u);
    EXPECT_EQ(size, 1064u + 65532u);
    EXPECT_EQ(last, (Bytes{0, 0, 51, 255}));
    for (const int width : {65533, 65534, 65535})
        EXPECT_EQ(Answer(ConvertImage2, GrayDib(width, 1, 4)), 0u) << width;
}

TEST_F(PreConversionLimits, WithoutRowsNoWidthIsTooMuch) {
    EXPECT_EQ(Answer(ConvertImage, ColourTableDib(30000, 0, 8)), 1u);
    EXPECT_EQ(size, 40u);
    EXPECT_EQ(Answer(ConvertImage2, GrayDib(65535, 0, 4)), 1u);
    EXPECT_EQ(size, 1064u);
}

TEST_F(PreConversionLimits, BlocksThatEndEarlyDecline) {
    const Bytes colour8 = ColourTableDib(4, 2, 8);
    for (const std::size_t bytes : {1u, 15u, 39u, 40u, 1063u, 1064u, 1068u})
        EXPECT_EQ(Answer(ConvertImage, Part(colour8, 0, bytes)), 0u) << bytes;
    EXPECT_EQ(Answer(ConvertImage, colour8), 1u);
    const Bytes gray4 = GrayDib(8, 2, 4);
    for (const std::size_t bytes : {1u, 15u, 39u, 40u, 103u, 104u, 108u})
        EXPECT_EQ(Answer(ConvertImage2, Part(gray4, 0, bytes)), 0u) << bytes;
    EXPECT_EQ(Answer(ConvertImage2, gray4), 1u);
}

TEST_F(PreConversionLimits, AHeightBelowZeroIsReadAsItsLowSixteenBits) {
    EXPECT_EQ(Answer(ConvertImage, ColourTableDib(4, -2, 8)), 0u) << "65534 rows are not there";
    EXPECT_EQ(Answer(ConvertImage2, GrayDib(4, -2, 4)), 0u);
    Bytes high = ColourTableDib(4, 2, 8);
    testdib::PutU32(high, 8, 0x10002);
    testdib::PutU32(high, 4, 0x50004);
    EXPECT_EQ(Answer(ConvertImage, high), 1u) << "4 x 2 pixels in the low words";
    EXPECT_EQ(size, 40u + 24u);
}

TEST_F(PreConversionLimits, AHostThatCannotTellSizesIsTrusted) {
    testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    EXPECT_EQ(Answer(ConvertImage, ColourTableDib(4, 2, 8)), 1u);
    EXPECT_EQ(Answer(ConvertImage2, GrayDib(4, 2, 4)), 1u);
}

} // namespace
