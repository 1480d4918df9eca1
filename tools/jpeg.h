// JPEG files, through libjpeg-turbo.
#pragma once

#include "tools/formats.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace dibprep::tool {

bool LooksLikeJpeg(const std::vector<std::uint8_t>& head);
std::unique_ptr<PageReader> OpenJpeg(const InputFile& file, std::uint64_t maxPixels);
std::unique_ptr<PageWriter> CreateJpeg(OutputFile& file, const WriteOptions& options);

} // namespace dibprep::tool
