// A fresh block of the host's memory, freed at the end of its scope unless it was released.
#pragma once

#include "dibprep/bilinear.h"
#include "memory/locked_block.h"

#include <cstddef>

namespace dibprep {

class NewBlock {
public:
    // Takes over a block made elsewhere; null is an empty object.
    explicit NewBlock(void* handle) : m_handle(handle) {}
    explicit NewBlock(std::size_t bytes) : m_handle(GlobalAlloc(NewBlockFlags, bytes)) {}
    ~NewBlock() {
        if (m_handle)
            GlobalFree(m_handle);
    }
    NewBlock(const NewBlock&) = delete;
    NewBlock& operator=(const NewBlock&) = delete;

    void* handle() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }

    // Gives the block to the caller.
    void* Release() {
        void* const handle = m_handle;
        m_handle = nullptr;
        return handle;
    }

private:
    void* m_handle;
};

// What CConvertResolution::CreateDIB does. Without `bits` the pixels are white; or, where `written` says
// that every one of them is written next, as they come.
void* NewDib(CConvertResolution& object, const tagBITMAPINFO* info, const void* bits, bool written);

} // namespace dibprep
