// Bytes that are table indices, read as many at a time as a general register holds.
#pragma once

#include <cstddef>
#include <cstring>

namespace dibprep {

using IndexWord = std::size_t;

inline IndexWord LoadIndices(const unsigned char* in) {
    IndexWord word;
    std::memcpy(&word, in, sizeof word);
    return word;
}

// The lowest two bytes of a word cost one instruction each. The next two are rotated down to them: of plain
// shifts the compiler makes a copy, a shift and a mask for every byte.
inline std::size_t FirstIndex(IndexWord word) { return word & 0xFF; }
inline std::size_t SecondIndex(IndexWord word) { return word >> 8 & 0xFF; }
inline IndexWord NextTwo(IndexWord word) { return word >> 16 | word << (8 * sizeof word - 16); }

} // namespace dibprep
