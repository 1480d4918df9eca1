// Random pictures and parameters for the comparisons of the pipeline and the quantiser.
#pragma once

#include "oracle_common.h"

#include <cstdint>
#include <string>
#include <vector>

namespace oracle {

using testdib::Random;

enum class Look { Any, Bits1, Gray4, Colour4, Gray8, Colour8, Bits24, Bits16, Bits32, OddDepth };

struct PictureOptions {
    Look look = Look::Any;
    int largestWidth = 70;
    int largestHeight = 70;
    bool plainHeader = false; // no surplus bits in sizes, no strange header fields
};

// A DIB with a 40-byte header, a full table, rows as the pipeline counts them, perhaps a tail.
struct Picture {
    Bytes dib;
    int width = 0;
    int height = 0;
    int bits = 0;
    Look look = Look::Any;
};
Picture RandomPicture(Random& random, const PictureOptions& options);

// A wanted resolution that keeps the result below a few dozen kilobytes, or asks for more than 32 bits.
std::uint16_t RandomDpi(Random& random, const Bytes& dib, std::uint64_t largestBytes = 60000);
int RandomThreshold(Random& random);
// For TransformJob::stopAtCall.
int RandomStop(Random& random);
// Where to cut a block that is `size` bytes long.
std::size_t RandomCut(Random& random, std::size_t size);

// The file with this DIB: 14 bytes that nobody reads, then the DIB.
Bytes AsFile(Random& random, const Bytes& dib);
Bytes RandomBytes(Random& random, std::size_t count);
// 0 to 1, both included, often simple fractions.
double RandomFraction(Random& random);

// "equal", or where and how two byte strings differ first.
std::string Difference(const Bytes& expected, const Bytes& actual);

} // namespace oracle
