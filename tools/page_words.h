// Pages of 16 bits per channel between the words of BMP files and the samples of other formats.
#pragma once

#include "tools/page.h"

#include <cstdint>

namespace dibprep::tool {

/*
 * A BMP file of 48 or 64 bits holds signed words, of which the library uses 0 to 32767 for a colour and
 * 0 to 16383 for alpha; other formats hold 0 to 65535. These two convert one word, rounded to the
 * nearest; what lies outside the range of a BMP file's words counts as its end.
 */
std::uint16_t SampleOfWord(std::uint16_t word, bool alpha);
std::uint16_t WordOfSample(std::uint16_t sample, bool alpha);

// Channel 0 to 3 (blue, green, red, alpha) of a pixel of 48 or 64 bits as a sample of 0 to 65535.
std::uint16_t SampleAt(const Page& page, const unsigned char* pixel, int channel);

// Samples of 0 to 65535 as a page holds them, from those bytes as they are: the page becomes FullRange.
void MakeFullRange(Page& page);

} // namespace dibprep::tool
