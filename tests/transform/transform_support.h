// What the tests of the resolution pipeline share: blocks, a recording callback, one-call runs.
#pragma once

#include "dibprep.h"
#include "tests/support/dib_builder.h"
#include "tests/support/memory_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace transformtest {

using testdib::Bytes;

// Pixels per metre as a header records these resolutions.
constexpr int Ppm50 = 1968;
constexpr int Ppm100 = 3937;
constexpr int Ppm200 = 7874;
constexpr int Ppm300 = 11811;

constexpr unsigned short MemoryToMemory = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_MEMORY;

using testhost::MemoryTest;

// The percentages that a conversion reported, and the call at which it is told to stop (0: never).
struct Recorder {
    static inline std::vector<int> calls;
    static inline int stopAt = 0;
    static void Clear(int stop = 0) {
        calls.clear();
        stopAt = stop;
    }
    static int Report(unsigned short percent) {
        calls.push_back(percent);
        return static_cast<int>(calls.size()) == stopAt ? 0 : 1;
    }
};

inline unsigned QueriedSize(void* source, unsigned short dpi) {
    unsigned int size = 0;
    EXPECT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_MEMORY, &source, dpi, &size), 0u);
    return size;
}

struct Outcome {
    unsigned status = 999;
    Bytes out; // the whole destination block
};

// Transforms memory to memory into a block of the queried size, or of `size` bytes, prefilled.
inline Outcome Transform(const Bytes& dib, unsigned short dpi, int threshold = 128,
                         int (*progress)(unsigned short) = nullptr, std::size_t size = 0, std::uint8_t fill = 0) {
    void* source = testhost::MakeBlock(dib);
    if (size == 0)
        size = QueriedSize(source, dpi);
    void* destination = testhost::MakeBlock(Bytes(size, fill));
    Outcome run;
    run.status = LinearTransformMain(MemoryToMemory, &source, &destination, progress, dpi, threshold);
    run.out = testhost::Bytes(destination);
    EXPECT_EQ(testhost::Bytes(source), dib) << "the source is never changed";
    EXPECT_EQ(testhost::LockCount(source), 0);
    EXPECT_EQ(testhost::LockCount(destination), 0);
    GlobalFree(source);
    GlobalFree(destination);
    return run;
}

inline Bytes Part(const Bytes& bytes, std::size_t from, std::size_t count) {
    EXPECT_LE(from + count, bytes.size());
    if (from + count > bytes.size())
        return {};
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
}

// Where the rows of a DIB with a full colour table begin.
inline std::size_t RowsOf(const Bytes& dib) {
    const int bits = static_cast<int>(testdib::U16(dib, 14));
    return 40 + 4 * static_cast<std::size_t>(testdib::DefaultColors(bits));
}

// Puts bytes at an offset.
inline void Put(Bytes& bytes, std::size_t at, std::initializer_list<int> values) {
    for (int value : values)
        bytes.at(at++) = static_cast<std::uint8_t>(value);
}

// A 4- or 8-bit DIB whose table is gray but for one coloured entry, the last.
inline Bytes ColourTableDib(int width, int height, int bits, int ppm = Ppm100) {
    Bytes dib = testdib::MakeDib(width, height, bits, ppm, ppm);
    testdib::SetGrayTable(dib, 1 << bits);
    testdib::SetEntry(dib, (1 << bits) - 1, 10, 20, 200);
    return dib;
}

inline Bytes GrayDib(int width, int height, int bits, int ppm = Ppm100) {
    Bytes dib = testdib::MakeDib(width, height, bits, ppm, ppm);
    testdib::SetGrayTable(dib, 1 << bits);
    return dib;
}

} // namespace transformtest
