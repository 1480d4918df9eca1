// How many colours a page uses.
#include "tools/page_colours.h"

#include "memory/unaligned.h"
#include "tools/page_convert.h"
#include "tools/progress.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace dibprep::tool {

namespace {

constexpr std::size_t Batch = std::size_t{1} << 22;

void KeepDifferent(std::vector<std::uint64_t>& colours) {
    std::sort(colours.begin(), colours.end());
    colours.erase(std::unique(colours.begin(), colours.end()), colours.end());
}

// 16 bits per channel: too many colours for a table of all. Sorted whenever the list has doubled.
std::uint64_t CountWords(const Page& page) {
    const int step = page.Bits() / 8;
    std::vector<std::uint64_t> colours;
    std::size_t limit = Batch;
    for (int y = 0; y < page.Height(); ++y) {
        ThrowIfStopped();
        const unsigned char* pixel = page.StoredRow(y);
        for (int x = 0; x < page.Width(); ++x, pixel += step)
            colours.push_back(LoadU16(pixel) | std::uint64_t{LoadU16(pixel + 2)} << 16 |
                              std::uint64_t{LoadU16(pixel + 4)} << 32);
        if (colours.size() >= limit) {
            KeepDifferent(colours);
            limit = std::max(Batch, 2 * colours.size());
        }
    }
    KeepDifferent(colours);
    return colours.size();
}

} // namespace

std::uint64_t ColoursInUse(const Page& page) {
    if (page.Bits() > 32)
        return CountWords(page);
    std::vector<bool> seen(std::size_t{1} << 24);
    std::uint64_t count = 0;
    const auto note = [&](std::uint32_t colour) {
        count += seen[colour] ? 0 : 1;
        seen[colour] = true;
    };
    if (page.Bits() <= 8) {
        std::array<bool, 256> used = {};
        for (int y = 0; y < page.Height(); ++y)
            for (int x = 0; x < page.Width(); ++x)
                used[page.IndexAt(page.StoredRow(y), x)] = true;
        for (unsigned i = 0; i < FullTable(page.Bits()); ++i) {
            const tagRGBQUAD colour = page.Colour(i);
            if (used[i])
                note(static_cast<std::uint32_t>(colour.rgbRed << 16 | colour.rgbGreen << 8 | colour.rgbBlue));
        }
        return count;
    }
    std::optional<Page> own;
    if (page.Bits() == 16 || !HasPlainLayout(page))
        own = Plain32Copy(page);
    const Page& plain = own ? *own : page;
    const int step = plain.Bits() / 8;
    for (int y = 0; y < plain.Height(); ++y) {
        ThrowIfStopped();
        const unsigned char* pixel = plain.StoredRow(y);
        for (int x = 0; x < plain.Width(); ++x, pixel += step)
            note(static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
    }
    return count;
}

} // namespace dibprep::tool
