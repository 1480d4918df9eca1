// Pages turned the way their file says they are to be looked at.
#include "tools/page_orientation.h"

#include "tools/progress.h"

#include <algorithm>
#include <utility>

namespace dibprep::tool {

namespace {

void CopyPixel(const Page& from, const unsigned char* source, int sourceX, unsigned char* target, int x) {
    const int bits = from.Bits();
    if (bits >= 8) {
        const int bytes = bits / 8;
        std::copy_n(source + static_cast<std::size_t>(sourceX) * static_cast<unsigned>(bytes), bytes,
                    target + static_cast<std::size_t>(x) * static_cast<unsigned>(bytes));
        return;
    }
    const int perByte = 8 / bits;
    unsigned char& to = target[x / perByte];
    to = static_cast<unsigned char>(to | from.IndexAt(source, sourceX) << ((perByte - 1 - x % perByte) * bits));
}

} // namespace

Page Upright(Page page, int orientation) {
    if (orientation < 2 || orientation > 8)
        return page;
    const bool swaps = SwapsSides(orientation);
    // Seen from the file: its columns run from the right, its rows from below.
    const bool mirrored = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool upended = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const int width = swaps ? page.Height() : page.Width();
    const int height = swaps ? page.Width() : page.Height();
    Page result(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), page.Bits());
    for (int y = 0; y < height; ++y) {
        ThrowIfStopped();
        unsigned char* target = result.Row(y);
        for (int x = 0; x < width; ++x) {
            int column = swaps ? y : x;
            int row = swaps ? x : y;
            column = mirrored ? page.Width() - 1 - column : column;
            row = upended ? page.Height() - 1 - row : row;
            CopyPixel(page, page.Row(row), column, target, x);
        }
    }
    for (unsigned i = 0; i < FullTable(page.Bits()); ++i)
        result.SetColour(i, page.Colour(i));
    result.SetColours(page.Colours());
    result.SetMasks(page.Masks());
    result.SetFullRange(page.FullRange());
    result.SetResolution(swaps ? page.PixelsPerMetreY() : page.PixelsPerMetreX(),
                         swaps ? page.PixelsPerMetreX() : page.PixelsPerMetreY());
    return result;
}

} // namespace dibprep::tool
