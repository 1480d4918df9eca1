// Where the samples of an output row stand in a source row of the fast road: the same for all rows.
#pragma once

#include "dibprep/transform.h"
#include "transform/row_kernels.h"
#include "transform/scratch.h"

#include <cstddef>
#include <cstdint>

namespace dibprep {

// The levels that a gray table gives the indices of an 8-bit picture.
struct GrayTable {
    std::uint8_t levels[256];
    bool own = false; // whether any level is not its index
};

struct SampleColumns {
    // Sizes and grays. False where rows are too narrow for the kernels' loads.
    bool Read(const CLinearTransformMem& engine);
    // Room for the places, then, with memory, the places.
    void Take(ScratchParts& scratch);
    void Fill(const CLinearTransformMem& engine);

    // Left and right samples of every channel side by side; `pairs` has room for two bytes more.
    void PutPairs(const RowKernels& kernels, const std::uint8_t* row, std::uint8_t* pairs) const;

    std::size_t pixels = 0;
    std::size_t perPixel = 0; // channels
    std::size_t channels = 0; // of a row
    std::size_t stride = 0;
    std::size_t rowBytes = 0;         // of the source pixels
    std::uint32_t* firsts = nullptr;  // a pixel: its left sample's byte
    std::uint32_t* seconds = nullptr; // its right sample's
    std::size_t safePixels = 0;       // those from which four bytes can be read at both samples
    GrayTable grays{};
};

} // namespace dibprep
