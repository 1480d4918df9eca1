// What the DIB tests share: source blocks that end at an unreadable page, and results that are
// checked for ownership as they are taken.
#pragma once

#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <vector>

namespace dibtest {

using testdib::Bytes;
using testdib::MakeDib;
using testdib::PutU16;
using testdib::PutU32;
using testdib::SetEntry;
using testdib::Stride;
using testdib::U16;
using testdib::U32;

// No test leaves a block or a lock, or names a handle that is none.
class DibTest : public ::testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override {
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }
};

// Bytes of a caller, ending at an unreadable page.
class Block {
public:
    explicit Block(const Bytes& bytes) : m_buffer(bytes.size()), m_original(bytes) {
        std::copy(bytes.begin(), bytes.end(), m_buffer.data());
    }
    operator unsigned char*() { return m_buffer.data(); }
    Bytes Now() { return Bytes(m_buffer.data(), m_buffer.data() + m_buffer.size()); }
    bool Unchanged() { return Now() == m_original; }

private:
    testhost::GuardedBuffer m_buffer;
    Bytes m_original;
};

// The bytes of a result, which must be a live and unlocked block; frees it.
inline Bytes Take(void* handle) {
    if (!handle) {
        ADD_FAILURE() << "no result";
        return Bytes(64);
    }
    EXPECT_EQ(testhost::LockCount(handle), 0);
    const Bytes bytes = testhost::Bytes(handle);
    GlobalFree(handle);
    return bytes;
}

inline Bytes Slice(const Bytes& bytes, std::size_t at, std::size_t count) {
    if (at + count > bytes.size()) {
        ADD_FAILURE() << "only " << bytes.size() << " bytes";
        return {};
    }
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
}

inline Bytes Join(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Puts bytes into dib at an offset.
inline void Put(Bytes& dib, std::size_t at, const Bytes& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        dib.at(at + i) = bytes[i];
}

// Offset of the pixels of a DIB with a 40-byte header and the default table.
inline std::size_t PixelsAt(int bits) { return 40 + 4 * static_cast<std::size_t>(testdib::DefaultColors(bits)); }

// A zeroed DIB with a 12-byte header.
inline Bytes MakeCoreDib(int width, int height, int bits) {
    Bytes dib(12 + 3 * static_cast<std::size_t>(testdib::DefaultColors(bits)) +
              Stride(width, bits) * static_cast<std::size_t>(height));
    PutU32(dib, 0, 12);
    PutU16(dib, 4, static_cast<unsigned>(width));
    PutU16(dib, 6, static_cast<unsigned>(height));
    PutU16(dib, 8, 1);
    PutU16(dib, 10, static_cast<unsigned>(bits));
    return dib;
}

// A bit-field DIB of 16 or 32 bits: masks behind the header, rows behind the masks.
inline Bytes MakeMaskedDib(int width, int height, int bits, std::uint32_t red, std::uint32_t green,
                           std::uint32_t blue) {
    Bytes dib = MakeDib(width, height, bits);
    dib.insert(dib.begin() + 40, 12, 0);
    PutU32(dib, 16, BI_BITFIELDS);
    PutU32(dib, 40, red);
    PutU32(dib, 44, green);
    PutU32(dib, 48, blue);
    return dib;
}

// A run-length DIB: 8 bits with code 1 or 4 bits with code 2, a full colour table whose entry i is
// blue i, green 2i, red 3i (mod 256), the stream, and readable bytes behind it.
inline Bytes MakeRleDib(int width, int height, int bits, const Bytes& stream, std::size_t slack = 258) {
    Bytes dib = MakeDib(width, height, bits);
    dib.resize(PixelsAt(bits));
    for (int i = 0; i < testdib::DefaultColors(bits); ++i)
        SetEntry(dib, i, i, 2 * i, 3 * i);
    PutU32(dib, 16, bits == 8 ? BI_RLE8 : BI_RLE4);
    PutU32(dib, 20, static_cast<std::uint32_t>(stream.size()));
    dib = Join(dib, stream);
    dib.resize(dib.size() + slack, 0xEE);
    return dib;
}

// The header that CreateDIB writes.
inline Bytes PlainHeader(std::uint32_t width, std::uint32_t height, unsigned bits) {
    Bytes header(40);
    PutU32(header, 0, 40);
    PutU32(header, 4, width);
    PutU32(header, 8, height);
    PutU16(header, 12, 1);
    PutU16(header, 14, bits);
    return header;
}

} // namespace dibtest
