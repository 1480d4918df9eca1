// Fuzz target: header arithmetic, construction, colours and pixels of a DIB whose declared parts are
// there. Input: conditions (3 bytes), width, height and bit count for a new DIB (4, 4, 2), colour (4),
// index (2, signed), the DIB.
#include "fuzz/fuzz_input.h"

#include "dibprep/hostlayer.h"

#include <cstdlib>

namespace {

using namespace fuzz;

// Pixels at the corners and in the middle; a caller stays inside the picture.
void UsePixels(std::uint8_t* dib, unsigned index) {
    const int width = DIBWidth(dib);
    const int height = std::abs(DIBHeight(dib));
    if (width < 1 || height < 1 || dibprep::LoadU16(dib + 16) != 0)
        return; // no pixels, or packed ones
    if (dibprep::LoadU32(dib) < 12)
        return; // pixels begin inside the header: writing them changes it
    const unsigned bits = DIBBitCount(dib);
    const int columns[] = {0, width / 2, width - 1};
    const int rows[] = {0, height / 2, height - 1};
    for (const int y : rows) {
        for (const int x : columns) {
            SetBitIndex(dib, x, y, static_cast<unsigned short>(index));
            const int read = GetBitIndex(dib, x, y);
            Require(bits == 1 || bits == 4 || bits == 8 ? read >= 0 && read < 1 << bits : read == -1,
                    "a pixel's index is out of range");
            if (bits == 8 || bits == 1)
                Require(read == static_cast<int>(index & (bits == 8 ? 255 : 1)), "a pixel was not written");
        }
    }
}

void UseColours(std::uint8_t* dib, int index, std::uint32_t colour) {
    const bool inside = index >= 0 && index < DIBNumColors(dib);
    SetIndexColor(dib, index, colour);
    const unsigned int read = GetIndexColor(dib, index);
    Require(read == (inside ? colour & 0xFFFFFF : 0xFF000000), "a colour was not written");
    const int found = GetColorIndex(dib, colour & 0xFFFFFF);
    Require(inside ? found >= 0 && found <= index : found >= -1, "a colour was not found");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const std::uint32_t width = input.U32();
    const std::uint32_t height = input.U32();
    const auto bitCount = static_cast<unsigned short>(input.U16());
    const std::uint32_t colour = input.U32();
    const int index = input.I16();
    Bytes bytes = input.Rest();
    if (!Promise(bytes, PromisedToUtilities))
        return 0;
    conditions.Prepare();
    PlacedBytes placed(bytes, conditions.Side());
    std::uint8_t* const dib = placed.data();

    DIBBits(dib);
    DIBSize(dib);
    PaletteSize(dib);
    unsigned int red = 0;
    unsigned int green = 0;
    unsigned int blue = 0;
    DIBMask(dib, red, green, blue);
    unsigned short left = 0;
    unsigned short right = 0;
    GetShifts(red ^ colour, left, right);
    Require(left <= 8 && right <= 32, "shifts out of range");

    conditions.PlanFailures();
    dibhost_palette_delete(CreateDIBPalette(dib));
    void* const made = CreateDIB(width, height, bitCount);
    Conditions::TakeFailuresBack();
    RequireBalance(made ? 1 : 0);
    placed.RequireUnchanged();
    if (made) {
        Require(testhost::Size(made) >= 40, "a new DIB has no room for its header");
        auto* const fresh = static_cast<unsigned char*>(GlobalLock(made));
        // A top-down one may be smaller than its table.
        if (static_cast<std::int32_t>(height) > 0) {
            Require(DIBSize(fresh) == testhost::Size(made), "a new DIB is not as long as it says");
            CopyColorTable(dib, fresh);
            SetDIB(fresh, width, height, bitCount);
        }
        GlobalUnlock(made);
        RequireBalance(1);
    }
    UseColours(dib, index, colour);
    UsePixels(dib, static_cast<unsigned>(index));
    testhost::Reset();
    return 0;
}
