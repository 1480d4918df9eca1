// Reading and writing through a CBufTransfer: the one way that the size queries and the transform
// use. Memory accesses are checked against the size of the block, file accesses against the count.
#pragma once

#include "dibprep/transform.h"

#include <cstdint>

namespace dibprep {

enum TransferType : unsigned short { InertTransfer = 0, HandleTransfer = 1, FileTransfer = 2, PointerTransfer = 3 };

// The transfer types that a mode word asks for: a file wins over a memory handle.
TransferType SourceType(unsigned short mode);
TransferType DestinationType(unsigned short mode);

inline bool IsFile(const CBufTransfer& transfer) { return transfer.type == FileTransfer; }

// Whether a memory transfer has an address and its block holds the first `bytes` bytes. A plain
// pointer and a host that cannot tell a block's size are trusted.
bool Holds(const CBufTransfer& transfer, std::uint64_t bytes);

// Copies the next `bytes` bytes and advances the cursor. False when they cannot be had whole.
bool Read(CBufTransfer& transfer, void* buffer, std::uint32_t bytes);

// Writes `bytes` bytes at the cursor and advances it. False when they cannot be written whole. The
// caller has checked a memory destination with Holds.
bool Write(CBufTransfer& transfer, const void* buffer, std::uint32_t bytes);

// Moves the cursor of a file. Offsets beyond what SetFilePointer takes in one signed word are
// refused.
bool SeekFile(CBufTransfer& transfer, std::uint64_t offset);

} // namespace dibprep
