// Run-length expansion once more, pixel by pixel, and an encoder that writes well-formed streams in
// every way a stream can say a thing. Nothing of the library is used.
#pragma once

#include "tests/oracle/dib_oracle.h"

namespace oracle {

// `dib` must go on behind its stream as far as the longest run can reach.
MaybeDib ExpandedRle(const Bytes& dib);
MaybeDib ExpandedRle8(const Bytes& dib);
MaybeDib ExpandedRle4(const Bytes& dib);

// Bytes that must be readable behind the last counted byte of a stream.
constexpr int BehindStream = 260;

// A stream for these pixels (stored rows one after the other, an index each): runs, literal runs,
// steps over pixels that are 0, ends of lines, chosen at random.
Bytes EncodedRle(testdib::Random& random, const std::vector<std::uint8_t>& pixels, int width, int bits);

} // namespace oracle
