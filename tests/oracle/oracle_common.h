// What the slow second versions of the pipeline and the quantiser share: bytes, colours, and a model
// of the host's memory that only counts. Nothing here or beside it uses code of the library.
#pragma once

#include "tests/support/dib_builder.h"

#include <cstdint>

namespace oracle {

using testdib::Bytes;

// Blocks that the host would be asked for. The n-th one is refused (0: none), and so is every block
// above the limit of the test host.
class Memory {
public:
    explicit Memory(int refusedBlock = 0) : m_refusedBlock(refusedBlock) {}
    bool Ask(std::uint64_t bytes) { return ++m_asked != m_refusedBlock && bytes <= std::uint64_t{1} << 30; }
    int Asked() const { return m_asked; }

private:
    int m_refusedBlock;
    int m_asked = 0;
};

inline std::uint16_t Low16(std::uint64_t value) { return static_cast<std::uint16_t>(value & 0xFFFF); }

} // namespace oracle
