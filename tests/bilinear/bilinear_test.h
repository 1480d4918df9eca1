// What the tests of the resampler share: a fixture that counts blocks and locks, sources, and the
// pixels of results.
#pragma once

#include "bilinear/row.h"
#include "dibprep/bilinear.h"
#include "dibprep/entries.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

namespace bilinear_test {

using testdib::Bytes;

class BilinearTest : public testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override {
        COLOR_MAX_VALUE = 255;
        WHITE_POINT_VALUE = 255;
        BLACK_POINT_VALUE = 0;
        COLOR_MAX_VALUE16 = 32767;
        WHITE_POINT_VALUE16 = 16383;
        BLACK_POINT_VALUE16 = 0;
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        EXPECT_EQ(testhost::LockedFrees(), 0);
        testhost::Reset();
    }

    // The bytes of a result, which is freed; empty for a null result.
    static Bytes Take(void* handle) {
        if (!handle)
            return {};
        EXPECT_EQ(testhost::LockCount(handle), 0);
        Bytes bytes = testhost::Bytes(handle);
        GlobalFree(handle);
        return bytes;
    }

    Bytes Resample(const Bytes& dib, const tagRECT& frame, const tagRECT& output, int (*progress)(int, int) = nullptr) {
        return Take(object.BiLinear(dib.data(), &frame, &output, progress));
    }
    Bytes Resample(const Bytes& dib, int width, int height) {
        const tagRECT whole = {0, 0, width, height};
        return Resample(dib, whole, whole);
    }

    CConvertResolution object;
};

// Where row y from the top starts in a DIB with a 40-byte header.
inline std::size_t RowAt(const Bytes& dib, int y) {
    const int bits = static_cast<int>(testdib::U16(dib, 14));
    const int width = static_cast<int>(testdib::U32(dib, 4));
    const int height = static_cast<int>(testdib::U32(dib, 8));
    const std::uint32_t used = testdib::U32(dib, 32);
    const std::size_t table = used != 0 ? used : static_cast<std::size_t>(testdib::DefaultColors(bits));
    return testdib::U32(dib, 0) + table * 4 + static_cast<std::size_t>(height - 1 - y) * testdib::Stride(width, bits);
}

inline void SetRow(Bytes& dib, int y, std::initializer_list<int> bytes) {
    std::size_t at = RowAt(dib, y);
    for (int byte : bytes)
        dib.at(at++) = static_cast<std::uint8_t>(byte);
}

inline void SetRow16(Bytes& dib, int y, std::initializer_list<int> words) {
    std::size_t at = RowAt(dib, y);
    for (int word : words) {
        testdib::PutU16(dib, at, static_cast<unsigned>(word) & 0xFFFF);
        at += 2;
    }
}

// The first `count` bytes, or 16-bit words, of row y.
inline std::vector<int> Row(const Bytes& dib, int y, int count) {
    std::vector<int> row;
    for (int i = 0; i < count; ++i)
        row.push_back(dib.at(RowAt(dib, y) + static_cast<std::size_t>(i)));
    return row;
}

inline std::vector<int> Row16(const Bytes& dib, int y, int count) {
    std::vector<int> row;
    for (int i = 0; i < count; ++i)
        row.push_back(static_cast<int>(testdib::U16(dib, RowAt(dib, y) + static_cast<std::size_t>(i) * 2)));
    return row;
}

// One channel of the pixels of row y of a 24-bit DIB.
inline std::vector<int> Channel24(const Bytes& dib, int y, int channel) {
    std::vector<int> row;
    const int width = static_cast<int>(testdib::U32(dib, 4));
    for (int x = 0; x < width; ++x)
        row.push_back(dib.at(RowAt(dib, y) + static_cast<std::size_t>(x * 3 + channel)));
    return row;
}

inline int WidthOf(const Bytes& dib) { return static_cast<int>(testdib::U32(dib, 4)); }
inline int HeightOf(const Bytes& dib) { return static_cast<int>(testdib::U32(dib, 8)); }
inline int BitsOf(const Bytes& dib) { return static_cast<int>(testdib::U16(dib, 14)); }

using Ints = std::vector<int>;

// A task of `count` columns of a source with a whole colour table; its rows are still to be named.
inline dibprep::RowTask TaskOf(const _tagDIBPARAM& source, const _tagCOORDENTRY* columns, int count) {
    dibprep::RowTask task = {};
    task.columns = columns;
    task.count = count;
    task.outStep = std::max(source.nBitCount, 24) / 8;
    task.source = &source;
    task.table = {reinterpret_cast<const unsigned char*>(source.pColorTable), 256};
    return task;
}

} // namespace bilinear_test
