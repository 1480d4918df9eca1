// Reading and writing through a CBufTransfer.
#include "transform/transfer_io.h"

#include "dibprep/host.h"

#include <cstring>

namespace dibprep {

namespace {

constexpr unsigned int FromStart = 0;
constexpr unsigned int FromCurrent = 1;
constexpr unsigned int SeekFailed = 0xFFFFFFFFu;
constexpr std::uint64_t LargestSeek = 0x7FFFFFFF;

void TakeFilePosition(CBufTransfer& transfer) {
    transfer.position = SetFilePointer(transfer.handle, 0, nullptr, FromCurrent);
}

} // namespace

TransferType SourceType(unsigned short mode) {
    if (mode & TRANSFER_SOURCE_FILE)
        return FileTransfer;
    return mode & TRANSFER_SOURCE_MEMORY ? HandleTransfer : InertTransfer;
}

TransferType DestinationType(unsigned short mode) {
    if (mode & TRANSFER_DESTINATION_FILE)
        return FileTransfer;
    return mode & TRANSFER_DESTINATION_MEMORY ? HandleTransfer : InertTransfer;
}

bool Holds(const CBufTransfer& transfer, std::uint64_t bytes) {
    if (!transfer.data)
        return false;
    if (transfer.type != HandleTransfer)
        return true;
    const std::uint64_t size = GlobalSize(transfer.handle);
    return size == 0 || bytes <= size;
}

bool Read(CBufTransfer& transfer, void* buffer, std::uint32_t bytes) {
    if (IsFile(transfer)) {
        unsigned int done = 0;
        if (!transfer.handle || !ReadFile(transfer.handle, buffer, bytes, &done, nullptr) || done != bytes)
            return false;
        TakeFilePosition(transfer);
        return true;
    }
    if (!Holds(transfer, static_cast<std::uint64_t>(transfer.position) + bytes))
        return false;
    if (bytes > 0) // a row of no bytes needs no buffer
        std::memcpy(buffer, transfer.data + transfer.position, bytes);
    transfer.position += bytes;
    return true;
}

bool Write(CBufTransfer& transfer, const void* buffer, std::uint32_t bytes) {
    if (IsFile(transfer)) {
        unsigned int done = 0;
        if (!transfer.handle || !WriteFile(transfer.handle, buffer, bytes, &done, nullptr) || done != bytes)
            return false;
        TakeFilePosition(transfer);
        return true;
    }
    std::memcpy(transfer.data + transfer.position, buffer, bytes);
    transfer.position += bytes;
    return true;
}

bool SeekFile(CBufTransfer& transfer, std::uint64_t offset) {
    if (!transfer.handle || offset > LargestSeek)
        return false;
    return SetFilePointer(transfer.handle, static_cast<int>(offset), nullptr, FromStart) != SeekFailed;
}

} // namespace dibprep
