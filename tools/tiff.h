// TIFF files, through libtiff.
#pragma once

#include "tools/formats.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace dibprep::tool {

bool LooksLikeTiff(const std::vector<std::uint8_t>& head);
std::unique_ptr<PageReader> OpenTiff(const InputFile& file, std::uint64_t maxPixels);
// 1-bit pages in black and white by Group 4, everything else by Deflate.
std::unique_ptr<PageWriter> CreateTiff(OutputFile& file, const WriteOptions& options);

} // namespace dibprep::tool
