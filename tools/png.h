// PNG files, through libpng.
#pragma once

#include "tools/formats.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace dibprep::tool {

bool LooksLikePng(const std::vector<std::uint8_t>& head);
std::unique_ptr<PageReader> OpenPng(const InputFile& file, std::uint64_t maxPixels);
std::unique_ptr<PageWriter> CreatePng(OutputFile& file, const WriteOptions& options);

} // namespace dibprep::tool
