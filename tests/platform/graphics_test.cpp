// Rectangles, packed colours, palettes and pens.
#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace {

constexpr int Pens = 1;

tagLOGPEN Pen(unsigned int style, unsigned int colour) { return {style, {3, 4}, colour}; }

// Collects what EnumObjects hands over and stops after `most` pens.
struct Collector {
    std::vector<tagLOGPEN> pens;
    std::size_t most = 1000;
    int answer = 1;
};

int Collect(void* pen, intptr_t state) {
    auto& collector = *reinterpret_cast<Collector*>(state);
    collector.pens.push_back(*static_cast<tagLOGPEN*>(pen));
    return collector.pens.size() == collector.most ? 0 : collector.answer;
}

int Enumerate(void* dc, Collector& collector) {
    return EnumObjects(dc, Pens, Collect, reinterpret_cast<intptr_t>(&collector));
}

// A logical palette one byte off any alignment.
std::vector<unsigned char> PaletteRecord(unsigned int version, unsigned int entries) {
    std::vector<unsigned char> bytes = {0xEE};
    for (const unsigned int word : {version, entries}) {
        bytes.push_back(static_cast<unsigned char>(word));
        bytes.push_back(static_cast<unsigned char>(word >> 8));
    }
    for (unsigned int i = 0; i < entries; ++i)
        for (const unsigned int part : {i, i + 1, i + 2, 0u})
            bytes.push_back(static_cast<unsigned char>(part));
    return bytes;
}

} // namespace

TEST(HostColours, AreRedGreenBlueFromTheLowByteUp) {
    EXPECT_EQ(RGB(0x12, 0x34, 0x56), 0x563412u);
    EXPECT_EQ(RGB(255, 255, 255), 0xFFFFFFu);
    EXPECT_EQ(GetRValue(0xAA563412u), 0x12);
    EXPECT_EQ(GetGValue(0xAA563412u), 0x34);
    EXPECT_EQ(GetBValue(0xAA563412u), 0x56);
}

TEST(HostRectangle, TakesItsFourSides) {
    tagRECT rect = {};
    EXPECT_NE(SetRect(&rect, -1, 2, 3, 2147483647), 0);
    EXPECT_EQ(rect.left, -1);
    EXPECT_EQ(rect.top, 2);
    EXPECT_EQ(rect.right, 3);
    EXPECT_EQ(rect.bottom, 2147483647);
    EXPECT_EQ(SetRect(nullptr, 0, 0, 0, 0), 0);
}

TEST(HostPalettes, KeepTheirRecordUntilDeleted) {
    std::vector<unsigned char> bytes = PaletteRecord(768, 256);
    void* const palette = CreatePalette(bytes.data() + 1);
    ASSERT_NE(palette, nullptr);
    bytes.assign(bytes.size(), 0xFF);
    const tagLOGPALETTE* const kept = dibhost_palette(palette);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->palVersion, 768);
    EXPECT_EQ(kept->palNumEntries, 256);
    EXPECT_EQ(kept->palPalEntry[0].peGreen, 1);
    const tagPALETTEENTRY* const entries = kept->palPalEntry;
    EXPECT_EQ(entries[200].peRed, 200);
    EXPECT_EQ(entries[200].peGreen, 201);
    EXPECT_EQ(entries[200].peBlue, 202);
    EXPECT_EQ(entries[255].peFlags, 0);
    EXPECT_EQ(dibhost_palette_delete(palette), 1);
    EXPECT_EQ(dibhost_palette(palette), nullptr);
    EXPECT_EQ(dibhost_palette_delete(palette), 0);
}

TEST(HostPalettes, OtherVersionsAndEmptyOnesAreRefused) {
    EXPECT_EQ(CreatePalette(nullptr), nullptr);
    EXPECT_EQ(CreatePalette(PaletteRecord(767, 2).data() + 1), nullptr);
    EXPECT_EQ(CreatePalette(PaletteRecord(769, 2).data() + 1), nullptr);
    EXPECT_EQ(CreatePalette(PaletteRecord(768, 0).data() + 1), nullptr);
}

TEST(HostPalettes, ForeignHandlesAreRefused) {
    void* const dc = dibhost_dc_create();
    void* const block = GlobalAlloc(66, 10);
    for (void* const bad : {dc, block, static_cast<void*>(nullptr)}) {
        EXPECT_EQ(dibhost_palette(bad), nullptr);
        EXPECT_EQ(dibhost_palette_delete(bad), 0);
    }
    GlobalFree(block);
    EXPECT_EQ(dibhost_dc_destroy(dc), 1);
}

TEST(HostPens, AreHandedOverInTheOrderTheyWereAdded) {
    void* const dc = dibhost_dc_create();
    ASSERT_NE(dc, nullptr);
    const tagLOGPEN first = Pen(0, 0x112233);
    const tagLOGPEN second = Pen(5, 0x445566);
    EXPECT_EQ(dibhost_dc_add_pen(dc, &first), 1);
    EXPECT_EQ(dibhost_dc_add_pen(dc, &second), 1);
    Collector collector;
    collector.answer = 7;
    EXPECT_EQ(Enumerate(dc, collector), 7);
    ASSERT_EQ(collector.pens.size(), 2u);
    EXPECT_EQ(collector.pens[0].lopnStyle, 0u);
    EXPECT_EQ(collector.pens[0].lopnWidth.x, 3);
    EXPECT_EQ(collector.pens[0].lopnWidth.y, 4);
    EXPECT_EQ(collector.pens[0].lopnColor, 0x112233u);
    EXPECT_EQ(collector.pens[1].lopnStyle, 5u);
    EXPECT_EQ(collector.pens[1].lopnColor, 0x445566u);
    EXPECT_EQ(dibhost_dc_destroy(dc), 1);
}

TEST(HostPens, CallbackAnsweringZeroStopsTheEnumeration) {
    void* const dc = dibhost_dc_create();
    for (unsigned int i = 0; i < 5; ++i) {
        const tagLOGPEN pen = Pen(0, i);
        dibhost_dc_add_pen(dc, &pen);
    }
    Collector collector;
    collector.most = 3;
    EXPECT_EQ(Enumerate(dc, collector), 0);
    EXPECT_EQ(collector.pens.size(), 3u);
    dibhost_dc_destroy(dc);
}

TEST(HostPens, CallbackAnsweringANegativeNumberDoesNotStopIt) {
    void* const dc = dibhost_dc_create();
    for (unsigned int i = 0; i < 3; ++i) {
        const tagLOGPEN pen = Pen(0, i);
        dibhost_dc_add_pen(dc, &pen);
    }
    Collector collector;
    collector.answer = -5;
    EXPECT_EQ(Enumerate(dc, collector), -5);
    EXPECT_EQ(collector.pens.size(), 3u);
    dibhost_dc_destroy(dc);
}

TEST(HostPens, ContextWithoutPensCallsNothing) {
    void* const dc = dibhost_dc_create();
    Collector collector;
    EXPECT_EQ(Enumerate(dc, collector), 1);
    EXPECT_TRUE(collector.pens.empty());
    dibhost_dc_destroy(dc);
}

TEST(HostPens, BadContextTypeAndCallbackGiveMinusOne) {
    void* const dc = dibhost_dc_create();
    const tagLOGPEN pen = Pen(0, 0);
    dibhost_dc_add_pen(dc, &pen);
    Collector collector;
    const auto state = reinterpret_cast<intptr_t>(&collector);
    EXPECT_EQ(EnumObjects(nullptr, Pens, Collect, state), -1);
    EXPECT_EQ(EnumObjects(&collector, Pens, Collect, state), -1);
    EXPECT_EQ(EnumObjects(dc, 2, Collect, state), -1);
    EXPECT_EQ(EnumObjects(dc, 0, Collect, state), -1);
    EXPECT_EQ(EnumObjects(dc, Pens, nullptr, state), -1);
    EXPECT_EQ(dibhost_dc_destroy(dc), 1);
    EXPECT_EQ(EnumObjects(dc, Pens, Collect, state), -1);
    EXPECT_TRUE(collector.pens.empty());
}

TEST(HostPens, BadContextsTakeNoPens) {
    const tagLOGPEN pen = Pen(0, 0);
    void* const dc = dibhost_dc_create();
    EXPECT_EQ(dibhost_dc_add_pen(dc, nullptr), 0);
    EXPECT_EQ(dibhost_dc_add_pen(nullptr, &pen), 0);
    EXPECT_EQ(dibhost_dc_destroy(dc), 1);
    EXPECT_EQ(dibhost_dc_add_pen(dc, &pen), 0);
    EXPECT_EQ(dibhost_dc_destroy(dc), 0);
    EXPECT_EQ(dibhost_dc_destroy(nullptr), 0);
}

TEST(HostPens, CallbackMayDestroyTheContext) {
    void* const dc = dibhost_dc_create();
    for (unsigned int i = 0; i < 3; ++i) {
        const tagLOGPEN pen = Pen(0, i);
        dibhost_dc_add_pen(dc, &pen);
    }
    const auto destroy = [](void*, intptr_t state) { return dibhost_dc_destroy(reinterpret_cast<void*>(state)) + 1; };
    EXPECT_EQ(EnumObjects(dc, Pens, destroy, reinterpret_cast<intptr_t>(dc)), 1);
    EXPECT_EQ(dibhost_dc_destroy(dc), 0);
}

TEST(HostPens, ExceptionOfTheCallbackReachesTheCaller) {
    void* const dc = dibhost_dc_create();
    const tagLOGPEN pen = Pen(0, 0);
    dibhost_dc_add_pen(dc, &pen);
    const auto throws = [](void*, intptr_t) -> int { throw std::runtime_error("callback"); };
    EXPECT_THROW(EnumObjects(dc, Pens, throws, 0), std::runtime_error);
    EXPECT_EQ(dibhost_dc_destroy(dc), 1);
}
