// Pages into BMP files.
#pragma once

#include "tools/output_file.h"
#include "tools/page.h"

namespace dibprep::tool {

// A BMP file whose header agrees with its colour table and its rows. Does not commit.
void WriteBmp(const Page& page, OutputFile& file);

} // namespace dibprep::tool
