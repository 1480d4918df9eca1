// How much memory the faster forms may take beside a picture.
#pragma once

#include <cstdint>

namespace dibprep {

// A row's plan takes some 50 to 150 bytes a pixel. That is little beside a page, and much beside one row of
// millions of pixels, which a stranger's page may ask for: beyond this the scalar forms, which need no
// plan, make the rows. Rows of 65535 pixels stay far below.
constexpr std::int64_t MostScratchBytes = std::int64_t{64} << 20;

} // namespace dibprep
