// Pictures for the benchmarks: an A4 page of text, a photograph, and what is made of them. The same
// bytes everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

constexpr int PageWidth = 2480; // A4 at 300 dots per inch
constexpr int PageHeight = 3508;
constexpr int SmallPageWidth = 1653; // and at 200
constexpr int SmallPageHeight = 2338;

using Bytes = std::vector<std::uint8_t>;

// A packed DIB and where its parts lie. Rows are bottom-up in a DIB; other libraries take them as
// they come.
struct Dib {
    int width = 0;
    int height = 0;
    int bits = 0;
    std::size_t stride = 0;
    std::size_t offset = 0; // of the rows
    Bytes bytes;

    std::uint8_t* row(int y) { return bytes.data() + offset + static_cast<std::size_t>(y) * stride; }
    const std::uint8_t* row(int y) const { return bytes.data() + offset + static_cast<std::size_t>(y) * stride; }
};

// The rows are zero, a colour table is gray.
Dib EmptyDib(int width, int height, int bits, int dpi);

Dib TextPage(int width, int height, int dpi);   // 8 bits, gray
Dib Photograph(int width, int height, int dpi); // 24 bits
Dib ColourPage(int width, int height, int dpi); // 24 bits: text, a photograph in the upper half
Dib WithoutColour(const Dib& gray, int dpi);    // 1 bit
Dib Deeper(const Dib& colour, int dpi);         // 32 bits
Dib Dithered(const Dib& colour, int dpi);       // 8 bits, table of 6 x 7 x 6 colours
Bytes RunLengthCoded(const Dib& dib);           // a whole DIB with BI_RLE8 rows

} // namespace bench
