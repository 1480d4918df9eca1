// PNM files: PBM, PGM and PPM, in digits or raw; several raw pictures may follow each other.
#pragma once

#include "tools/formats.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace dibprep::tool {

bool LooksLikePnm(const std::vector<std::uint8_t>& head);
std::unique_ptr<PageReader> OpenPnm(const InputFile& file, std::uint64_t maxPixels);
// Raw PBM, PGM or PPM, by what each page is.
std::unique_ptr<PageWriter> CreatePnm(OutputFile& file, const WriteOptions& options);

} // namespace dibprep::tool
