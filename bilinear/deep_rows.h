// Makes the output rows of pictures with 16-bit channels in two stages, byte for byte as the scalar
// row kernels would. Holds nothing beyond the call.
//
// Two stages as with bytes (row_table.h), nothing dropped between them:
//     h = (1024 - fx) * s0 + fx * s1 + 2^25       across one source row
//     v = ((1024 - fy) * h0 + fy * h1) >> 20      down
// s is signed: the sum in h is within 2^25 of 0, and h is not negative and has 26 bits. The weights of v
// sum to 2^10: the 2^25 in h adds 2^35 to the sum, 2^15 to v after the shift, exactly, and is taken off
// again there. The sums of v have 36 bits: unsigned products of 32 bits in 64.
#pragma once

#include "bilinear/row.h"
#include "memory/x86/cpu_tier.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace dibprep {

// One output pixel: 1024 - fx and fx in a word each, and its left sample in the row. The right one
// follows.
struct DeepColumn {
    std::int32_t offset;
    std::int16_t weights[2];
};

// The lowest and the highest value of the four channels.
struct DeepLimits {
    std::int16_t lowest[4];
    std::int16_t highest[4];
};

// From a source row to h, four slots per pixel; `count` is even. `ahead` is the address of a row that is
// needed soon; nothing is read there.
using DeepAcrossKernel = void (*)(const DeepColumn* columns, int count, const unsigned char* row, std::uint32_t* mixed,
                                  std::uintptr_t ahead);
// From two rows of h to `count` pixels, and not a byte more.
using DeepDownKernel = void (*)(const std::uint32_t* upper, const std::uint32_t* lower, int fy,
                                const DeepLimits& limits, unsigned char* out, int count);

// Of 48 and of 64 bits; null: rows are made by the scalar kernels.
struct DeepTable {
    DeepAcrossKernel across[2];
    DeepDownKernel down[2];
};

const DeepTable& DeepRowsFor(Tier tier);

// What each tier of x86 puts into the table.
void AddSse2DeepRows(DeepTable& table);
void AddAvx2DeepRows(DeepTable& table);

class DeepRows {
public:
    // As FastRows: from the members of a task that all rows share.
    DeepRows(const DeepTable& table, const RowTask& task, bool keep);

    // Makes a row; or does nothing and answers false, and the scalar kernel makes it.
    bool Make(const RowTask& task);

    bool Active() const { return m_scratch != nullptr; }

private:
    const std::uint32_t* Mixed(const unsigned char* row, const unsigned char* other);

    struct MixedRow {
        const unsigned char* row;
        std::uint32_t* mixed;
    };

    const DeepTable& m_table;
    const _tagDIBPARAM& m_source;
    const int m_count;
    const bool m_keep;
    const std::size_t m_kind; // 0: 48 bits, 1: 64
    DeepColumn* m_columns = nullptr;
    MixedRow m_mixed[2] = {};
    std::unique_ptr<unsigned char[]> m_scratch;
};

} // namespace dibprep
