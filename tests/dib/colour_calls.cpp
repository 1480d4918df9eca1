// Packed colours and palettes of the test program, counted and kept (see colour_calls.h).
#include "tests/dib/colour_calls.h"

#include "dibprep/host.h"

namespace {

colourcalls::Counts counts;
bool failPalette;
testdib::Bytes palette;
char paletteObject;

} // namespace

namespace colourcalls {

Counts TakeCounts() {
    const Counts taken = counts;
    counts = Counts{};
    return taken;
}

void FailNextPalette() { failPalette = true; }

testdib::Bytes TakePalette() {
    testdib::Bytes taken;
    taken.swap(palette);
    return taken;
}

void* const Palette = &paletteObject;

} // namespace colourcalls

extern "C" {

unsigned int RGB(unsigned char red, unsigned char green, unsigned char blue) {
    ++counts.rgb;
    return red | static_cast<unsigned int>(green) << 8 | static_cast<unsigned int>(blue) << 16;
}

unsigned char GetRValue(unsigned int colour) {
    ++counts.red;
    return static_cast<unsigned char>(colour);
}

unsigned char GetGValue(unsigned int colour) {
    ++counts.green;
    return static_cast<unsigned char>(colour >> 8);
}

unsigned char GetBValue(unsigned int colour) {
    ++counts.blue;
    return static_cast<unsigned char>(colour >> 16);
}

void* CreatePalette(const void* logicalPalette) {
    const auto* const record = static_cast<const std::uint8_t*>(logicalPalette);
    const std::size_t entries = record[2] | record[3] << 8;
    palette.assign(record, record + 4 + 4 * entries);
    if (failPalette) {
        failPalette = false;
        return nullptr;
    }
    return colourcalls::Palette;
}

} // extern "C"
