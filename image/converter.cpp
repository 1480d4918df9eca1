// CImgConverter: sizes and result blocks for an 8-bit gray or a 24-bit copy of an image. The step
// that would fill them is not carried out; hosts get the zeroed block.
#include "dibprep/image.h"

#include "dibprep/host.h"
#include "memory/header_fields.h"
#include "memory/locked_block.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr std::int64_t GrayTableSize = 256 * sizeof(tagRGBQUAD);

// What a size that leaves 32 bits is reported as. No image has it: real sizes are multiples of 4.
constexpr unsigned int SizeTooLarge = 0xFFFFFFFF;

// The header may stand at any address.
const unsigned char* Field(const tagBITMAPINFOHEADER* header, std::size_t offset) {
    return reinterpret_cast<const unsigned char*>(header) + offset;
}

int BitCount(const tagBITMAPINFOHEADER* header) {
    return header ? dibprep::LoadU16(Field(header, dibprep::AtBitCount)) : 0;
}

// Bytes of a bottom-up DIB of the header's width and height at another depth. Rows are kept to 16
// bits, so pages wider than that give a smaller size; a negative height counts as it stands and
// lowers the size. Worked out in 64 bits, so nothing wraps; what does not fit 32 bits unsigned is
// SizeTooLarge.
unsigned int ImageSize(const tagBITMAPINFOHEADER* header, int bitsPerPixel, std::int64_t bytesBeforeRows) {
    if (!header)
        return 0;
    const std::int64_t width = dibprep::LoadI32(Field(header, dibprep::AtWidth));
    const std::int64_t height = dibprep::LoadI32(Field(header, dibprep::AtHeight));
    const std::int64_t stride = ((width * bitsPerPixel + 7) / 8 + 3) & 0xFFFC;
    const std::int64_t size = stride * height + bytesBeforeRows;
    return size < 0 || size > SizeTooLarge ? SizeTooLarge : static_cast<unsigned int>(size);
}

// A new block of a size from ImageSize, 0 without one. A size that is none is not asked for, so
// that both widths answer alike.
void* NewBlock(unsigned int size) { return size == SizeTooLarge ? nullptr : GlobalAlloc(dibprep::NewBlockFlags, size); }

// Stands an image of the class over the source's pixels, where a conversion would read them. Its
// parameter fields stay 0.
template <class Image>
void OpenImage(void* source, unsigned char* bits) {
    const std::size_t blockSize = source ? GlobalSize(source) : 0;
    Image image;
    image.data = bits;
    image.size = static_cast<unsigned int>(std::min<std::size_t>(blockSize, 0xFFFFFFFF));
}

} // namespace

unsigned int CImgConverter::GetGray256ImageSize() {
    return ImageSize(header, 8, dibprep::InfoHeaderSize + GrayTableSize);
}

unsigned int CImgConverter::GetFullColorImageSize() { return ImageSize(header, 24, dibprep::InfoHeaderSize); }

// Takes the table to have all the entries of its depth, whatever the header says of colours used.
int CImgConverter::CheckColorMap(int& isGray) {
    const int bitCount = BitCount(header);
    if ((bitCount != 4 && bitCount != 8) || !colorTable)
        return 0;
    isGray = std::all_of(colorTable, colorTable + (1 << bitCount), dibprep::IsGray);
    return 1;
}

int CImgConverter::MakeGray256Image(void*& result) {
    result = nullptr;
    if (!header)
        return 0;
    result = NewBlock(GetGray256ImageSize());
    if (!result)
        return 0;

    // 1 bit and every depth not named here: nothing but the block.
    int isGray = 0;
    switch (BitCount(header)) {
    case 4:
        if (CheckColorMap(isGray))
            isGray ? OpenImage<CGray16Image>(source, bits) : OpenImage<CColor16Image>(source, bits);
        break;
    case 8:
        if (CheckColorMap(isGray))
            isGray ? OpenImage<CGray256Image>(source, bits) : OpenImage<CColor256Image>(source, bits);
        break;
    case 24:
        OpenImage<CFullColorImage>(source, bits);
        break;
    default:
        break;
    }
    return 0;
}

int CImgConverter::MakeFullColorImage(void*& result) {
    result = nullptr;
    if (!header)
        return 0;
    result = NewBlock(GetFullColorImageSize());
    if (!result)
        return 0;
    // CheckColorMap answers for 4 and 8 bits alone. What a conversion would do next with the answer
    // is not carried out.
    int isGray = 0;
    CheckColorMap(isGray);
    return 0;
}
