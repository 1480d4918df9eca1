// Random sources for the comparisons of the resampler: every depth, odd sizes, longer headers, odd
// colour counts, random padding.
#pragma once

#include "tests/oracle/bilinear_oracle.h"

#include <algorithm>

namespace oracle {

// Rare choices get a name of their own, so that a reader sees how often they come.
inline int OddOrEven(testdib::Random& random, int most) { return random.OneIn(6) ? 1 : random.Range(1, most); }

inline int KernelDepth(testdib::Random& random) {
    static const int depths[] = {1, 4, 8, 16, 24, 32, 48, 64};
    return depths[random.Range(0, 7)];
}

inline int AnyColoursUsed(testdib::Random& random, int bits) {
    if (random.OneIn(3))
        return bits <= 8 ? random.Range(1, 1 << bits) : random.Range(1, 6);
    return random.OneIn(20) ? random.Range(257, 400) : 0;
}

// A DIB of this size and depth, exactly as long as its header says.
inline Bytes RandomSource(testdib::Random& random, int width, int height, int bits) {
    static const unsigned sizes[] = {41, 44, 52, 64, 108, 124};
    Bytes header(40);
    testdib::PutU32(header, 0, random.OneIn(8) ? sizes[random.Range(0, 5)] : 40);
    testdib::PutU32(header, 4, static_cast<std::uint32_t>(width));
    testdib::PutU32(header, 8, static_cast<std::uint32_t>(height));
    testdib::PutU16(header, 12, static_cast<unsigned>(random.Range(0, 2)));
    testdib::PutU16(header, 14, static_cast<unsigned>(bits));
    testdib::PutU32(header, 20, random.OneIn(2) ? 0 : random.Next());
    testdib::PutU32(header, 24, static_cast<std::uint32_t>(random.Range(1, 12000)));
    testdib::PutU32(header, 28, static_cast<std::uint32_t>(random.Range(1, 12000)));
    testdib::PutU32(header, 32, static_cast<std::uint32_t>(AnyColoursUsed(random, bits)));
    testdib::PutU32(header, 36, random.Next());
    Bytes dib = header;
    dib.resize(testdib::U32(header, 0) + ResamplerPaletteSize(header) +
               testdib::Stride(width, bits) * static_cast<std::size_t>(std::max(height, 0)));
    dib.resize(std::max<std::size_t>(dib.size(), 44));
    // Noise, or values at the ends of the range.
    const bool ends = random.OneIn(4);
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = ends ? (random.OneIn(2) ? 255 : 0) : static_cast<std::uint8_t>(random.Next());
    return dib;
}

inline Limits RandomLimits(testdib::Random& random) {
    Limits limits;
    const auto any8 = [&] { return random.OneIn(8) ? static_cast<int>(random.Next()) : random.Range(-50, 300); };
    const auto any16 = [&] { return random.OneIn(8) ? static_cast<int>(random.Next()) : random.Range(-9000, 40000); };
    if (random.OneIn(2))
        limits.colour8 = any8();
    if (random.OneIn(2))
        limits.white8 = any8();
    if (random.OneIn(2))
        limits.black8 = any8();
    if (random.OneIn(2))
        limits.colour16 = any16();
    if (random.OneIn(2))
        limits.white16 = any16();
    if (random.OneIn(2))
        limits.black16 = any16();
    return limits;
}

} // namespace oracle
