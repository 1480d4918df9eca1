// The groundwork of the resampler: what a header says about its DIB, the parameter record that the
// kernels work from, and the making of the destination DIB.
#include "bilinear/layout.h"
#include "bilinear/new_block.h"
#include "dibprep/bilinear.h"
#include "dibprep/host.h"

#include <algorithm>

using namespace dibprep;

CConvertResolution::CConvertResolution() : m_nLastError(0) {}

CConvertResolution::~CConvertResolution() = default;

unsigned int CConvertResolution::GetPaletteSize(const void* header) {
    if (!header || IsBadReadPtr(header, ProbedHeaderSize)) {
        m_nLastError = ErrorArgument;
        return 0;
    }
    return TableBytes(static_cast<const unsigned char*>(header));
}

unsigned char* CConvertResolution::GetBitsTop(const unsigned char* header) {
    if (!header || IsBadReadPtr(header, ProbedHeaderSize)) {
        m_nLastError = ErrorArgument;
        return nullptr;
    }
    // Counted as an integer: what a damaged header says may point anywhere.
    return reinterpret_cast<unsigned char*>(reinterpret_cast<std::uintptr_t>(header) + BitsOffset(header));
}

unsigned char CConvertResolution::GetBitsMask(const _tagDIBPARAM& param) {
    return static_cast<unsigned char>((1u << std::clamp(param.nBitCount, 0, 8)) - 1);
}

void CConvertResolution::SetDIBParam(const unsigned char* dib, _tagDIBPARAM& param) {
    ZeroMemory(&param, sizeof param);
    if (!dib) {
        m_nLastError = ErrorArgument;
        return;
    }
    param.nWidth = LoadI32(dib + AtWidth);
    param.nHeight = LoadI32(dib + AtHeight);
    param.nBitCount = LoadU16(dib + AtBitCount);
    param.nLineBytes = (WrapAdd(WrapMultiply(param.nWidth, param.nBitCount), 31) >> 5) * 4;
    param.nBytesPerPixel = param.nBitCount >> 3;
    param.nChannels = param.nBitCount == 32 || param.nBitCount == 64 ? 4 : 3;
    param.nColors = LoadI32(dib + AtClrUsed);
    // Counts a table for every depth up to 8 bits, where GetPaletteSize knows 1, 4 and 8 only.
    if (param.nColors == 0 && param.nBitCount <= 8)
        param.nColors = 1 << param.nBitCount;
    param.dwCompression = LoadU32(dib + AtCompression);
    param.nBitsOffset = static_cast<std::int32_t>(LoadU32(dib + AtSize) + GetPaletteSize(dib));
    param.nImageSize = WrapMultiply(param.nLineBytes, param.nHeight);
    param.byMask = GetBitsMask(param);
    // A bit count of 0 has no pixels in any byte; BiLinear refuses it.
    param.nPixelsPerByte = param.nBitCount != 0 ? 8 / param.nBitCount : 0;
    param.pHeader = reinterpret_cast<const tagBITMAPINFOHEADER*>(dib);
    // The table follows a 40-byte header, while the pixels move with the size word.
    param.pColorTable = reinterpret_cast<const tagRGBQUAD*>(dib + InfoHeaderSize);
    param.pBits = GetBitsTop(dib);
}

void* CConvertResolution::CreateDIB(const tagBITMAPINFO* info, const void* bits) {
    const auto fail = [this](int error) {
        m_nLastError = error;
        return nullptr;
    };
    const auto* const header = reinterpret_cast<const unsigned char*>(info);
    if (!header || IsBadReadPtr(header, InfoHeaderSize))
        return fail(ErrorArgument);

    const std::uint32_t ownBytes = LoadU32(header + AtSize);
    const std::uint32_t headBytes = ownBytes + GetPaletteSize(header);
    if (IsBadReadPtr(header, headBytes))
        return fail(ErrorArgument);

    const std::int64_t imageBytes =
        ImageBytes(LoadI32(header + AtWidth), LoadI32(header + AtHeight), LoadU16(header + AtBitCount));
    // A size that leaves 32 bits never wraps to a small block, and is the same failure in both widths.
    const bool fits = imageBytes >= 0 && imageBytes + headBytes <= std::numeric_limits<std::uint32_t>::max();
    if (bits && (!fits || IsBadReadPtr(bits, static_cast<std::size_t>(imageBytes))))
        return fail(ErrorArgument);
    if (!fits)
        return fail(ErrorMemory);

    NewBlock block(headBytes + static_cast<std::size_t>(imageBytes));
    if (!block)
        return fail(ErrorMemory);
    LockedBlock locked(block.handle());
    if (!locked)
        return fail(ErrorMemory);

    // The colour table may have gone since the first look; the header alone is then enough.
    if (!IsBadReadPtr(header, headBytes))
        CopyMemory(locked.data(), header, headBytes);
    else if (!IsBadReadPtr(header, ownBytes))
        CopyMemory(locked.data(), header, ownBytes);
    else
        return fail(ErrorArgument);

    unsigned char* const pixels = locked.data() + headBytes;
    if (bits)
        CopyMemory(pixels, bits, static_cast<std::size_t>(imageBytes));
    else
        FillMemory(pixels, static_cast<std::size_t>(imageBytes), 0xFF); // white, row padding included
    locked.Unlock();
    return block.Release();
}
