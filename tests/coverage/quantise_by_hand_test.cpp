// The quantiser and the resampler's kernels driven step by step with trees, headers and records that
// their own steps never make.
#include "dibprep/bilinear.h"
#include "tests/quantize/quantize_support.h"

#include <climits>
#include <cstring>

namespace {

using namespace quantizetest;

class QuantiseByHand : public MemoryTest {};
class ResampleByHand : public MemoryTest {};

} // namespace

TEST_F(QuantiseByHand, APaletteEndsAfter256Colours) {
    const std::vector<Rgb> colours = Distinct(300);
    Bytes dib = TrueColour(300, 1, colours);
    const auto q = Quantiser(dib);
    ASSERT_EQ(q->InitOctree(), 1);
    q->FillTree();
    unsigned int next = 0;
    q->CreateColorTableRec(0, next);
    EXPECT_EQ(next, 256u);
    std::vector<Rgb> made;
    for (const CColorTrans2& record : q->m_Palette) {
        made.push_back(Colour(record));
        EXPECT_EQ(record.m_dwCount, 1u);
    }
    std::sort(made.begin(), made.end());
    EXPECT_EQ(std::unique(made.begin(), made.end()), made.end());
    for (const Rgb& colour : made)
        EXPECT_NE(std::find(colours.begin(), colours.end(), colour), colours.end());
}

TEST_F(QuantiseByHand, ATreeWithoutWeightsIsMergedAtOnce) {
    Bytes dib = TrueColour(1, 1, {{1, 2, 3}});
    const auto q = Quantiser(dib, 1);
    ASSERT_EQ(q->InitOctree(), 1);
    for (const unsigned int node : {0u, 1u, 4u}) {
        q->m_pCube[node].m_dwPixels = 2;
        q->m_pCube[node].m_dwRed = 10 * node;
    }
    q->m_pCube[0].m_byChild = 1 | 8;
    EXPECT_EQ(q->ReduceColors(), 1u);
    EXPECT_EQ(q->m_nColors, 1);
    EXPECT_EQ(q->m_pCube[0].m_dwPixels, 6u);
    EXPECT_EQ(q->m_pCube[0].m_dwRed, 50u);
    EXPECT_EQ(q->m_pCube[0].m_byChild, 0);
}

// 4096 pixels fill a cell's word. The white ones reach that in the first half of eight pixels.
TEST_F(QuantiseByHand, ColoursThatFillTheirCellsAreCountedExactly) {
    std::vector<Rgb> pixels(128 * 136, Rgb{255, 255, 255});
    for (std::size_t i = 0; i < pixels.size(); i += 8)
        pixels[i] = {8, 16, 24};
    Bytes dib = TrueColour(128, 136, pixels);
    const auto q = Quantiser(dib, 2);
    BuildColours(*q);
    ASSERT_EQ(q->m_nColors, 2);
    EXPECT_EQ(Palette(*q), (std::vector<Rgb>{{8, 16, 24}, {255, 255, 255}}));
    EXPECT_EQ(Counts(*q), (std::vector<unsigned>{2176, 15232}));
}

// Neither has pixels to go wrong with: there is no block without rows or columns.
TEST_F(QuantiseByHand, ACoreHeaderWithoutRowsGivesNoPicture) {
    Bytes dib = TrueColour(4, 4, std::vector<Rgb>(16, Rgb{200, 100, 50}));
    testdib::PutU32(dib, 0, 12); // as core header: width 4, height 0
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(QuantiseByHand, APictureWithoutColumnsGivesNoPicture) {
    Bytes dib = testdib::MakeDib(0, 4, 24);
    EXPECT_EQ(Quantiser(dib)->QuantizeBitmap(1, 0), nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(ResampleByHand, AFrameWithoutHeightHasNoScale) {
    Bytes dib = testdib::MakeDib(4, 4, 24);
    Bytes out = testdib::MakeDib(4, 1, 24);
    const Bytes before = out;
    CConvertResolution object;
    _tagDIBPARAM source, destination;
    object.SetDIBParam(dib.data(), source);
    object.SetDIBParam(out.data(), destination);
    const tagRECT clip = {0, 0, 4, 1};
    for (const tagRECT frame : {tagRECT{0, 5, 4, 5}, tagRECT{2, 0, 2, 4}}) {
        object.m_nLastError = 0;
        EXPECT_EQ(object.BiLinear24(source, &frame, &clip, destination, nullptr), 0);
        EXPECT_EQ(object.m_nLastError, -4);
        EXPECT_EQ(out, before);
    }
}

TEST_F(ResampleByHand, TablesOfImpossibleLengthAreNotMade) {
    Bytes dib = testdib::MakeDib(4, 4, 24);
    CConvertResolution object;
    _tagDIBPARAM source;
    object.SetDIBParam(dib.data(), source);
    for (const int count : {-1, INT_MIN, INT_MAX}) {
        object.m_nLastError = 0;
        EXPECT_EQ(object.GetCoordTable(source, 0, 32768, count), nullptr) << count;
        EXPECT_EQ(object.m_nLastError, -1);
    }
}

TEST_F(ResampleByHand, ARecordWithATableOfItsOwnNeedsNoHeader) {
    Bytes dib = testdib::MakeDib(4, 3, 8);
    for (int i = 0; i < 256; ++i)
        testdib::SetEntry(dib, i, i, 255 - i, i / 2);
    for (std::size_t i = 0; i < 12; ++i)
        dib[40 + 1024 + i] = static_cast<std::uint8_t>(20 * i);
    CConvertResolution object;
    const tagRECT whole = {0, 0, 7, 5};
    Bytes outs[2];
    for (Bytes& out : outs) {
        out = testdib::MakeDib(7, 5, 24);
        _tagDIBPARAM source, destination;
        object.SetDIBParam(dib.data(), source);
        object.SetDIBParam(out.data(), destination);
        if (&out == &outs[1])
            source.pHeader = nullptr;
        EXPECT_EQ(object.BiLinear8(source, &whole, &whole, destination, nullptr), 1);
    }
    EXPECT_EQ(outs[1], outs[0]);
    EXPECT_NE(outs[0], testdib::MakeDib(7, 5, 24));
}
