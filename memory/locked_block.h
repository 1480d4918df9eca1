// A host's memory block, locked for a scope, with the size that the host reports.
#pragma once

#include "dibprep/host.h"

#include <cstdint>

namespace dibprep {

// GlobalAlloc's flags: movable and zero-filled, the only ones that the library uses.
constexpr unsigned int NewBlockFlags = 66;

class LockedBlock {
public:
    explicit LockedBlock(void* handle)
        : m_handle(handle), m_data(handle ? static_cast<unsigned char*>(GlobalLock(handle)) : nullptr) {}
    ~LockedBlock() { Unlock(); }
    LockedBlock(const LockedBlock&) = delete;
    LockedBlock& operator=(const LockedBlock&) = delete;

    void Unlock() {
        if (m_data)
            GlobalUnlock(m_handle);
        m_data = nullptr;
    }

    unsigned char* data() const { return m_data; }
    explicit operator bool() const { return m_data != nullptr; }

    // Whether the first `bytes` bytes lie inside the block. A host that cannot tell the size (0) is
    // trusted.
    bool Holds(std::uint64_t bytes) const {
        const std::uint64_t size = GlobalSize(m_handle);
        return size == 0 || bytes <= size;
    }

private:
    void* m_handle;
    unsigned char* m_data;
};

} // namespace dibprep
