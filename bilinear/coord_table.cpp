// Sampling positions: the steps that a change of size implies, and the table of source columns.
//
// A position is a signed 32-bit number in 1/32768 of a source pixel: position >> 15 is the pixel,
// (position >> 5) & 0x3FF the weight of its neighbour in 1/1024. The low five bits only accumulate.
//
// No position leaves the source, for any clip inside the frame. Let n be the target size of an axis
// (at least 1) and N the source size (at least 1), and k = 0 ... n - 1 a target pixel; its position
// is k * step, and step is never negative:
//   - both targets above 1: step <= ((N - 1) << 15) / (n - 1), so k * step <= (N - 1) << 15. The
//     pixel is at most N - 1, and where it is N - 1 the weight is 0. N up to 65536 stays in 31 bits.
//   - otherwise: step <= (N << 15) / n, so k * step <= (N << 15) * (n - 1) / n < N << 15. The pixel
//     is at most N - 1 again; there its neighbour is itself. N up to 65535 stays in 31 bits.
// The one addition behind the last pixel may leave 31 bits; it wraps and nobody uses it.
#include "bilinear/layout.h"
#include "dibprep/bilinear.h"

#include <algorithm>
#include <new>

using namespace dibprep;

namespace {

// The largest count whose table stays below 2^31 bytes, a limit of both widths.
constexpr int LargestTable = 178956970;

// (pixels << 15) / target. The shifted value keeps its low 32 bits and its sign; the quotient
// truncates toward zero.
int Step(int pixels, int target) {
    const auto shifted = static_cast<std::int32_t>(static_cast<std::uint32_t>(pixels) << 15);
    return static_cast<std::int32_t>(std::int64_t{shifted} / target);
}

} // namespace

tagSIZE CConvertResolution::GetCoordUnit(const _tagDIBPARAM& source, const tagSIZE& target) {
    if (target.cx == 0 || target.cy == 0) {
        m_nLastError = ErrorArgument;
        return {0, 0};
    }
    // Corners aligned: the outermost target pixels take the outermost source pixels.
    if (target.cx > 1 && target.cy > 1)
        return {Step(WrapSubtract(source.nWidth, 1), target.cx - 1),
                Step(WrapSubtract(source.nHeight, 1), target.cy - 1)};
    // One target pixel has no second corner. Both axes change their rule together.
    return {Step(source.nWidth, target.cx), Step(source.nHeight, target.cy)};
}

_tagCOORDENTRY* CConvertResolution::GetCoordTable(const _tagDIBPARAM& source, int start, int step, int count) {
    _tagCOORDENTRY* const table = count >= 0 && count <= LargestTable
                                      ? new (std::nothrow) _tagCOORDENTRY[static_cast<std::size_t>(count)]
                                      : nullptr;
    if (!table) {
        m_nLastError = ErrorMemory;
        return nullptr;
    }
    // Offsets are bytes; below 8 bits per pixel they are columns, which the kernel takes apart.
    const int unit = std::max(source.nBitCount >> 3, 1);
    std::int32_t position = WrapMultiply(start, step);
    for (int x = 0; x < count; ++x) {
        const int left = position >> 15;
        const int right = left + 1 < source.nWidth ? left + 1 : left;
        table[x] = {WrapMultiply(left, unit), WrapMultiply(right, unit), (position >> 5) & 0x3FF};
        position = WrapAdd(position, step);
    }
    return table;
}
