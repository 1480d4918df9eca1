// Field order and offsets of the transform's classes: what a host compiled elsewhere relies on.
#include "dibprep/transform.h"

#include <gtest/gtest.h>

namespace {

template <typename Object, typename Field>
std::size_t Offset(const Object& object, const Field& field) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object));
}

TEST(TransformLayout, TransferHasFourFieldsInOrder) {
    const CBufTransfer t(nullptr, 0, 0);
    EXPECT_EQ(Offset(t, t.handle), 0u);
    EXPECT_EQ(Offset(t, t.data), sizeof(void*));
    EXPECT_EQ(Offset(t, t.type), 2 * sizeof(void*));
    EXPECT_EQ(Offset(t, t.position), 2 * sizeof(void*) + 4);
    EXPECT_EQ(sizeof(CBufTransfer), 2 * sizeof(void*) + 8);
}

TEST(TransformLayout, ColumnPositionIsADoubleAndFourWords) {
    EXPECT_EQ(sizeof(CPosition), 16u);
    EXPECT_EQ(offsetof(CPosition, fraction), 0u);
    EXPECT_EQ(offsetof(CPosition, x0), 8u);
    EXPECT_EQ(offsetof(CPosition, x1), 10u);
    EXPECT_EQ(offsetof(CPosition, byte0), 12u);
    EXPECT_EQ(offsetof(CPosition, byte1), 14u);
}

TEST(TransformLayout, EngineFieldsStandInOrder) {
    const CLinearTransformMem t;
    const std::size_t offsets[] = {
        Offset(t, t.mode),         Offset(t, t.threshold),   Offset(t, t.sourcePalette), Offset(t, t.grayHistogram),
        Offset(t, t.ratioX),       Offset(t, t.ratioY),      Offset(t, t.progress),      Offset(t, t.lineBlock),
        Offset(t, t.outLineBlock), Offset(t, t.line0),       Offset(t, t.line1),         Offset(t, t.outLine),
        Offset(t, t.positions),    Offset(t, t.source),      Offset(t, t.srcBitsOffset), Offset(t, t.srcDpiX),
        Offset(t, t.srcDpiY),      Offset(t, t.srcStride),   Offset(t, t.srcWidth),      Offset(t, t.srcHeight),
        Offset(t, t.srcBitCount),  Offset(t, t.kind),        Offset(t, t.destination),   Offset(t, t.outBitsOffset),
        Offset(t, t.outDpiX),      Offset(t, t.outDpiY),     Offset(t, t.outStride),     Offset(t, t.outWidth),
        Offset(t, t.outHeight),    Offset(t, t.outBitCount), Offset(t, t.outKind)};
    for (std::size_t i = 1; i < std::size(offsets); ++i)
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
}

TEST(TransformLayout, EngineOffsetsOfTheProduct) {
    if constexpr (sizeof(void*) == 4) {
        const CLinearTransformMem t;
        EXPECT_EQ(Offset(t, t.mode), 0u);
        EXPECT_EQ(Offset(t, t.threshold), 4u);
        EXPECT_EQ(Offset(t, t.sourcePalette), 8u);
        EXPECT_EQ(Offset(t, t.grayHistogram), 1032u);
        EXPECT_EQ(Offset(t, t.ratioX), 2056u);
        EXPECT_EQ(Offset(t, t.ratioY), 2064u);
        EXPECT_EQ(Offset(t, t.progress), 2072u);
        EXPECT_EQ(Offset(t, t.lineBlock), 2076u);
        EXPECT_EQ(Offset(t, t.outLineBlock), 2080u);
        EXPECT_EQ(Offset(t, t.line0), 2084u);
        EXPECT_EQ(Offset(t, t.line1), 2088u);
        EXPECT_EQ(Offset(t, t.outLine), 2092u);
        EXPECT_EQ(Offset(t, t.positions), 2096u);
        EXPECT_EQ(Offset(t, t.source), 2108u);
        EXPECT_EQ(Offset(t, t.srcBitsOffset), 2112u);
        EXPECT_EQ(Offset(t, t.srcDpiX), 2114u);
        EXPECT_EQ(Offset(t, t.srcDpiY), 2116u);
        EXPECT_EQ(Offset(t, t.srcStride), 2120u);
        EXPECT_EQ(Offset(t, t.srcWidth), 2124u);
        EXPECT_EQ(Offset(t, t.srcHeight), 2126u);
        EXPECT_EQ(Offset(t, t.srcBitCount), 2128u);
        EXPECT_EQ(Offset(t, t.kind), 2130u);
        EXPECT_EQ(Offset(t, t.destination), 2132u);
        EXPECT_EQ(Offset(t, t.outBitsOffset), 2136u);
        EXPECT_EQ(Offset(t, t.outDpiX), 2138u);
        EXPECT_EQ(Offset(t, t.outDpiY), 2140u);
        EXPECT_EQ(Offset(t, t.outStride), 2144u);
        EXPECT_EQ(Offset(t, t.outWidth), 2148u);
        EXPECT_EQ(Offset(t, t.outHeight), 2150u);
        EXPECT_EQ(Offset(t, t.outBitCount), 2152u);
        EXPECT_EQ(Offset(t, t.outKind), 2154u);
        EXPECT_EQ(sizeof(CLinearTransformMem), 2156u);
    } else {
        EXPECT_EQ(sizeof(CLinearTransformMem) % alignof(double), 0u);
    }
}

TEST(TransformLayout, AFreshEngineIsZero) {
    const CLinearTransformMem t;
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(t.sourcePalette[i].rgbBlue | t.sourcePalette[i].rgbGreen | t.sourcePalette[i].rgbRed |
                      t.sourcePalette[i].rgbReserved,
                  0);
        EXPECT_EQ(t.grayHistogram[i], 0u);
    }
    EXPECT_EQ(t.lineBlock, nullptr);
    EXPECT_EQ(t.outLineBlock, nullptr);
    EXPECT_EQ(t.line0, nullptr);
    EXPECT_EQ(t.line1, nullptr);
    EXPECT_EQ(t.outLine, nullptr);
    EXPECT_TRUE(t.positions.empty());
    EXPECT_EQ(t.kind, 0);
    EXPECT_EQ(t.source, nullptr);
    EXPECT_EQ(t.destination, nullptr);
}

} // namespace
