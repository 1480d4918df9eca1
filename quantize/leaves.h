// The leaves that a picture gives an octree of depth 5, in the tree's order, without the tree.
#pragma once

#include "dibprep/quantize.h"
#include "quantize/kernels.h"
#include "quantize/scratch.h"

#include <cstdint>

namespace dibprep {

// The pixels of a cell of 8 x 8 x 8 colours and the sums of their channels, modulo 2^32.
struct Leaf {
    std::uint32_t path; // from the root, three bits a level: its place among 32768
    std::uint32_t pixels;
    std::uint32_t red;
    std::uint32_t green;
    std::uint32_t blue;
};

class Leaves {
public:
    // Of a picture of plain rows of 24 bits.
    Leaves(const CNiGoRo2& quantiser, const QuantizeKernels& kernels);

    // False without memory.
    explicit operator bool() const { return m_usable; }

    int Count() const { return m_count; }
    const Leaf& operator[](int i) const { return m_leaves[static_cast<std::size_t>(i)]; }

private:
    void Sort(const CNiGoRo2& quantiser, const QuantizeKernels& kernels);
    void Count(const CNiGoRo2& quantiser, const QuantizeKernels& kernels);

    std::uint64_t m_pixels;
    Scratch<Leaf> m_leaves;
    int m_count = 0;
    bool m_usable = false;
};

} // namespace dibprep
