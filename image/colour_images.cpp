// The colour image classes. All three hold three bytes per pixel, the 16- and 256-colour ones
// included: they are views of a buffer that has been brought to 24 bits, named for what it was.
#include "dibprep/image.h"
#include "image/rectangle.h"

#include <cstddef>

namespace {

constexpr std::size_t BytesPerPixel = 3;

tagRGBQUAD ReadTriple(const unsigned char* row, unsigned short x) {
    const unsigned char* const pixel = row + BytesPerPixel * x;
    return tagRGBQUAD{pixel[0], pixel[1], pixel[2], 0};
}

void WriteTriple(unsigned char* row, unsigned short x, tagRGBQUAD colour) {
    unsigned char* const pixel = row + BytesPerPixel * x;
    pixel[0] = colour.rgbBlue;
    pixel[1] = colour.rgbGreen;
    pixel[2] = colour.rgbRed;
}

} // namespace

CColorImage::CColorImage() = default;
CColor16Image::CColor16Image() = default;
CColor256Image::CColor256Image() = default;
CFullColorImage::CFullColorImage() = default;

// In each class, reading (x, y) goes through the virtual read of a row and takes y as a byte
// offset: a host passes the offset of its row there. Drawing takes y as a row number. The two
// differ by decision; hosts rely on both.

tagRGBQUAD CColor16Image::GetRGBQUAD(unsigned char* row, unsigned short x) { return ReadTriple(row, x); }

tagRGBQUAD CColor16Image::GetRGBQUAD(unsigned short x, unsigned short y) { return GetRGBQUAD(data + y, x); }

void CColor16Image::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
    WriteTriple(data + dibprep::RowOffset(*this, y), x, colour);
}

void CColor16Image::Draw(CImgRect rect, tagRGBQUAD colour) { dibprep::DrawRectangle(*this, rect, colour); }

tagRGBQUAD CColor256Image::GetRGBQUAD(unsigned char* row, unsigned short x) { return ReadTriple(row, x); }

tagRGBQUAD CColor256Image::GetRGBQUAD(unsigned short x, unsigned short y) { return GetRGBQUAD(data + y, x); }

void CColor256Image::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
    WriteTriple(data + dibprep::RowOffset(*this, y), x, colour);
}

void CColor256Image::Draw(CImgRect rect, tagRGBQUAD colour) { dibprep::DrawRectangle(*this, rect, colour); }

tagRGBQUAD CFullColorImage::GetRGBQUAD(unsigned char* row, unsigned short x) { return ReadTriple(row, x); }

tagRGBQUAD CFullColorImage::GetRGBQUAD(unsigned short x, unsigned short y) { return GetRGBQUAD(data + y, x); }

void CFullColorImage::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
    WriteTriple(data + dibprep::RowOffset(*this, y), x, colour);
}

void CFullColorImage::Draw(CImgRect rect, tagRGBQUAD colour) { dibprep::DrawRectangle(*this, rect, colour); }
