// The memory layer of the tests. It replaces GlobalAlloc and its kin for a whole test program:
// every block ends at an unreadable page (and may start at an odd address for it) or starts behind
// one, blocks and locks are counted, and the n-th allocation or lock fails on demand. Everything else
// (files, rectangles, colours, pens) is libdibhost's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace testhost {

// How GlobalSize answers. Rounding up holds for blocks made while it is set: they really have that
// many bytes, as a host's would.
enum class SizeAnswer { Exact, Unknown /* 0 */, RoundedUp /* to the next multiple of 16 */ };

// Frees every live block, forgets counters, settings and planned failures, answers sizes exactly.
// Here and in GlobalFree a block is looked at: bytes written beside it end the program.
void Reset();

// The n-th call from now on fails (1: the very next one); 0 takes the plan back.
void FailAllocation(int n);
void FailLock(int n);
// The n-th C++ allocation (any form of operator new) from now on fails. Does nothing under the
// address sanitizer: see CanFailNew.
void FailNew(int n);
bool CanFailNew();

// Calls since Reset or ResetCounters, failed ones included.
int Allocations();
int Locks();
int News();
void ResetCounters();

// Blocks not freed, and the sum of their lock counts.
int LiveBlocks();
int OutstandingLocks();
// Calls that named a handle that is none, unlocked an unlocked block, or allocated with flags other
// than 66. Asking GlobalFlags about a foreign handle is no fault, and handle 0 is counted apart.
int BadCalls();
int NullCalls();
// Blocks that were freed while they were locked.
int LockedFrees();
// All calls of the six functions, whatever they named.
int Calls();
// Bytes asked for by the last GlobalAlloc.
std::size_t LastAllocationSize();
// Bytes of all live blocks as asked for, and the most there were at once since Reset or ResetCounters.
std::size_t LiveBytes();
std::size_t PeakBytes();
// Refuse blocks of more than this many bytes (default 1 GiB).
void SetLargestBlock(std::size_t bytes);

void SetSizeAnswer(SizeAnswer answer);
// Whether an unlocked block gets a new address with every lock (off by default). Its old address
// becomes unreadable.
void SetMovingBlocks(bool moving);

// Which end of the blocks made from now on touches an unreadable page: Start shows reads in front of a
// block, which End shows only when they go far.
enum class Side { End, Start };
void SetGuardedSide(Side side);

// A new unlocked block holding these bytes. Neither counted as an allocation nor failed by a plan.
void* MakeBlock(const std::vector<std::uint8_t>& bytes);
// The bytes of a live block, without touching its lock count.
std::vector<std::uint8_t> Bytes(void* handle);
// Its address, without touching its lock count.
std::uint8_t* Address(void* handle);
std::size_t Size(void* handle);
int LockCount(void* handle);
bool IsLive(void* handle);

// Plain memory between two unreadable pages; the last byte touches the page behind it, or the first
// the page before it.
class GuardedBuffer {
public:
    using Side = testhost::Side;
    explicit GuardedBuffer(std::size_t bytes, Side side = Side::End);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    std::uint8_t* data() { return m_data; }
    std::size_t size() const { return m_size; }

private:
    std::uint8_t* m_data;
    std::size_t m_size;
    void* m_map;
    std::size_t m_mapSize;
};

} // namespace testhost
