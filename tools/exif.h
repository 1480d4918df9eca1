// What the Exif data of a photograph say about the page: its orientation and its resolution.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dibprep::tool {

struct Exif {
    int orientation = 1;
    double x = 0; // 0: none
    double y = 0;
    bool perCentimetre = false;
};

// Reads the body of an APP1 marker. What is damaged or of another kind counts as not there.
Exif ReadExif(const std::uint8_t* marker, std::size_t size);

} // namespace dibprep::tool
