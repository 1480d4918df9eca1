// The gray image classes.
#include "dibprep/image.h"
#include "image/rectangle.h"

CGrayImage::CGrayImage() = default;
CGray16Image::CGray16Image() = default;
CGray256Image::CGray256Image() = default;

// Pixels of 16 grays share bytes, and this class gives no access to them: reads answer 0 and
// drawing changes nothing.
unsigned char CGray16Image::GetGrayScale(unsigned char*, unsigned short) { return 0; }

unsigned char CGray16Image::GetGrayScale(unsigned short, unsigned short) { return 0; }

void CGray16Image::Draw(unsigned short, unsigned short, unsigned char) {}

// Visits the rectangle all the same: a derived class may draw in its pixel operation.
void CGray16Image::Draw(CImgRect rect, unsigned char value) { dibprep::DrawRectangle(*this, rect, value); }

unsigned char CGray256Image::GetGrayScale(unsigned char* row, unsigned short x) { return row[x]; }

unsigned char CGray256Image::GetGrayScale(unsigned short x, unsigned short y) {
    return data[dibprep::RowOffset(*this, y) + x];
}

void CGray256Image::Draw(unsigned short x, unsigned short y, unsigned char value) {
    data[dibprep::RowOffset(*this, y) + x] = value;
}

void CGray256Image::Draw(CImgRect rect, unsigned char value) { dibprep::DrawRectangle(*this, rect, value); }
