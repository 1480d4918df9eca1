// BMP files into pages.
#pragma once

#include "tools/bmp_header.h"
#include "tools/formats.h"
#include "tools/page.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace dibprep::tool {

// The one page of a BMP file or of a bare DIB.
std::unique_ptr<PageReader> OpenBmp(const InputFile& file, std::uint64_t maxPixels);

/*
 * The picture of a BMP file. 2 bits per pixel become 4; run lengths are expanded; rows stand from
 * the bottom up. A header that was read before may be handed in.
 */
Page ReadBmp(const InputFile& file, const BmpHeader& header);

/*
 * The picture as a packed DIB that keeps the order of its rows and its compression, with a full
 * colour table and without masks: what the library's own normalisation takes. Behind a run-length
 * stream lie 260 more bytes, because the last run may reach past the end. Not for 2, 48 and 64 bits.
 */
Block PackAsStored(const InputFile& file, const BmpHeader& header);

/*
 * Expands RLE8 or RLE4 into a zeroed page of 8 or 4 bits. Pixels that the stream steps over keep
 * index 0; what it draws outside the picture is dropped. 1 when the stream covers the picture or
 * says where it ends, 0 when it breaks off.
 */
bool ExpandRunLengths(const std::uint8_t* stream, std::size_t size, Page& page);

} // namespace dibprep::tool
