// Sound pages of every kind, and changes to their headers.
#pragma once

#include "tests/support/dib_builder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace hostile {

using testdib::Bytes;

// Pixels per metre of the pages below: 100 dpi, which is also what the entries are asked for, so that
// a page keeps its size.
constexpr int Ppm100 = 3937;
constexpr unsigned short Dpi = 100;

// A sound page of 8 x 8 pixels. Its kind is its depth, with c for a table of colours and g for grays:
// "1", "4c", "4g", "8c", "8g", "16", "24", "32".
Bytes Page(const std::string& kind, int width = 8, int height = 8);
extern const std::vector<std::string> Kinds;

// One change to a header: `bytes` (2 or 4) bytes at an offset.
struct Edit {
    std::size_t at;
    int bytes;
    std::uint32_t value;
};
Edit Size(std::uint32_t value);
Edit Width(std::uint32_t value);
Edit Height(std::uint32_t value);
Edit Planes(std::uint32_t value);
Edit Bits(std::uint32_t value);
Edit Compression(std::uint32_t value);
Edit ImageSize(std::uint32_t value);
Edit PpmX(std::uint32_t value);
Edit PpmY(std::uint32_t value);
Edit ColoursUsed(std::uint32_t value);
Bytes Edited(Bytes dib, const std::vector<Edit>& edits);

} // namespace hostile
