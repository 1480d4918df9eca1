// The shapes of the data that 1-bit rows are made of: rows of samples in scratch, where they come from,
// and what decides which pixels are set. A row of bits has its first pixel on top of the first byte.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dibprep {

// Rows in scratch are cut into units of 512 pixels. Two source rows share their memory: of each unit there
// are the left and the right samples of all pixels in the first row, then those in the second one. Constant
// distances reach all of them from one address; in 32 bits there are registers for few.
constexpr std::size_t BitUnit = 64; // bytes
constexpr std::size_t BitUnitPixels = BitUnit * 8;
constexpr std::size_t BitRightSamples = BitUnit;
constexpr std::size_t BitSecondRow = 2 * BitUnit;
constexpr std::size_t BitRowsUnit = 4 * BitUnit; // from one unit to the next

// How the samples of an output row come from a 1-bit source row. Within eight pixels the tables run
// backwards, so that gathered results have the first pixel on top.
struct BitPlan {
    std::size_t pixels = 0;                     // rounded up to a multiple of 64
    bool leftOnly = false;                      // all right samples are the left ones
    const std::uint16_t* bytes = nullptr;       // a pixel: the byte of its left sample
    const std::uint16_t* firstMasks = nullptr;  // a pixel: its left sample in that byte and the next (low, high)
    const std::uint16_t* secondMasks = nullptr; // likewise its right sample
    // Records of two windows of 16 bytes with 16 pixels each, or of one of 64 with as many: for the left
    // samples the byte in the window and the bit in that byte, then the same for the right ones, then where
    // each window begins, as doublewords. Behind them a record is filled up to whole cache lines.
    const std::uint8_t* windows = nullptr;
};

constexpr std::size_t BitRecordPixels(std::size_t windowBytes) { return windowBytes > 32 ? windowBytes : 32; }
constexpr std::size_t BitRecord(std::size_t windowBytes) { return BitRecordPixels(windowBytes) * 4 + 64; }

// How the samples of a side (above and below a pixel, left or right of it) make it a set one, for a given row
// fraction.
enum class BitForm {
    Alone,    // the first row's sample is
    Dominant, // likewise, whatever the second row's
    Any,      // any of the two is
    Both      // both are
};

// Which pixels of an output row are set. Where both sides are set, so is the pixel; where one is, that depends
// on the column's fraction, and how, on the samples of both sides. Rows of columns mark those with fractions
// below some value; `columns` are such rows, a unit of each, then the next unit of each.
struct BitRule {
    BitForm form = BitForm::Alone;
    bool turned = false; // the first row is the lower one
    std::uint32_t flip = 0;
    const std::uint8_t* columns = nullptr;
    std::size_t columnsUnit = 0; // bytes from one unit to the next
    // Where in a unit the row is that marks the columns in which the pixel is set with a set left side: for all
    // cases (Alone, Dominant, Both), and for more when a certain sample is set: Dominant the second row's right
    // or left one, Any the first or the second row's left one, Both the first or second row's right one; and
    // (Dominant, Any) when both are.
    std::uint32_t falling[4] = {};
    // The same for a set right side, with left and right exchanged, except in the samples of Dominant. Here the
    // row marks the columns in which the pixel is not set.
    std::uint32_t rising[4] = {};
};

} // namespace dibprep
