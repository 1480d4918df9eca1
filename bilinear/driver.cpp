// The driver: from a block and a wanted resolution to the new size, and from a DIB and two
// rectangles to the kernel of its depth.
//
// Hosts give every sort of damaged header. A call is refused where it would divide by zero or read
// outside the DIB, at that place and not earlier, so that the answers before it stay as they are.
#include "bilinear/layout.h"
#include "bilinear/new_block.h"
#include "dibprep/bilinear.h"
#include "dibprep/entries.h"
#include "dibprep/host.h"

#include <algorithm>
#include <cstring>

using namespace dibprep;

namespace {

enum : unsigned short { StatusNoHandle = 1, StatusNotLocked = 2, StatusNoResolution = 3 };

using Kernel = int (CConvertResolution::*)(const _tagDIBPARAM&, const tagRECT*, const tagRECT*, _tagDIBPARAM&,
                                           int (*)(int, int));

Kernel KernelFor(int bits) {
    switch (bits) {
    case 1:
    case 4:
        return &CConvertResolution::BiLinearSmallBits;
    case 8:
        return &CConvertResolution::BiLinear8;
    case 16:
        return &CConvertResolution::BiLinear16;
    case 24:
        return &CConvertResolution::BiLinear24;
    case 32:
        return &CConvertResolution::BiLinear32;
    case 48:
        return &CConvertResolution::BiLinear48;
    case 64:
        return &CConvertResolution::BiLinear64;
    default:
        return nullptr;
    }
}

// Width or height of a rectangle, exact.
std::int64_t Extent(int from, int to) { return std::int64_t{to} - from; }

// Whether the kernels can take samples from the source for a target of this size: pixels that can
// be found, and positions that stay in 32 bits (see coord_table.cpp). A DIB that leaves 32 bits is
// refused in both widths alike.
bool CanBeSampled(const _tagDIBPARAM& source, std::int64_t targetWidth, std::int64_t targetHeight) {
    if (!source.pBits || source.nBitsOffset < 0)
        return false;
    const int largest = targetWidth > 1 && targetHeight > 1 ? 65536 : 65535;
    if (source.nWidth < 1 || source.nWidth > largest || source.nHeight < 1 || source.nHeight > largest)
        return false;
    const std::int64_t image = ImageBytes(source.nWidth, source.nHeight, source.nBitCount);
    return source.nBitsOffset + image <= std::numeric_limits<std::uint32_t>::max();
}

// Bytes of an uncompressed DIB from its header to its last row. Sizes of 0 or less have no rows
// here; they are refused later.
std::uint64_t DeclaredBytes(const unsigned char* dib) {
    const std::int64_t width = LoadI32(dib + AtWidth);
    const std::int64_t height = LoadI32(dib + AtHeight);
    const std::int64_t image = width > 0 && height > 0 ? ImageBytes(width, height, LoadU16(dib + AtBitCount)) : 0;
    return BitsOffset(dib) + static_cast<std::uint64_t>(image);
}

// Pixels at a new resolution: the product keeps 32 bits.
int Rescaled(int pixels, unsigned int wanted, int recorded) {
    return static_cast<int>(static_cast<std::uint32_t>(pixels) * wanted / static_cast<std::uint32_t>(recorded));
}

// Pixels at the finer of two resolutions, exact and truncated. What leaves 32 bits becomes the
// lowest number, which BiLinear refuses like every negative size.
int Stretched(int pixels, int finer, int recorded) {
    const std::int64_t exact = std::int64_t{pixels} * finer / recorded;
    const bool fits = exact <= std::numeric_limits<int>::max() && exact >= std::numeric_limits<int>::min();
    return fits ? static_cast<int>(exact) : std::numeric_limits<int>::min();
}

// What stands in each row behind the pixels.
void WhitenPadding(const _tagDIBPARAM& dib) {
    const int pixelBytes = dib.nWidth * dib.nBytesPerPixel;
    if (pixelBytes == dib.nLineBytes)
        return;
    unsigned char* row = dib.pBits;
    for (int y = 0; y < dib.nHeight; ++y, row += dib.nLineBytes)
        std::memset(row + pixelBytes, 0xFF, static_cast<std::size_t>(dib.nLineBytes - pixelBytes));
}

// A copy of a whole block, or null. Without a size there is nothing to make a copy of.
void* CopyOfBlock(void* handle) {
    const std::size_t bytes = GlobalSize(handle);
    if (bytes == 0)
        return nullptr;
    NewBlock copy(bytes);
    if (!copy)
        return nullptr;
    LockedBlock from(handle);
    LockedBlock to(copy.handle());
    if (!from || !to)
        return nullptr;
    std::memcpy(to.data(), from.data(), bytes);
    to.Unlock();
    from.Unlock();
    return copy.Release();
}

} // namespace

void* ConvertResolution2(void* hDib, unsigned int xRes, unsigned int yRes, unsigned short* pStatus) {
    if (!pStatus)
        return nullptr;
    if (!hDib) {
        *pStatus = StatusNoHandle;
        return nullptr;
    }
    CConvertResolution resampler;
    return resampler.ConvertResolution_(hDib, xRes, yRes, pStatus);
}

void* CConvertResolution::ConvertResolution_(void* hDib, unsigned int xRes, unsigned int yRes,
                                             unsigned short* pStatus) {
    if (!hDib || !pStatus)
        return nullptr;
    LockedBlock source(hDib);
    if (!source) {
        *pStatus = StatusNotLocked;
        return nullptr;
    }
    if (!source.Holds(InfoHeaderSize)) {
        m_nLastError = ErrorArgument;
        return nullptr;
    }
    const unsigned char* const dib = source.data();
    const int recordedX = LoadI32(dib + AtXPelsPerMeter);
    const int recordedY = LoadI32(dib + AtYPelsPerMeter);
    if (recordedX <= 0 || recordedY <= 0) {
        source.Unlock();
        *pStatus = StatusNoResolution;
        return CopyOfBlock(hDib);
    }
    // Compressed pictures of any size are BiLinear's to refuse.
    if (LoadU32(dib + AtCompression) == BI_RGB && !source.Holds(DeclaredBytes(dib))) {
        m_nLastError = ErrorArgument;
        return nullptr;
    }

    int width = LoadI32(dib + AtWidth);
    int height = LoadI32(dib + AtHeight);
    if (xRes != 0 && yRes != 0) {
        width = Rescaled(width, xRes, recordedX);
        height = Rescaled(height, yRes, recordedY);
    } else {
        // Square pixels at the finer of the two recorded resolutions.
        const int finer = std::max(recordedX, recordedY);
        width = Stretched(width, finer, recordedX);
        height = Stretched(height, finer, recordedY);
        xRes = yRes = static_cast<unsigned int>(finer);
    }

    const tagRECT whole = {0, 0, width, height};
    void* const result = BiLinear(dib, &whole, &whole, nullptr);
    if (!result)
        return nullptr;
    // A result that cannot be locked is good all the same: it goes out without its resolution.
    if (const LockedBlock made(result); made) {
        StoreU32(made.data() + AtXPelsPerMeter, xRes);
        StoreU32(made.data() + AtYPelsPerMeter, yRes);
    }
    return result;
}

void* CConvertResolution::BiLinear(const unsigned char* dib, const tagRECT* frame, const tagRECT* output,
                                   int (*progress)(int, int)) {
    const auto fail = [this](int error) {
        m_nLastError = error;
        return nullptr;
    };
    if (!dib || IsBadReadPtr(dib, InfoHeaderSize))
        return fail(ErrorArgument);
    if (LoadU16(dib + AtBitCount) == 0)
        return fail(ErrorArgument); // no pixels per byte
    _tagDIBPARAM source;
    SetDIBParam(dib, source);
    if (source.dwCompression != BI_RGB)
        return fail(ErrorCompressed);

    if (!frame || !output)
        return fail(ErrorArgument);
    // A frame without extent has no scale.
    const std::int64_t frameWidth = Extent(frame->left, frame->right);
    const std::int64_t frameHeight = Extent(frame->top, frame->bottom);
    const std::int64_t largest = std::numeric_limits<int>::max();
    if (frameWidth < 1 || frameWidth > largest || frameHeight < 1 || frameHeight > largest)
        return fail(ErrorArgument);
    tagRECT clip;
    SetRect(&clip, std::max(output->left, frame->left), std::max(output->top, frame->top),
            std::min(output->right, frame->right), std::min(output->bottom, frame->bottom));
    if (clip.left > clip.right || clip.top > clip.bottom)
        return fail(ErrorArgument);

    // The clip lies inside the frame: its differences are as safe. An empty one is a picture without
    // pixels, for which nothing is asked of the source.
    const int width = clip.right - clip.left;
    const int height = clip.bottom - clip.top;
    if (width > 0 && height > 0 && !CanBeSampled(source, frameWidth, frameHeight))
        return fail(ErrorArgument);

    tagBITMAPINFO info;
    ZeroMemory(&info, sizeof info);
    info.bmiHeader.biSize = InfoHeaderSize;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = static_cast<unsigned short>(std::max(source.nBitCount, 24));
    // A callback may look at rows that are not made yet. Without one nobody sees the white pixels, and
    // filling them would take as long as a third of the resampling.
    NewBlock block(NewDib(*this, &info, nullptr, !progress));
    if (!block)
        return fail(ErrorMemory);
    LockedBlock locked(block.handle());
    if (!locked)
        return fail(ErrorMemory);
    _tagDIBPARAM destination;
    SetDIBParam(locked.data(), destination);

    const Kernel kernel = KernelFor(source.nBitCount);
    if (!kernel)
        return fail(ErrorArgument);
    const int made = (this->*kernel)(source, frame, &clip, destination, progress);
    if (!progress)
        WhitenPadding(destination);
    locked.Unlock();
    return made != 0 ? block.Release() : nullptr;
}
