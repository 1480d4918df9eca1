// What the fuzz targets share: numbers read from an input's first bytes, the conditions under which a
// host calls (guarded side, moving blocks, failing allocations and locks), blocks and buffers of
// exactly the promised size, and what must hold when a call has come back.
//
// Every input is a few bytes of parameters in front of a DIB or a file. What an input asks for is
// bounded by ceilings, because a fuzzer learns from thousands of small calls a second and nothing
// from one that spends a second on a million equal pixels: the host refuses blocks beyond
// LargestBlock, which bounds results as a real shortage of memory would, and pages whose rows the
// documents promise to be there are skipped where they would need more than MostPromised bytes. The
// thresholds of the library that depend on the number of pixels lie below (16384 pixels change the
// quantiser's search; 65536 columns of 8 bits the resampler's answer).
#pragma once

#include "tests/support/test_host.h"

#include "dibprep.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t LargestBlock = std::size_t{3} << 17;        // 131072 pixels of 24 bits
constexpr std::uint64_t MostOneBitBytes = std::uint64_t{1} << 15; // 262144 pixels of 1 bit
constexpr std::uint64_t MostPromised = std::uint64_t{1} << 17;

// Ends the program where something does not hold: a finding.
inline void Require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}

// The input, read from the front. Behind its end there are zeros.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_at(data), m_end(data + size) {}

    unsigned U8() { return m_at == m_end ? 0 : *m_at++; }
    unsigned U16() {
        const unsigned low = U8();
        return low | U8() << 8;
    }
    std::uint32_t U32() {
        const std::uint32_t low = U16();
        return low | static_cast<std::uint32_t>(U16()) << 16;
    }
    int I16() { return static_cast<std::int16_t>(U16()); }
    int I32() { return static_cast<int>(U32()); }
    bool AtEnd() const { return m_at == m_end; }
    // All that has not been read.
    Bytes Rest() {
        Bytes rest(m_at, m_end);
        m_at = m_end;
        return rest;
    }

private:
    const std::uint8_t* m_at;
    const std::uint8_t* m_end;
};

// The host's conditions for one input, 3 bytes: flags, which allocation fails, which lock fails.
class Conditions {
public:
    explicit Conditions(Input& input) : m_flags(input.U8()) {
        m_allocation = static_cast<int>(input.U8() % 16);
        m_lock = static_cast<int>(input.U8() % 16);
    }

    // A host with nothing in it, as the input wants it.
    void Prepare() const {
        testhost::Reset();
        testhost::SetLargestBlock(LargestBlock);
        testhost::SetGuardedSide(Side());
        testhost::SetMovingBlocks(Flag(1));
        if (Flag(2))
            testhost::SetSizeAnswer(testhost::SizeAnswer::RoundedUp);
    }
    // Plans the failures, from now on.
    void PlanFailures() const {
        testhost::FailAllocation(Flag(3) ? m_allocation : 0);
        testhost::FailLock(Flag(4) ? m_lock : 0);
    }
    static void TakeFailuresBack() {
        testhost::FailAllocation(0);
        testhost::FailLock(0);
    }
    bool MayFail() const { return Flag(3) || Flag(4); }
    testhost::Side Side() const { return Flag(0) ? testhost::Side::Start : testhost::Side::End; }
    // Bits 5 to 7 are the target's own.
    bool Flag(unsigned bit) const { return (m_flags >> bit & 1) != 0; }

private:
    unsigned m_flags;
    int m_allocation;
    int m_lock;
};

// What holds when the library has come back: as many live blocks as the documents say, no lock held,
// no call of the host that names a block which is none.
inline void RequireBalance(int blocks) {
    Require(testhost::OutstandingLocks() == 0, "a block stays locked");
    Require(testhost::BadCalls() == 0, "the host was called with a handle that is none");
    Require(testhost::LiveBlocks() == blocks, "more or fewer blocks are left than documented");
}

inline void FreeBlock(void* handle) {
    if (handle)
        GlobalFree(handle);
}

// Bytes at an address of their own: the last touches an unreadable page (or the first does), so that
// the address is odd as often as the size is.
class PlacedBytes {
public:
    PlacedBytes(const Bytes& bytes, testhost::Side side) : m_buffer(bytes.size(), side), m_copy(bytes) {
        if (!bytes.empty())
            std::memcpy(m_buffer.data(), bytes.data(), bytes.size());
    }
    std::uint8_t* data() { return m_buffer.data(); }
    // A call that may only read has left them as they were.
    void RequireUnchanged() {
        Require(m_copy.empty() || std::memcmp(m_buffer.data(), m_copy.data(), m_copy.size()) == 0,
                "the source was changed");
    }

private:
    testhost::GuardedBuffer m_buffer;
    Bytes m_copy;
};

// A block of the host that holds the source.
class SourceBlock {
public:
    explicit SourceBlock(const Bytes& bytes) : m_bytes(bytes), m_handle(testhost::MakeBlock(bytes)) {}
    void* handle() const { return m_handle; }
    void RequireUnchanged() const {
        Require(testhost::IsLive(m_handle), "the source was freed");
        Require(testhost::LockCount(m_handle) == 0, "the source stays locked");
        Require(m_bytes.empty() || std::memcmp(testhost::Address(m_handle), m_bytes.data(), m_bytes.size()) == 0,
                "the source was changed");
    }

private:
    const Bytes& m_bytes;
    void* m_handle;
};

inline unsigned U16At(const Bytes& bytes, std::size_t at) {
    return at + 2 <= bytes.size() ? dibprep::LoadU16(&bytes[at]) : 0u;
}
inline std::uint32_t U32At(const Bytes& bytes, std::size_t at) {
    return at + 4 <= bytes.size() ? dibprep::LoadU32(&bytes[at]) : 0;
}
inline int I32At(const Bytes& bytes, std::size_t at) { return static_cast<int>(U32At(bytes, at)); }

// A length that nobody promises, with room for sums above it.
constexpr std::uint64_t BeyondPromise = std::uint64_t{1} << 48;

// Bytes of all rows, whatever the signs.
inline std::uint64_t RowsBytes(std::int64_t width, std::int64_t height, unsigned bits) {
    const auto w = static_cast<std::uint64_t>(width < 0 ? -width : width);
    const auto h = static_cast<std::uint64_t>(height < 0 ? -height : height);
    const std::uint64_t row = (w * bits + 31) / 32 * 4; // below 2^45
    return h != 0 && row > MostPromised / h ? BeyondPromise : row * h;
}

// A header with the masks that may follow it; a DIB at an address has no less.
constexpr std::size_t ShortestDib = 52;

// Brings a DIB to the length that a caller by address promises, which is worked out from its header.
// False where that is too long to be worth it. What is missing repeats the input, so that tables and
// rows are not all black.
template <typename Rule>
bool Promise(Bytes& dib, Rule rule) {
    if (dib.size() < ShortestDib)
        dib.resize(ShortestDib);
    const std::uint64_t length = rule(dib);
    if (length > MostPromised)
        return false;
    const std::size_t before = dib.size();
    dib.resize(static_cast<std::size_t>(length));
    for (std::size_t at = before; at < dib.size(); at += before)
        std::copy_n(dib.begin(), std::min(before, dib.size() - at), dib.begin() + static_cast<std::ptrdiff_t>(at));
    return true;
}

// The bytes that the DIB utilities trust to be there: header, colour table, masks of a bit-field DIB,
// rows; and for run lengths 258 more behind those that the header counts.
std::uint64_t PromisedToUtilities(const Bytes& dib);
// The same by the rules of the quantiser and the resampler, which read longer headers than 40 bytes too.
std::uint64_t PromisedToQuantiser(const Bytes& dib);
std::uint64_t PromisedToResampler(const Bytes& dib);

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
