// How many bytes a caller by address promises, worked out from the documents and apart from the
// library's own arithmetic.
#include "fuzz/fuzz_input.h"

#include <algorithm>

namespace fuzz {

namespace {

std::uint64_t DefaultEntries(unsigned bits) { return bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0; }

} // namespace

std::uint64_t PromisedToUtilities(const Bytes& dib) {
    const std::uint32_t headerSize = U32At(dib, 0);
    const std::uint32_t compression = U32At(dib, 16);
    if (headerSize != 40) {
        // The 12-byte form. Functions that look for compression and masks find them in the place of the
        // longer header, so that 40 bytes are there in any case.
        const unsigned bits = U16At(dib, 10);
        const std::uint64_t entries = DefaultEntries(bits);
        const std::uint64_t rows = RowsBytes(U16At(dib, 4), U16At(dib, 6), bits);
        return std::max({std::uint64_t{52}, 12 + entries * 3, headerSize + entries * 3 + rows});
    }
    const unsigned bits = U16At(dib, 14);
    const std::uint32_t used = U32At(dib, 32);
    // Counts keep 16 bits, and so do the bytes of a table.
    const std::uint64_t entries = used != 0 ? used & 0xFFFF : DefaultEntries(bits);
    const std::uint64_t table = entries * 4 & 0xFFFF;
    const bool runLengths = compression == 1 || compression == 2;
    const std::uint64_t masks = compression == 3 ? 12 : 0;
    const std::uint64_t pixels =
        runLengths ? std::max(0, I32At(dib, 20)) + std::uint64_t{258} : RowsBytes(I32At(dib, 4), I32At(dib, 8), bits);
    return std::max({40 + entries * 4, std::uint64_t{40 + 12}, 40 + table + masks + pixels});
}

// Rows of the 40-byte form's width, height and depth, whatever the compression says (the quantiser takes
// every one but bit fields for plain), behind a table that is counted by the header's own form.
std::uint64_t PromisedToQuantiser(const Bytes& dib) {
    const std::uint32_t headerSize = U32At(dib, 0);
    const std::uint64_t rows = RowsBytes(I32At(dib, 4), I32At(dib, 8), U16At(dib, 14));
    const std::uint32_t used = U32At(dib, 32);
    const std::uint64_t table = headerSize != 40 ? DefaultEntries(U16At(dib, 10)) * 3
                                : used != 0      ? std::uint64_t{used} * 4 & 0xFFFF
                                                 : DefaultEntries(U16At(dib, 14)) * 4;
    // A shorter header has no such fields.
    return std::max(PromisedToUtilities(dib), headerSize < 40 ? 0 : headerSize + table + rows);
}

std::uint64_t PromisedToResampler(const Bytes& dib) {
    const unsigned bits = U16At(dib, 14);
    const std::uint32_t used = U32At(dib, 32);
    const std::uint32_t table = used != 0 ? used * 4 : static_cast<std::uint32_t>(DefaultEntries(bits) * 4);
    const std::uint32_t offset = U32At(dib, 0) + table; // both wrap
    return std::max<std::uint64_t>(44, offset + RowsBytes(I32At(dib, 4), I32At(dib, 8), bits));
}

} // namespace fuzz
