// Pages brought into the forms that the library's functions take.
#include "tools/page_convert.h"

#include "memory/unaligned.h"
#include "tools/progress.h"

#include <array>
#include <utility>
#include <vector>

namespace dibprep::tool {

namespace {

// One channel of a masked pixel as 8 bits, rounded to the nearest level.
class Channel {
public:
    explicit Channel(std::uint32_t mask) : m_mask(mask) {
        if (mask == 0)
            return;
        while ((mask >> m_shift & 1) == 0)
            ++m_shift;
        m_largest = mask >> m_shift;
        // Beyond 16 bits the product below would leave its word; the top 16 say it all.
        while (m_largest > 0xFFFF) {
            m_largest >>= 1;
            ++m_shift;
        }
    }

    unsigned char operator()(std::uint32_t pixel) const {
        if (m_mask == 0)
            return 0;
        const std::uint32_t value = (pixel & m_mask) >> m_shift;
        return static_cast<unsigned char>((value * 255 + m_largest / 2) / m_largest);
    }

private:
    std::uint32_t m_mask;
    unsigned m_shift = 0;
    std::uint32_t m_largest = 0;
};

ChannelMasks MasksOf(const Page& page) {
    if (page.Masks() == ChannelMasks())
        return page.Bits() == 16 ? Plain555 : Plain888;
    return page.Masks();
}

void ExpandTable(const Page& from, Page& to) {
    std::array<tagRGBQUAD, 256> table = {};
    for (unsigned i = 0; i < FullTable(from.Bits()); ++i)
        table[i] = from.Colour(i);
    for (int y = 0; y < from.Height(); ++y) {
        ThrowIfStopped();
        const unsigned char* source = from.StoredRow(y);
        unsigned char* target = to.StoredRow(y);
        for (int x = 0; x < from.Width(); ++x, target += 3) {
            const tagRGBQUAD& colour = table[from.IndexAt(source, x)];
            target[0] = colour.rgbBlue;
            target[1] = colour.rgbGreen;
            target[2] = colour.rgbRed;
        }
    }
}

// Masked pixels of 16 or 32 bits into bytes blue, green, red, and alpha where the target has 4. Where it
// has 3, the page is laid on white.
void ExpandMasks(const Page& from, Page& to) {
    const ChannelMasks masks = MasksOf(from);
    const Channel red(masks.red);
    const Channel green(masks.green);
    const Channel blue(masks.blue);
    const Channel alpha(masks.alpha);
    const int sourceBytes = from.Bits() / 8;
    const int targetBytes = to.Bits() / 8;
    for (int y = 0; y < from.Height(); ++y) {
        ThrowIfStopped();
        const unsigned char* source = from.StoredRow(y);
        unsigned char* target = to.StoredRow(y);
        for (int x = 0; x < from.Width(); ++x, source += sourceBytes, target += targetBytes) {
            const std::uint32_t pixel = sourceBytes == 2 ? LoadU16(source) : LoadU32(source);
            target[0] = blue(pixel);
            target[1] = green(pixel);
            target[2] = red(pixel);
            if (targetBytes == 4)
                target[3] = alpha(pixel);
            else if (masks.alpha != 0)
                for (int c = 0; c < 3; ++c)
                    target[c] = static_cast<unsigned char>(OverWhite(target[c], alpha(pixel), 255));
        }
    }
}

int Lightness(tagRGBQUAD colour) { return 299 * colour.rgbRed + 587 * colour.rgbGreen + 114 * colour.rgbBlue; }

constexpr tagRGBQUAD Black = {0, 0, 0, 0};
constexpr tagRGBQUAD White = {255, 255, 255, 0};

} // namespace

Page TrueColourCopy(const Page& page) {
    Page result(static_cast<std::uint64_t>(page.Width()), static_cast<std::uint64_t>(page.Height()), 24);
    result.SetResolution(page.PixelsPerMetreX(), page.PixelsPerMetreY());
    if (page.Bits() <= 8)
        ExpandTable(page, result);
    else
        ExpandMasks(page, result);
    return result;
}

Page ToTrueColour(Page page) { return page.Bits() == 24 ? std::move(page) : TrueColourCopy(page); }

Page Plain32Copy(const Page& page) {
    Page result(static_cast<std::uint64_t>(page.Width()), static_cast<std::uint64_t>(page.Height()), 32);
    result.SetResolution(page.PixelsPerMetreX(), page.PixelsPerMetreY());
    ExpandMasks(page, result);
    if (page.Masks().alpha != 0)
        result.SetMasks(Plain8888);
    return result;
}

Page ToPlain32(Page page) { return HasPlainLayout(page) ? std::move(page) : Plain32Copy(page); }

bool HasPlainLayout(const Page& page) {
    if (page.Bits() != 16 && page.Bits() != 32)
        return true;
    const ChannelMasks masks = MasksOf(page);
    return page.Bits() == 16 ? masks == Plain555 : masks == Plain888 || masks == Plain8888;
}

TwoColours SetBlackAndWhite(Page& page) {
    const tagRGBQUAD first = page.Colour(0);
    const tagRGBQUAD second = page.Colour(1);
    const bool firstIsLight = Lightness(first) > Lightness(second);
    page.SetColour(0, firstIsLight ? White : Black);
    page.SetColour(1, firstIsLight ? Black : White);
    return firstIsLight ? TwoColours{second, first} : TwoColours{first, second};
}

void SetTwoColours(Page& page, const TwoColours& colours) {
    page.SetColour(0, colours.dark);
    page.SetColour(1, colours.light);
    page.SetColours(2);
}

} // namespace dibprep::tool
