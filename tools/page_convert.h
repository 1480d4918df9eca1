// Pages brought into the forms that the library's functions take.
#pragma once

#include "tools/page.h"

#include <cstdint>

namespace dibprep::tool {

/*
 * The page in 24 bits: colour tables looked up, channels of any masks scaled so that 0 stays 0 and
 * the largest value becomes 255, what is transparent laid on white paper. Depths 1 to 32; ToTrueColour
 * gives a page of 24 bits back as it is.
 */
Page TrueColourCopy(const Page& page);
Page ToTrueColour(Page page);

// 32 bits in the order blue, green, red, alpha: the page as it is, or one with its channels moved.
Page Plain32Copy(const Page& page);
Page ToPlain32(Page page);

// One channel of 0 to `largest`, partly transparent, over white.
constexpr std::uint32_t OverWhite(std::uint32_t value, std::uint32_t alpha, std::uint32_t largest) {
    return static_cast<std::uint32_t>(
        (std::uint64_t{value} * alpha + std::uint64_t{largest} * (largest - alpha) + largest / 2) / largest);
}

// Whether a 16- or 32-bit page has its channels where the library expects them without masks.
bool HasPlainLayout(const Page& page);

/*
 * The two colours of a 1-bit page, the darker one first. The pipeline knows black and white only,
 * and takes index 0 for white where its blue is 255 and for black otherwise. SetBlackAndWhite writes
 * that, by which of the two is lighter; the result, whose index 0 is black, then gets the colours
 * themselves back.
 */
struct TwoColours {
    tagRGBQUAD dark;
    tagRGBQUAD light;
};
TwoColours SetBlackAndWhite(Page& page);
void SetTwoColours(Page& page, const TwoColours& colours);

} // namespace dibprep::tool
