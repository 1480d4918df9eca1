// The line builders: one output row by bilinear interpolation of two source rows, one builder per
// image kind. This is the definition of what every faster form must produce.
#include "dibprep/transform.h"
#include "transform/sampling.h"

#include <algorithm>
#include <cstddef>

using namespace dibprep;

namespace {

// Interpolates sample(row, column) of the four neighbours of a pixel.
template <typename Sample>
std::uint8_t MixAt(const SamplePair& columns, double fy, const unsigned char* row0, const unsigned char* row1,
                   Sample sample) {
    return Mix(sample(row0, columns.first), sample(row0, columns.second), sample(row1, columns.first),
               sample(row1, columns.second), columns.fraction, fy);
}

} // namespace

void CLinearTransformMem::MakeBWImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out) {
    // Only the blue byte of entry 0 tells which index is white.
    const bool setIsBlack = sourcePalette[0].rgbBlue == 255;
    const double ofSet = setIsBlack ? 255 : 0;
    const double ofClear = setIsBlack ? 0 : 255;
    const auto blackness = [&](const unsigned char* row, unsigned int byte, unsigned int column) {
        return row[byte] & (0x80 >> (column & 7)) ? ofSet : ofClear;
    };
    const std::size_t count = std::min<std::size_t>(outWidth, positions.size());
    for (std::size_t x = 0; x < count; ++x) {
        const CPosition& at = positions[x];
        const int value = Mix(blackness(row0, at.byte0, at.x0), blackness(row0, at.byte1, at.x1),
                              blackness(row1, at.byte0, at.x0), blackness(row1, at.byte1, at.x1), at.fraction, fy);
        if (value < threshold)
            out[x >> 3] |= static_cast<unsigned char>(0x80 >> (x & 7));
    }
}

// CreateImage never calls this one: 4-bit gray pages come widened to 8 bits. Its nibble rules (the
// left sample from the high nibble of odd columns, the right one always from the low nibble) are
// what hosts that call it get.
void CLinearTransformMem::Make4bitGrayImageLine(double fy, unsigned char* row0, unsigned char* row1,
                                                unsigned char* out) {
    for (unsigned int x = 0; x < outWidth; ++x) {
        const SamplePair at = PairAt(x, ratioX, srcWidth);
        const auto left = [&](const unsigned char* row) {
            const unsigned char byte = row[at.first >> 1];
            return sourcePalette[at.first & 1 ? byte >> 4 : byte & 15].rgbBlue;
        };
        const auto right = [&](const unsigned char* row) { return sourcePalette[row[at.second >> 1] & 15].rgbBlue; };
        const std::uint8_t value = Mix(left(row0), right(row0), left(row1), right(row1), at.fraction, fy);
        if (x & 1)
            out[x >> 1] |= static_cast<unsigned char>(value >> 4);
        else
            out[x >> 1] = value;
    }
}

void CLinearTransformMem::Make8bitGrayImageLine(double fy, unsigned char* row0, unsigned char* row1,
                                                unsigned char* out) {
    const auto gray = [&](const unsigned char* row, unsigned int column) { return sourcePalette[row[column]].rgbBlue; };
    for (unsigned int x = 0; x < outWidth; ++x) {
        out[x] = MixAt(PairAt(x, ratioX, srcWidth), fy, row0, row1, gray);
        ++grayHistogram[out[x]];
    }
}

void CLinearTransformMem::Make8bitPaletteColorImageLine(double fy, unsigned char* row0, unsigned char* row1,
                                                        unsigned char* out) {
    const auto entry = [&](const unsigned char* row, unsigned int column) -> const tagRGBQUAD& {
        return sourcePalette[row[column]];
    };
    for (unsigned int x = 0; x < outWidth; ++x) {
        const SamplePair at = PairAt(x, ratioX, srcWidth);
        const auto channel = [&](unsigned char tagRGBQUAD::*which) {
            return MixAt(at, fy, row0, row1,
                         [&](const unsigned char* row, unsigned int column) { return entry(row, column).*which; });
        };
        const int blue = (channel(&tagRGBQUAD::rgbBlue) + 25) / 51;
        const int green = (channel(&tagRGBQUAD::rgbGreen) + 25) / 51;
        const int red = (channel(&tagRGBQUAD::rgbRed) + 21) / 42;
        out[x] = static_cast<unsigned char>(blue * 42 + green * 7 + red);
    }
}

void CLinearTransformMem::MakeRGBColorImageLine(double fy, unsigned char* row0, unsigned char* row1,
                                                unsigned char* out) {
    for (unsigned int x = 0; x < outWidth; ++x) {
        const SamplePair at = PairAt(x, ratioX, srcWidth);
        for (unsigned int channel = 0; channel < 3; ++channel) {
            *out++ = MixAt(at, fy, row0, row1, [channel](const unsigned char* row, unsigned int column) {
                return row[std::size_t{3} * column + channel];
            });
        }
    }
}
