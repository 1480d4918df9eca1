// Pages into BMP files and bare DIBs.
#pragma once

#include "tools/formats.h"

#include <memory>

namespace dibprep::tool {

// One page as a BMP file whose header agrees with its colour table and its rows.
std::unique_ptr<PageWriter> CreateBmp(OutputFile& file, const WriteOptions& options);
// The same without the 14 bytes before it.
std::unique_ptr<PageWriter> CreateDib(OutputFile& file, const WriteOptions& options);

} // namespace dibprep::tool
