// Scratch memory of the fast row road: one allocation, shared out in parts.
#pragma once

#include "memory/scratch_limit.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace dibprep {

// Used twice: the parts are taken once without memory, which only adds them up, then, after Open,
// again with it.
class ScratchParts {
public:
    // Zero-filled room for all that was taken so far. False when there is none, or not enough for so much.
    bool Open() {
        if (m_used > static_cast<std::uint64_t>(MostScratchBytes))
            return false;
        m_bytes.reset(static_cast<std::uint8_t*>(std::calloc(m_used + Alignment, 1)));
        m_used = 0;
        return m_bytes != nullptr;
    }

    // Null before Open.
    template <typename T>
    T* Take(std::size_t count) {
        const std::size_t at = m_used;
        m_used += (count * sizeof(T) + Alignment - 1) / Alignment * Alignment;
        if (!m_bytes)
            return nullptr;
        const auto base = reinterpret_cast<std::uintptr_t>(m_bytes.get());
        return reinterpret_cast<T*>(m_bytes.get() + (Alignment - base % Alignment) % Alignment + at);
    }

private:
    static constexpr std::size_t Alignment = 64; // a cache line

    // Not operator new, which hosts replace by functions that report every failure: this one is none,
    // the line builders work without it.
    struct Free {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };

    std::unique_ptr<std::uint8_t[], Free> m_bytes;
    std::size_t m_used = 0;
};

} // namespace dibprep
