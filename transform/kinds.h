// The image kinds of the transform, and what follows from them.
#pragma once

#include "dibprep/types.h"
#include "memory/unaligned.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// 4 is no kind: the number was never given out.
enum ImageKind : unsigned short {
    KindNone = 0,
    KindBlackWhite = 1,
    KindGray4 = 2,
    KindGray8 = 3,
    KindColourTable8 = 5,
    KindTrueColour = 6
};

// Whether all entries of a table are gray. Looks at all of them, several at a time: tables are read
// three times in a conversion, which small pictures notice.
inline bool OnlyGrays(const tagRGBQUAD* entries, std::size_t count) {
    std::uint32_t difference = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t entry = LoadU32(entries + i); // blue lowest, then green and red
        difference |= entry ^ entry >> 8;
    }
    return (difference & 0xFFFF) == 0;
}

// Kinds whose rows CreateImage builds. 4-bit gray is not among them, by decision: hosts get 4-bit
// gray pages widened to 8 bits before the transform, and its own rows stay as the block held them.
inline bool BuildsRows(unsigned short kind) {
    return kind == KindBlackWhite || kind == KindGray8 || kind == KindColourTable8 || kind == KindTrueColour;
}

// Entries of the colour table that is written. The colour cube has 252 colours and is followed by
// two zero entries: 254, although the header declares 256. Rows begin right behind the 254th.
inline std::uint32_t WrittenEntries(unsigned short kind) {
    switch (kind) {
    case KindBlackWhite:
        return 2;
    case KindGray4:
        return 16;
    case KindGray8:
        return 256;
    case KindColourTable8:
        return 254;
    default:
        return 0;
    }
}

} // namespace dibprep
