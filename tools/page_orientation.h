// Pages turned the way their file says they are to be looked at.
#pragma once

#include "tools/page.h"

namespace dibprep::tool {

/*
 * The orientation numbers of TIFF and Exif, 1 to 8: where the first row and the first column of the file
 * belong. 1 is upright; from 5 on rows become columns, and the two resolutions change places. Any other
 * number counts as 1.
 */
Page Upright(Page page, int orientation);
constexpr bool SwapsSides(int orientation) { return orientation >= 5 && orientation <= 8; }

} // namespace dibprep::tool
