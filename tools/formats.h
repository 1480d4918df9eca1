// The file formats that the tool reads and writes, found by content, never by a file's name.
#pragma once

#include "tools/input_file.h"
#include "tools/output_file.h"
#include "tools/page.h"

#include <cstdint>
#include <vector>

namespace dibprep::tool {

struct Format {
    const char* name;        // "BMP"
    const char* description; // "Windows bitmap (BMP)"
    bool (*recognise)(const std::vector<std::uint8_t>& head);
    Page (*read)(const InputFile& file, std::uint64_t maxPixels);
    void (*write)(const Page& page, OutputFile& file);
};

// The format of a file. Leaves with ExitBadInput, naming what was found, when none of ours fits.
const Format& FindFormat(const InputFile& file);

} // namespace dibprep::tool
