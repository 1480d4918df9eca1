// Bringing DIBs to the normal form: bottom-up rows, no run-length compression.
#include "dib/layout.h"

#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "dibprep/memory.h"

#include <algorithm>
#include <limits>

namespace dibprep {
namespace {

constexpr std::uint64_t Unlimited = std::numeric_limits<std::uint64_t>::max();

// Bytes of a block that the expansion made, from its own header.
std::uint64_t ExpandedSize(unsigned char* dib) {
    return NewDibSize(static_cast<unsigned>(DIBWidth(dib)), static_cast<unsigned>(DIBHeight(dib)), DIBBitCount(dib));
}

// A bottom-up copy of the plain top-down DIB, of which `readable` bytes can be read. The colour
// table, masks and resolution stay behind by decision: a caller that needs them copies them.
void* Turn(unsigned char* dib, std::uint64_t readable) {
    const int width = DIBWidth(dib);
    const unsigned short bitCount = DIBBitCount(dib);
    const std::int64_t rows = -std::int64_t{DIBHeight(dib)};
    CHandle result(CreateDIB(static_cast<unsigned>(width), static_cast<unsigned>(rows), bitCount));
    if (result.IsEmpty())
        return nullptr;
    unsigned char* const out = result;
    if (!out)
        return nullptr;

    // Rows keep the source's length also where the new DIB has another depth (48 bits become 24);
    // what then lies beyond the new block is left out. A negative width has no bytes to copy.
    const std::int64_t stride = RowStride(width, bitCount);
    const std::uint64_t size = NewDibSize(static_cast<unsigned>(width), static_cast<unsigned>(rows), bitCount);
    if (stride > 0) {
        const auto rowBytes = static_cast<std::uint64_t>(stride);
        std::uint64_t to = BitsOffset(out);
        for (std::int64_t row = rows - 1; row >= 0 && to < size; --row, to += rowBytes) {
            const std::uint64_t from = BitsOffset(dib) + static_cast<std::uint64_t>(row) * rowBytes;
            if (from >= readable)
                continue;
            const std::uint64_t bytes = std::min({rowBytes, size - to, readable - from});
            CopyMemory(out + to, dib + from, static_cast<std::size_t>(bytes));
        }
    }
    result.UnLock();
    return result.GetHandle();
}

} // namespace
} // namespace dibprep

using namespace dibprep;

void* TopDownToBottomUp(unsigned char* dib) {
    if (DIBHeight(dib) >= 0)
        return nullptr;
    if (!IsRunLength(Compression(dib)))
        return Turn(dib, Unlimited);
    CHandle expanded(RestoreRLE(dib));
    if (expanded.IsEmpty())
        return nullptr;
    unsigned char* const plain = expanded;
    return plain ? Turn(plain, ExpandedSize(plain)) : nullptr;
}

void* NormalizeDIB(unsigned char* dib) {
    if (!HasInfoHeader(dib))
        return nullptr;
    if (!IsRunLength(Compression(dib)))
        return TopDownToBottomUp(dib);
    CHandle expanded(RestoreRLE(dib));
    if (expanded.IsEmpty())
        return nullptr;
    unsigned char* const plain = expanded;
    if (!plain)
        return nullptr;
    if (DIBHeight(dib) < 0)
        return Turn(plain, ExpandedSize(plain));
    expanded.UnLock();
    return expanded.GetHandle();
}
