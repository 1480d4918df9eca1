// Random DIBs for the comparisons of the utilities: every depth, both header forms, odd colour
// counts, masks of every shape. A DIB is exactly as long as its header says.
#pragma once

#include "tests/oracle/dib_oracle.h"
#include "tests/oracle/rle_oracle.h"

#include <algorithm>
#include <cstdlib>

namespace oracle {

inline void FillWithNoise(testdib::Random& random, Bytes& dib, std::size_t from) {
    for (std::size_t i = from; i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(random.OneIn(12) ? 0 : random.Next());
}

inline std::uint32_t RandomMask(testdib::Random& random) {
    if (random.OneIn(20))
        return 0;
    if (random.OneIn(6))
        return random.Next();
    const int length = random.Range(1, 32);
    const std::uint64_t run = (std::uint64_t{1} << length) - 1;
    return static_cast<std::uint32_t>(run << random.Range(0, 32 - length));
}

inline void PutMasks(testdib::Random& random, Bytes& dib, unsigned bits) {
    static const std::uint32_t usual[][3] = {{0x7C00, 0x3E0, 0x1F},
                                             {0xF800, 0x7E0, 0x1F},
                                             {0xFF0000, 0xFF00, 0xFF},
                                             {0xFF, 0xFF00, 0xFF0000},
                                             {0x3FF00000, 0xFFC00, 0x3FF}};
    const int choice = random.Range(0, 9);
    for (std::size_t i = 0; i < 3; ++i) {
        std::uint32_t mask = choice < 5 ? usual[choice][i] : RandomMask(random);
        if (bits == 16 && !random.OneIn(4))
            mask &= 0xFFFF;
        testdib::PutU32(dib, 40 + 4 * i, mask);
    }
}

inline int UtilityDepth(testdib::Random& random) {
    static const int depths[] = {1, 4, 8, 16, 24, 32};
    return random.OneIn(15) ? random.Range(0, 66) : depths[random.Range(0, 5)];
}

struct DibWishes {
    int width, height, bits; // a negative height makes a top-down DIB
    bool core = false;
    std::uint32_t colours = 0; // colours used; not for core headers
    std::uint32_t compression = 0;
};

inline Bytes RandomDib(testdib::Random& random, const DibWishes& wishes) {
    const auto width = static_cast<std::uint32_t>(wishes.width);
    Bytes dib(wishes.core ? 12 : 40);
    if (wishes.core) {
        testdib::PutU32(dib, 0, 12);
        testdib::PutU16(dib, 4, width);
        testdib::PutU16(dib, 6, static_cast<unsigned>(wishes.height));
        testdib::PutU16(dib, 8, 1);
        testdib::PutU16(dib, 10, static_cast<unsigned>(wishes.bits));
    } else {
        testdib::PutU32(dib, 0, 40);
        testdib::PutU32(dib, 4, width);
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(wishes.height));
        testdib::PutU16(dib, 12, 1);
        testdib::PutU16(dib, 14, static_cast<unsigned>(wishes.bits));
        testdib::PutU32(dib, 16, wishes.compression);
        testdib::PutU32(dib, 20, random.OneIn(2) ? 0 : static_cast<std::uint32_t>(random.Range(0, 500)));
        testdib::PutU32(dib, 24, random.Next());
        testdib::PutU32(dib, 28, random.Next());
        testdib::PutU32(dib, 32, wishes.colours);
        testdib::PutU32(dib, 36, random.Next());
    }
    const std::size_t rows =
        testdib::Stride(wishes.width, wishes.bits) * static_cast<std::size_t>(std::abs(wishes.height));
    const bool masks = wishes.compression == 3 && (wishes.bits == 16 || wishes.bits == 32);
    const std::size_t head = dib.size();
    // At least 52 bytes: the masks' function looks at the fields of an info header in any case.
    dib.resize(std::max<std::size_t>(BitsOffset(dib) + rows + (masks ? 12 : 0), 52));
    FillWithNoise(random, dib, head);
    if (masks)
        PutMasks(random, dib, static_cast<unsigned>(wishes.bits));
    return dib;
}

inline std::uint32_t RandomColoursUsed(testdib::Random& random, int bits) {
    if (!random.OneIn(3))
        return 0;
    if (random.OneIn(30))
        return 0x10000u + random.Next() % 20;
    const int most = bits <= 8 ? (1 << bits) + 20 : 40;
    return static_cast<std::uint32_t>(random.Range(1, most));
}

inline DibWishes RandomWishes(testdib::Random& random) {
    DibWishes wishes{};
    wishes.width = random.OneIn(8) ? random.Range(0, 2) : random.Range(1, 40);
    wishes.height = random.OneIn(8) ? random.Range(0, 2) : random.Range(1, 20);
    wishes.bits = UtilityDepth(random);
    wishes.core = random.OneIn(6);
    if (wishes.core)
        return wishes;
    wishes.colours = RandomColoursUsed(random, wishes.bits);
    if (random.OneIn(3))
        wishes.height = -wishes.height;
    if ((wishes.bits == 16 || wishes.bits == 32) ? random.OneIn(2) : random.OneIn(12))
        wishes.compression = 3;
    return wishes;
}

} // namespace oracle
