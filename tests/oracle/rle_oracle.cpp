// See rle_oracle.h.
#include "tests/oracle/rle_oracle.h"

#include <algorithm>

namespace oracle {

namespace {

// A stream and the picture that it draws: where the stream stands, and the three things that move
// with the drawing.
struct Decoder {
    const Bytes& dib;
    Bytes& result;
    std::int64_t width, height, stride;
    std::int64_t first; // where the result's rows start
    std::int64_t x = 0, y = 0, out = 0;

    void Put(int value, bool merge = false) {
        if (out < 0 || out >= stride * height)
            return;
        std::uint8_t& byte = result.at(static_cast<std::size_t>(first + out));
        byte = static_cast<std::uint8_t>(merge ? byte | value : value);
    }

    void Draw8(int value) {
        if (x >= width)
            NextLine(x);
        Put(value);
        ++out;
        ++x;
    }

    void Draw4(int value) {
        Put(x % 2 == 0 ? value * 16 : value, true);
        if (x % 2 != 0)
            ++out;
        ++x;
    }

    void NextLine(std::int64_t bytesOfX) {
        out += stride - bytesOfX;
        ++y;
        x = 0;
    }
};

void Decode(Decoder& d, int bits) {
    const auto imageSize = static_cast<std::int64_t>(static_cast<std::int32_t>(testdib::U32(d.dib, 20)));
    const auto byte = [&](std::int64_t at) {
        return static_cast<int>(d.dib.at(static_cast<std::size_t>(at) + BitsOffset(d.dib)));
    };
    const int perByte = bits == 8 ? 1 : 2;
    std::int64_t at = 0;
    while (at < imageSize && d.y < d.height) {
        const int first = byte(at), second = byte(at + 1);
        if (first != 0) {
            for (int i = 0; i < first; ++i) {
                if (bits == 8)
                    d.Draw8(second);
                else
                    d.Draw4(i % 2 == 0 ? second / 16 : second % 16);
            }
            at += 2;
        } else if (second == 0) {
            d.NextLine(d.x / perByte);
            at += 2;
        } else if (second == 1) {
            return;
        } else if (second == 2) {
            const int dx = byte(at + 2), dy = byte(at + 3);
            d.x += dx;
            d.y += dy;
            d.out += dy * d.stride + dx / perByte;
            at += 4;
        } else {
            for (int i = 0; i < second; ++i) {
                const int value = byte(at + 2 + i / perByte);
                if (bits == 8)
                    d.Draw8(value);
                else
                    d.Draw4(i % 2 == 0 ? value / 16 : value % 16);
            }
            const int data = (second + perByte - 1) / perByte;
            at += 2 + data + data % 2;
        }
    }
}

MaybeDib Expanded(const Bytes& dib, int bits) {
    const std::uint32_t compression = bits == 8 ? 1 : 2;
    if (!HasInfoHeader(dib) || testdib::U32(dib, 16) != compression || BitCount(dib) != static_cast<unsigned>(bits))
        return {};
    if (Width(dib) < 0)
        return {};
    MaybeDib result = NewDib(testdib::U32(dib, 4), testdib::U32(dib, 8), static_cast<unsigned>(bits));
    if (!result)
        return {};
    CopyColours(dib, *result);
    Decoder decoder{dib,
                    *result,
                    Width(dib),
                    Height(dib),
                    static_cast<std::int64_t>(testdib::Stride(Width(dib), bits)),
                    40 + (bits == 8 ? 1024 : 64)};
    Decode(decoder, bits);
    return result;
}

} // namespace

MaybeDib ExpandedRle8(const Bytes& dib) { return Expanded(dib, 8); }

MaybeDib ExpandedRle4(const Bytes& dib) { return Expanded(dib, 4); }

MaybeDib ExpandedRle(const Bytes& dib) {
    if (!HasInfoHeader(dib) || BitCount(dib) != 8 || testdib::U32(dib, 16) != 1)
        return {};
    return ExpandedRle8(dib);
}

Bytes EncodedRle(testdib::Random& random, const std::vector<std::uint8_t>& pixels, int width, int bits) {
    Bytes stream;
    const auto put = [&](int value) { stream.push_back(static_cast<std::uint8_t>(value)); };
    const int height = static_cast<int>(pixels.size()) / width;
    int y = 0, x = 0;
    while (y < height) {
        const std::uint8_t* row = pixels.data() + static_cast<std::ptrdiff_t>(y) * width;
        const int left = width - x;
        const bool empty = std::all_of(row + x, row + width, [](int v) { return v == 0; });
        if (left == 0 || (empty && random.OneIn(2))) {
            put(0);
            put(0);
            ++y;
            x = 0;
            continue;
        }
        int zeros = 0;
        while (zeros < left && zeros < 255 && row[x + zeros] == 0)
            ++zeros;
        // A step: for 4 bits an even one from an even column, so that the address stays in step.
        if (zeros > 0 && random.OneIn(3) && (bits == 8 || x % 2 == 0)) {
            const int dx = bits == 8 ? zeros : zeros / 2 * 2;
            put(0);
            put(2);
            put(dx);
            put(0);
            x += dx;
            if (dx > 0)
                continue;
        }
        if (left >= 3 && random.OneIn(2)) {
            const int count = random.Range(3, std::min(left, 255));
            put(0);
            put(count);
            const std::size_t before = stream.size();
            for (int i = 0; i < count; i += bits == 8 ? 1 : 2)
                put(bits == 8 ? row[x + i] : row[x + i] * 16 + (i + 1 < count ? row[x + i + 1] : random.Range(0, 15)));
            if ((stream.size() - before) % 2)
                put(random.Range(0, 255));
            x += count;
        } else {
            int count = 1;
            const auto same = [&](int i) { return row[x + i] == row[bits == 8 ? x : x + i % 2]; };
            while (count < left && count < 255 && (same(count) || (bits == 4 && count == 1)))
                ++count;
            put(count);
            put(bits == 8 ? row[x] : row[x] * 16 + (count > 1 ? row[x + 1] : random.Range(0, 15)));
            x += count;
        }
    }
    if (random.OneIn(2)) {
        put(0);
        put(1);
    }
    return stream;
}

} // namespace oracle
