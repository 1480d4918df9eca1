// Expansion of run-length encoded DIBs.
//
// A stream can send the position anywhere. What it draws outside the pixel area is dropped, while
// column, row and output position go on in 64 bits, where no stream is long enough to make them
// wrap. Every code costs at most its 255 pixels, however far away they land.
#include "dib/layout.h"
#include "dib/rle8.h"

#include "dibprep/dib.h"
#include "dibprep/host.h"
#include "dibprep/memory.h"

#include <algorithm>
#include <cstring>

namespace dibprep {
namespace {

// 8 bits: runs go on in the next row when they reach the right edge.
class Canvas8 : public Canvas {
public:
    static constexpr unsigned BitCount = 8;
    static constexpr std::uint32_t Code = BI_RLE8;
    static constexpr unsigned LiteralBytes(unsigned count) { return count; }

    Canvas8(unsigned char* rows, int w, int h)
        : Canvas(rows, w, h, RowStride(w, BitCount)), m_drawPlain(PlainRle8For(CurrentTier())) {}

    void DrawAhead(RunLengthStream& stream) {
        if (m_drawPlain)
            m_drawPlain(*this, stream);
    }

    void Run(unsigned count, unsigned value) {
        Draw(count, [value](unsigned char* to, unsigned, std::size_t bytes) {
            std::memset(to, static_cast<int>(value), bytes);
        });
    }
    void Literal(unsigned count, const unsigned char* data) {
        Draw(count,
             [data](unsigned char* to, unsigned done, std::size_t bytes) { std::memcpy(to, data + done, bytes); });
    }
    void NewLine() {
        x = 0;
        ++y;
    }
    void Move(unsigned dx, unsigned dy) {
        x += dx;
        y += dy;
    }

private:
    template <class Put>
    void Draw(unsigned count, Put put) {
        for (unsigned done = 0; done < count;) {
            if (x >= width)
                NewLine();
            if (y >= height)
                return; // the rest lies below the last row, and decoding ends with this run
            const auto piece = static_cast<unsigned>(std::min<std::int64_t>(count - done, width - x));
            put(pixels + static_cast<std::size_t>(y * stride + x), done, piece);
            x += piece;
            done += piece;
        }
    }

    DrawPlainRle8 m_drawPlain;
};

// 4 bits: runs do not turn at the right edge but go on through the padding into the next row. The
// output position is kept beside the column, because a delta halves its own distance alone: an odd
// one from an odd column leaves the position a byte short. Both are decided behaviour.
class Canvas4 : public Canvas {
public:
    static constexpr unsigned BitCount = 4;
    static constexpr std::uint32_t Code = BI_RLE4;
    static constexpr unsigned LiteralBytes(unsigned count) { return (count + 1) / 2; }

    Canvas4(unsigned char* rows, int w, int h)
        : Canvas(rows, w, h, RowStride(w, BitCount)), m_area(static_cast<std::uint64_t>(stride * height)) {}

    void DrawAhead(RunLengthStream&) {}

    void Run(unsigned count, unsigned value) {
        const unsigned turned = (value << 4 | value >> 4) & 0xFF;
        const unsigned single = x % 2 != 0 ? 1 : 0;
        const unsigned whole = single ? turned : value;
        if (single)
            Put(value >> 4);
        PutPairs((count - single) / 2, [whole](unsigned) { return whole; });
        if ((count - single) % 2 != 0)
            Put(whole >> 4);
    }
    void Literal(unsigned count, const unsigned char* data) {
        if (x % 2 == 0) {
            PutPairs(count / 2, [data](unsigned i) { return unsigned{data[i]}; });
            if (count % 2 != 0)
                Put(data[count / 2] >> 4);
            return;
        }
        Put(data[0] >> 4);
        PutPairs((count - 1) / 2, [data](unsigned i) { return (data[i] & 0x0Fu) << 4 | data[i + 1] >> 4; });
        if (count % 2 == 0)
            Put(data[count / 2 - 1] & 0x0F);
    }
    void NewLine() {
        m_out += stride - x / 2;
        x = 0;
        ++y;
    }
    void Move(unsigned dx, unsigned dy) {
        x += dx;
        y += dy;
        m_out += dy * stride + dx / 2;
    }

private:
    // Pixels are ORed in: the rows start out zero.
    void Put(unsigned nibble) {
        const bool odd = x % 2 != 0;
        // The position can fall below 0 as well: as an unsigned number it is then large.
        if (static_cast<std::uint64_t>(m_out) < m_area) {
            unsigned char& byte = pixels[static_cast<std::size_t>(m_out)];
            byte = static_cast<unsigned char>(byte | (odd ? nibble : nibble << 4));
        }
        m_out += odd ? 1 : 0;
        ++x;
    }

    // Two pixels a byte, from an even column on.
    template <class Pair>
    void PutPairs(unsigned count, Pair pair) {
        const auto area = static_cast<std::int64_t>(m_area);
        const auto first = static_cast<unsigned>(std::clamp<std::int64_t>(-m_out, 0, count));
        const auto end = static_cast<unsigned>(std::clamp<std::int64_t>(area - m_out, 0, count));
        if (first < end) {
            unsigned char* const to = pixels + static_cast<std::ptrdiff_t>(m_out + first);
            for (unsigned i = first; i < end; ++i)
                to[i - first] = static_cast<unsigned char>(to[i - first] | pair(i));
        }
        m_out += count;
        x += 2 * std::int64_t{count};
    }

    std::uint64_t m_area;
    std::int64_t m_out = 0;
};

// The last code may begin at the last counted byte: its operands and literal pixels are read past
// the image-size field, where the caller keeps readable bytes.
template <class C>
void Decode(unsigned char* dib, C& canvas) {
    RunLengthStream stream = {DIBBits(dib), LoadI32(dib + AtSizeImage)};
    while (stream.left > 0 && canvas.y < canvas.height) {
        canvas.DrawAhead(stream);
        if (stream.left <= 0)
            return;
        const unsigned char* const at = stream.at;
        const unsigned first = at[0];
        const unsigned second = at[1];
        unsigned taken = 2;
        if (first != 0) {
            canvas.Run(first, second);
        } else if (second == EndOfLine) {
            canvas.NewLine();
        } else if (second == EndOfBitmap) {
            return;
        } else if (second == Delta) {
            canvas.Move(at[2], at[3]);
            taken = 4;
        } else {
            canvas.Literal(second, at + 2);
            const unsigned bytes = C::LiteralBytes(second);
            taken += bytes + bytes % 2;
        }
        stream.at += taken;
        stream.left -= taken;
    }
}

// The colours of dib, as far as the new block reaches: one with a negative height can be shorter
// than its table.
void CopyColors(unsigned char* dib, unsigned char* result, std::uint64_t size) {
    if (size >= BitsOffset(result)) {
        CopyColorTable(dib, result);
        return;
    }
    const std::uint64_t room = (size - InfoHeaderSize) / sizeof(tagRGBQUAD);
    const std::uint64_t count = std::min<std::uint64_t>(room, DIBNumColors(dib));
    CopyMemory(result + InfoHeaderSize, dib + InfoHeaderSize, static_cast<std::size_t>(count * sizeof(tagRGBQUAD)));
}

template <class C>
void* Restore(unsigned char* dib) {
    if (!HasInfoHeader(dib) || Compression(dib) != C::Code || DIBBitCount(dib) != C::BitCount)
        return nullptr;
    const int width = DIBWidth(dib);
    const int height = DIBHeight(dib);
    if (width < 0)
        return nullptr;
    const auto unsignedWidth = static_cast<unsigned>(width);
    const auto unsignedHeight = static_cast<unsigned>(height);
    CHandle result(CreateDIB(unsignedWidth, unsignedHeight, C::BitCount));
    if (result.IsEmpty())
        return nullptr;
    unsigned char* const out = result;
    if (!out)
        return nullptr;
    CopyColors(dib, out, NewDibSize(unsignedWidth, unsignedHeight, C::BitCount));
    // A negative height has no row to draw into: nothing is decoded.
    if (height > 0) {
        C canvas(DIBBits(out), width, height);
        Decode(dib, canvas);
    }
    result.UnLock();
    return result.GetHandle();
}

} // namespace

DrawPlainRle8 PlainRle8For(Tier tier) {
    switch (tier) {
    case Tier::Avx512:
    case Tier::Avx2:
        return DrawPlainRle8Avx2;
    case Tier::Ssse3:
        return DrawPlainRle8Ssse3;
    case Tier::Sse2:
        return DrawPlainRle8Sse2;
    default:
        return nullptr;
    }
}

} // namespace dibprep

using namespace dibprep;

void* RestoreRLE8(unsigned char* dib) { return Restore<Canvas8>(dib); }

void* RestoreRLE4(unsigned char* dib) { return Restore<Canvas4>(dib); }

void* RestoreRLE(unsigned char* dib) {
    if (!HasInfoHeader(dib))
        return nullptr;
    const std::uint32_t compression = Compression(dib);
    switch (DIBBitCount(dib)) {
    case 8:
        return compression == BI_RLE8 ? RestoreRLE8(dib) : nullptr;
    case 4:
        // Run-length DIBs of 4 bits are refused here by decision, and RestoreRLE4 refuses every
        // other one: callers that want them expanded call RestoreRLE4 themselves.
        return compression == BI_RLE4 ? nullptr : RestoreRLE4(dib);
    default:
        return nullptr;
    }
}
