// Field order and offsets of the quantiser's records: bit-field sources depend on them, and hosts
// set the fields themselves.
#include "tests/quantize/quantize_support.h"

#include <type_traits>

namespace {

using namespace quantizetest;

static_assert(std::is_standard_layout_v<CNiGoRo2> && !std::is_polymorphic_v<CNiGoRo2>, "fields in order, no table");
static_assert(offsetof(CColorTrans2, m_rgb) == 0, "colour first");
static_assert(offsetof(CColorTrans2, m_dwCount) == 4, "then the count");
static_assert(offsetof(CColorTrans2, m_byIndex) == 8, "then the index");
static_assert(offsetof(CCube2, m_dwRed) == 0 && offsetof(CCube2, m_dwGreen) == 4 && offsetof(CCube2, m_dwBlue) == 8 &&
                  offsetof(CCube2, m_dwPixels) == 12 && offsetof(CCube2, m_dwWeight) == 16 &&
                  offsetof(CCube2, m_byChild) == 20 && offsetof(CCube2, m_dwFixed) == 24,
              "sums, pixels, weight, children, fixed");
static_assert(offsetof(CNiGoRo2, m_dwMaxColors) == offsetof(CNiGoRo2, m_bih) + 40, "the word after the header");
static_assert(offsetof(CNiGoRo2, m_Palette) == offsetof(CNiGoRo2, m_bih) + 44, "and the records right after it");

TEST(QuantizeLayout, RecordsHaveTheirSizes) {
    EXPECT_EQ(sizeof(CColorTrans2), 12u);
    EXPECT_EQ(sizeof(CCube2), 28u);
    EXPECT_EQ(sizeof(CCubeCell), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(CCubeCell, m_nCount), 0u);
    EXPECT_EQ(offsetof(CCubeCell, m_pList), sizeof(void*));
}

TEST(QuantizeLayout, FieldsStandInOrder) {
    const std::size_t offsets[] = {offsetof(CNiGoRo2, m_pCube),       offsetof(CNiGoRo2, m_wDepth),
                                   offsetof(CNiGoRo2, m_pBits),       offsetof(CNiGoRo2, m_bih),
                                   offsetof(CNiGoRo2, m_dwMaxColors), offsetof(CNiGoRo2, m_Palette),
                                   offsetof(CNiGoRo2, m_SearchCube),  offsetof(CNiGoRo2, m_pDefaultColors),
                                   offsetof(CNiGoRo2, m_nColors),     offsetof(CNiGoRo2, m_dwDefaultColors),
                                   offsetof(CNiGoRo2, m_dwMode),      offsetof(CNiGoRo2, m_wLinear)};
    for (std::size_t i = 1; i < std::size(offsets); ++i)
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
}

TEST(QuantizeLayout, OffsetsOfTheProduct) {
    if constexpr (sizeof(void*) == 4) {
        EXPECT_EQ(offsetof(CNiGoRo2, m_pCube), 0u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_wDepth), 4u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_pBits), 8u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_bih), 12u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_dwMaxColors), 52u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_Palette), 56u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_SearchCube), 3128u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_pDefaultColors), 7224u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_nColors), 7228u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_dwDefaultColors), 7232u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_dwMode), 7236u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_wLinear), 7240u);
        EXPECT_EQ(sizeof(CNiGoRo2), 7244u);
    } else {
        EXPECT_EQ(offsetof(CNiGoRo2, m_bih), 24u);
        EXPECT_EQ(offsetof(CNiGoRo2, m_Palette), 68u);
    }
}

TEST(QuantizeLayout, ConstructorTakesTheHeaderAndZeroesTheRest) {
    Bytes dib = TrueColour(2, 1, {{1, 2, 3}, {4, 5, 6}});
    testdib::PutU32(dib, 36, 99);
    // Placed over bytes that are not zero.
    alignas(CNiGoRo2) static unsigned char room[sizeof(CNiGoRo2)];
    std::fill(std::begin(room), std::end(room), static_cast<unsigned char>(0xCD));
    auto* const q = new (room) CNiGoRo2(dib.data(), 77, 4, 12345);
    EXPECT_EQ(q->m_pCube, nullptr);
    EXPECT_EQ(q->m_wDepth, 4);
    EXPECT_EQ(q->m_pBits, dib.data() + 40);
    EXPECT_EQ(q->m_bih.biWidth, 2);
    EXPECT_EQ(q->m_bih.biBitCount, 24);
    EXPECT_EQ(q->m_bih.biClrImportant, 99u);
    EXPECT_EQ(q->m_dwMaxColors, 77u);
    EXPECT_EQ(q->m_pDefaultColors, nullptr);
    EXPECT_EQ(q->m_nColors, 0);
    EXPECT_EQ(q->m_dwDefaultColors, 0u);
    EXPECT_EQ(q->m_dwMode, 0u);
    EXPECT_EQ(q->m_wLinear, 0);
    for (const CColorTrans2& record : q->m_Palette) {
        EXPECT_EQ(Colour(record), (Rgb{0, 0, 0}));
        EXPECT_EQ(record.m_rgb.rgbReserved, 0);
        EXPECT_EQ(record.m_dwCount, 0u);
        EXPECT_EQ(record.m_byIndex, 0);
    }
    for (const auto& plane : q->m_SearchCube)
        for (const auto& line : plane)
            for (const CCubeCell& cell : line) {
                EXPECT_EQ(cell.m_nCount, 0);
                EXPECT_EQ(cell.m_pList, nullptr);
            }
    q->~CNiGoRo2();
}

TEST(QuantizeLayout, PixelsOfABitFieldSourceBeginAtItsMasks) {
    Bytes dib = testdib::MakeDib(2, 2, 16);
    dib.resize(dib.size() + 12);
    testdib::PutU32(dib, 16, 3);
    EXPECT_EQ(Quantiser(dib)->m_pBits, dib.data() + 40);
    testdib::PutU32(dib, 32, 3);
    EXPECT_EQ(Quantiser(dib)->m_pBits, dib.data() + 52) << "a colours-used count of 3 steps over them";
}

TEST(QuantizeLayout, NullBehavesAsAnAllZeroHeader) {
    CNiGoRo2 q(nullptr, 256, 5, 0);
    EXPECT_EQ(q.m_bih.biSize, 0u);
    EXPECT_EQ(q.m_bih.biWidth, 0);
    EXPECT_EQ(q.m_bih.biBitCount, 0);
    EXPECT_EQ(q.m_dwMaxColors, 256u);
    EXPECT_EQ(q.InitOctree(), 0);
    EXPECT_EQ(q.QuantizeBitmap(1, 0), nullptr);
}

} // namespace
