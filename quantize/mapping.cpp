// The face of the quantiser: the object, QuantizeBitmap, and the mapping of every source pixel to the
// index of its nearest palette colour. No dithering.
#include "dib/layout.h"
#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "dibprep/quantize.h"
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/source_pixels.h"

#include <algorithm>

using namespace dibprep;

namespace {

// Small pictures and palettes are searched as a list: a cube would cost more than it saves.
constexpr int MostListPixels = 16384;
constexpr int MostListColours = 64;

constexpr std::uint32_t TableAt = sizeof(tagBITMAPINFOHEADER);

// Modes in which a host brings palette and search itself.
bool SuppressesPalette(unsigned int mode) { return mode == 666 || mode == 884 || mode == 775; }

// Width times height as a signed word that wraps, as the choice of the search is defined.
int WrappedProduct(int width, int height) {
    return static_cast<int>(static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height));
}

// Bytes of an output block's colour table that lie inside the block. Only the block of a top-down
// header can be short: its wrapped size may end inside the table.
std::size_t TableRoom(int width, int height, std::size_t table) {
    const std::uint64_t block = NewDibSize(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), 8);
    return static_cast<std::size_t>(std::min<std::uint64_t>(table, block - TableAt));
}

// A row mapper's inner loop: one index per pixel.
template <typename Pixel>
void MapRow(CNiGoRo2& quantiser, int width, unsigned char* target, Pixel pixel) {
    const auto nearest = quantiser.m_wLinear ? &CNiGoRo2::GetNearestColorIndexL : &CNiGoRo2::GetNearestColorIndexC;
    for (int x = 0; x < width; ++x) {
        const Rgb colour = pixel(x);
        target[x] = (quantiser.*nearest)(colour.r, colour.g, colour.b);
    }
}

// Maps rows into a target whose rows are padded to four bytes.
auto RowMapper(CNiGoRo2& quantiser, int width, unsigned char* target) {
    const std::size_t targetStride = SourceRowBytes(8, width);
    return [&quantiser, width, target, targetStride](int y, auto pixel) {
        MapRow(quantiser, width, target + static_cast<std::size_t>(y) * targetStride, pixel);
    };
}

} // namespace

void dibprep::ScalarMap16(CNiGoRo2& quantiser, const unsigned char* source, int width, int height,
                          unsigned char* target) {
    ForEachRowPlain16(source, height, SourceRowBytes(16, width), RowMapper(quantiser, width, target));
}

void dibprep::ScalarMap24(CNiGoRo2& quantiser, const unsigned char* source, int width, int height,
                          unsigned char* target) {
    ForEachRow24(source, height, SourceRowBytes(24, width), RowMapper(quantiser, width, target));
}

CNiGoRo2::CNiGoRo2(unsigned char* dib, unsigned short maxColors, unsigned short depth, int)
    : m_pCube(nullptr), m_wDepth(depth), m_pBits(nullptr), m_bih(), m_dwMaxColors(maxColors), m_Palette(),
      m_pDefaultColors(nullptr), m_nColors(0), m_dwDefaultColors(0), m_dwMode(0), m_wLinear(0) {
    // No picture at all is a header of zeros: nothing is made of it.
    if (dib) {
        CopyMemory(&m_bih, dib, sizeof m_bih);
        // For a bit-field source this is the address of its masks: their 12 bytes are taken as the
        // first pixels, by decision.
        m_pBits = DIBBits(dib);
    }
    InitSearchCube();
}

CNiGoRo2::~CNiGoRo2() {
    delete[] m_pCube;
    delete[] m_pDefaultColors;
    DeleteSearchCube();
}

void* CNiGoRo2::QuantizeBitmap(int, int) {
    if (!m_pCube && m_wDepth) {
        if (!InitOctree())
            return nullptr;
        InsertDefaultColors();
        FillTree();
        ReduceColors();
        unsigned int next = 0;
        CreateColorTableRec(0, next);
    }
    return Quantize();
}

void* CNiGoRo2::Quantize() {
    auto* const header = reinterpret_cast<unsigned char*>(&m_bih);
    const int width = DIBWidth(header);
    const int height = DIBHeight(header);
    CHandle output(CreateDIB(static_cast<unsigned int>(width), static_cast<unsigned int>(height), 8));
    unsigned char* const dib = output;
    if (!dib)
        return nullptr;

    if (!SuppressesPalette(m_dwMode)) {
        tagRGBQUAD table[MostRecords] = {};
        const bool linear = WrappedProduct(width, height) <= MostListPixels || m_nColors <= MostListColours;
        if (linear)
            BuildPalette(table);
        else
            BuildSearchCube(table);
        m_wLinear = linear ? 1 : 0;
        CopyMemory(dib + TableAt, table, TableRoom(width, height, sizeof table));
    }

    // A header of another form than the 40-byte one gives the output a size of its own (the core
    // header's fields). Pixels of such a source are not to be found: the output stays index 0.
    const bool sized = width == m_bih.biWidth && height == m_bih.biHeight;
    if (sized && width > 0 && height > 0) {
        unsigned char* const target = DIBBits(dib);
        switch (LayoutOf(m_bih)) {
        case Layout::Fields16:
            QuantizeBF16(reinterpret_cast<unsigned short*>(m_pBits), width, height, target, nullptr);
            break;
        case Layout::Fields32:
            QuantizeBF32(reinterpret_cast<unsigned int*>(m_pBits), width, height, target, nullptr);
            break;
        case Layout::Plain16:
            QuantizeBM16(reinterpret_cast<unsigned short*>(m_pBits), width, height, target, nullptr);
            break;
        case Layout::Plain24:
            QuantizeBM24(m_pBits, width, height, target, nullptr);
            break;
        default:
            break;
        }
    }
    output.UnLock();
    return output.GetHandle();
}

void CNiGoRo2::QuantizeBF16(unsigned short* source, int width, int height, unsigned char* target,
                            unsigned char (CNiGoRo2::*)(unsigned char, unsigned char, unsigned char)) {
    ForEachRow16(reinterpret_cast<unsigned char*>(source), height, SourceRowBytes(16, width), FieldDecoder(*this),
                 RowMapper(*this, width, target));
}

void CNiGoRo2::QuantizeBF32(unsigned int* source, int width, int height, unsigned char* target,
                            unsigned char (CNiGoRo2::*)(unsigned char, unsigned char, unsigned char)) {
    ForEachRow32(reinterpret_cast<unsigned char*>(source), height, SourceRowBytes(32, width), FieldDecoder(*this),
                 RowMapper(*this, width, target));
}

void CNiGoRo2::QuantizeBM16(unsigned short* source, int, int, unsigned char* target,
                            unsigned char (CNiGoRo2::*)(unsigned char, unsigned char, unsigned char)) {
    // Takes its bounds from the header instead of its arguments; Quantize has them equal.
    const auto* const bits = reinterpret_cast<const unsigned char*>(source);
    if (!FastMap16(*this, bits, m_bih.biWidth, m_bih.biHeight, target))
        ScalarMap16(*this, bits, m_bih.biWidth, m_bih.biHeight, target);
}

void CNiGoRo2::QuantizeBM24(unsigned char* source, int width, int height, unsigned char* target,
                            unsigned char (CNiGoRo2::*)(unsigned char, unsigned char, unsigned char)) {
    if (!FastMap24(*this, source, width, height, target))
        ScalarMap24(*this, source, width, height, target);
}
