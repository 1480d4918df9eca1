// How many colours a page uses.
#pragma once

#include "tools/page.h"

#include <cstdint>

namespace dibprep::tool {

// Different colours among the pixels; alpha does not count. Table entries of the same colour are one.
std::uint64_t ColoursInUse(const Page& page);

} // namespace dibprep::tool
