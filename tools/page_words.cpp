// Pages of 16 bits per channel.
#include "tools/page_words.h"

#include "memory/unaligned.h"
#include "tools/progress.h"

#include <algorithm>

namespace dibprep::tool {

namespace {

constexpr std::uint32_t LargestSample = 65535;
constexpr std::uint16_t HalfRange = 0x8000; // what a full-range page takes off each sample

std::uint32_t LargestWord(bool alpha) { return alpha ? 16383 : 32767; }

} // namespace

std::uint16_t SampleOfWord(std::uint16_t word, bool alpha) {
    const std::uint32_t largest = LargestWord(alpha);
    const std::uint32_t value = word >= HalfRange ? 0 : std::min<std::uint32_t>(word, largest);
    return static_cast<std::uint16_t>((value * LargestSample + largest / 2) / largest);
}

std::uint16_t WordOfSample(std::uint16_t sample, bool alpha) {
    return static_cast<std::uint16_t>((sample * LargestWord(alpha) + LargestSample / 2) / LargestSample);
}

std::uint16_t SampleAt(const Page& page, const unsigned char* pixel, int channel) {
    const std::uint16_t word = LoadU16(pixel + 2 * channel);
    return page.FullRange() ? static_cast<std::uint16_t>(word ^ HalfRange) : SampleOfWord(word, channel == 3);
}

void MakeFullRange(Page& page) {
    const int words = page.Width() * (page.Bits() / 16);
    for (int y = 0; y < page.Height(); ++y) {
        ThrowIfStopped();
        unsigned char* row = page.StoredRow(y);
        for (int i = 0; i < words; ++i)
            row[2 * i + 1] = static_cast<unsigned char>(row[2 * i + 1] ^ 0x80); // the high byte
    }
    page.SetFullRange(true);
}

} // namespace dibprep::tool
