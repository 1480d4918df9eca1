// Run-length streams that lead out of the picture or end early. Sources and results end at
// unreadable pages.
#include "tests/dib/dib_test.h"

using namespace dibtest;

namespace {

class RleMalformed : public DibTest {};

Bytes Rows8(int width, int height, const Bytes& stream) {
    const Bytes result = Take(RestoreRLE8(Block(MakeRleDib(width, height, 8, stream))));
    return Slice(result, 1064, result.size() - 1064);
}

Bytes Rows4(int width, int height, const Bytes& stream) {
    const Bytes result = Take(RestoreRLE4(Block(MakeRleDib(width, height, 4, stream))));
    return Slice(result, 104, result.size() - 104);
}

TEST_F(RleMalformed, RunThatBeginsOnTheLastRowIsCutAtItsEnd) {
    EXPECT_EQ(Rows8(3, 2, {0, 0, 255, 9}), (Bytes{0, 0, 0, 0, 9, 9, 9, 0}));
    EXPECT_EQ(Rows8(3, 1, {0, 5, 1, 2, 3, 4, 5, 0, 1, 7}), (Bytes{1, 2, 3, 0}));
}

TEST_F(RleMalformed, DeltaPastTheLastRowEndsTheDecoding) {
    EXPECT_EQ(Rows8(4, 2, {1, 1, 0, 2, 0, 2, 4, 9}), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Rows8(4, 2, {1, 1, 0, 2, 255, 255, 4, 9}), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Rows4(8, 2, {1, 0x10, 0, 2, 255, 255, 4, 0x99}), (Bytes{0x10, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(RleMalformed, DeltaPastTheRightEdgeTurnsAtTheNextPixel) {
    EXPECT_EQ(Rows8(4, 2, {0, 2, 255, 0, 2, 9}), (Bytes{0, 0, 0, 0, 9, 9, 0, 0}));
    EXPECT_EQ(Rows8(4, 2, {0, 2, 4, 0, 2, 9}), (Bytes{0, 0, 0, 0, 9, 9, 0, 0}));
}

TEST_F(RleMalformed, EndOfLineFarRightOfTheEdge) {
    EXPECT_EQ(Rows8(4, 2, {0, 2, 255, 0, 0, 2, 255, 0, 0, 0, 1, 9}), (Bytes{0, 0, 0, 0, 9, 0, 0, 0}));
}

TEST_F(RleMalformed, FourBitDeltaPastTheRightEdgeWritesIntoLaterRows) {
    // 3 pixels wide: column 8 is the first byte of the next row
    EXPECT_EQ(Rows4(3, 2, {0, 2, 8, 0, 2, 0x12}), (Bytes{0, 0, 0, 0, 0x12, 0, 0, 0}));
    EXPECT_EQ(Rows4(3, 2, {0, 2, 255, 0, 2, 0x12}), Bytes(8));
}

TEST_F(RleMalformed, DataEndsInsideEveryCode) {
    // The image-size field ends the stream inside the code; the operands behind it are still read.
    for (const Bytes& code : {Bytes{4, 9}, Bytes{0, 0}, Bytes{0, 1}, Bytes{0, 2, 1, 1}, Bytes{0, 4, 1, 2, 3, 4}}) {
        for (std::size_t counted = 1; counted <= code.size(); ++counted) {
            Bytes source = MakeRleDib(4, 2, 8, code);
            PutU32(source, 20, static_cast<std::uint32_t>(counted));
            Bytes whole = MakeRleDib(4, 2, 8, code);
            EXPECT_EQ(Take(RestoreRLE8(Block(source))), Take(RestoreRLE8(Block(whole))));
        }
    }
}

TEST_F(RleMalformed, TheLongestLiteralReadsNoFurtherThanPromised) {
    // It begins at the last counted byte: 256 bytes behind that one are read.
    Bytes source = MakeRleDib(300, 1, 8, {0}, 0);
    source.push_back(255);
    for (int i = 0; i < 255; ++i)
        source.push_back(static_cast<std::uint8_t>(i));
    const Bytes result = Take(RestoreRLE8(Block(source)));
    EXPECT_EQ(result[1064 + 254], 254);
    EXPECT_EQ(result[1064 + 255], 0);
}

TEST_F(RleMalformed, NoEndMark) {
    EXPECT_EQ(Rows8(4, 2, {4, 1, 4, 2}), (Bytes{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(Rows8(4, 2, {4, 1, 4, 2, 4, 3, 4, 4}), (Bytes{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(Rows8(4, 2, {2, 1}), (Bytes{1, 1, 0, 0, 0, 0, 0, 0}));
}

TEST_F(RleMalformed, LongStreamsOfDeltasDoNotComeBack) {
    // 255 columns each: the column and, for 4 bits, the position leave every 16-bit number.
    Bytes stream;
    for (int i = 0; i < 20000; ++i)
        stream.insert(stream.end(), {0, 2, 255, 0});
    EXPECT_EQ(Rows8(4, 2, Join(stream, {2, 9})), (Bytes{0, 0, 0, 0, 9, 9, 0, 0}));
    EXPECT_EQ(Rows4(8, 2, Join(stream, {2, 0x99})), Bytes(8));
    EXPECT_EQ(Rows8(4, 2, Join(stream, {0, 0, 2, 9})), (Bytes{0, 0, 0, 0, 9, 9, 0, 0}));
    // 255 / 2 * 20000 - 255 * 20000 / 2 + 4: far in front of the picture
    EXPECT_EQ(Rows4(8, 2, Join(stream, {0, 0, 200, 0x99})), Bytes(8));
}

// The same decoding pixel by pixel, with positions as keys.
struct Reference {
    int width, height;
    std::int64_t stride, x = 0, y = 0, out = 0;
    Bytes rows;

    Reference(int w, int h, int bits)
        : width(w), height(h), stride(static_cast<std::int64_t>(Stride(w, bits))),
          rows(Stride(w, bits) * static_cast<std::size_t>(h)) {}

    void Pixel8(std::uint8_t value) {
        if (x >= width) {
            out += stride - x;
            ++y;
            x = 0;
        }
        if (out >= 0 && out < static_cast<std::int64_t>(rows.size()))
            rows[static_cast<std::size_t>(out)] = value;
        ++out;
        ++x;
    }
    void Pixel4(std::uint8_t value) {
        const bool inside = out >= 0 && out < static_cast<std::int64_t>(rows.size());
        if (x % 2 == 0) {
            if (inside)
                rows[static_cast<std::size_t>(out)] |= static_cast<std::uint8_t>(value << 4);
        } else {
            if (inside)
                rows[static_cast<std::size_t>(out)] |= value;
            ++out;
        }
        ++x;
    }
};

Bytes Expand(int width, int height, int bits, const Bytes& data, std::int64_t counted) {
    Reference r(width, height, bits);
    const auto half = [&](std::int64_t n) { return bits == 4 ? n / 2 : n; };
    const auto draw = [&](std::uint8_t byte, bool second) {
        if (bits == 8)
            r.Pixel8(byte);
        else
            r.Pixel4(second ? byte & 15 : byte >> 4);
    };
    std::size_t at = 0;
    while (static_cast<std::int64_t>(at) < counted && r.y < height) {
        const int first = data.at(at);
        const int second = data.at(at + 1);
        at += 2;
        if (first > 0) {
            for (int i = 0; i < first; ++i)
                draw(static_cast<std::uint8_t>(second), i % 2 == 1);
        } else if (second == 0) {
            r.out += r.stride - half(r.x);
            ++r.y;
            r.x = 0;
        } else if (second == 1) {
            break;
        } else if (second == 2) {
            r.x += data.at(at);
            r.y += data.at(at + 1);
            r.out += data.at(at + 1) * r.stride + half(data.at(at));
            at += 2;
        } else {
            for (int i = 0; i < second; ++i)
                draw(data.at(at + static_cast<std::size_t>(half(i))), i % 2 == 1);
            const std::size_t bytes = static_cast<std::size_t>(half(second + (bits == 4 ? 1 : 0)));
            at += bytes + bytes % 2;
        }
    }
    return r.rows;
}

TEST_F(RleMalformed, RandomStreamsDecodeAsPixelByPixel) {
    for (std::uint64_t start = 1; start <= 3000; ++start) {
        testdib::Random random(start);
        const int bits = random.OneIn(2) ? 8 : 4;
        const int width = random.Range(1, random.OneIn(4) ? 300 : 20);
        const int height = random.Range(1, 12);
        Bytes stream(static_cast<std::size_t>(random.Range(0, 120)));
        for (std::uint8_t& byte : stream)
            byte = static_cast<std::uint8_t>(random.OneIn(3) ? 0 : random.Range(0, random.OneIn(4) ? 255 : 6));
        Bytes source = MakeRleDib(width, height, bits, stream);
        const auto counted = static_cast<std::uint32_t>(stream.size());
        const Bytes data = Slice(source, PixelsAt(bits), source.size() - PixelsAt(bits));
        Block dib(source);
        const Bytes result = Take(bits == 8 ? RestoreRLE8(dib) : RestoreRLE4(dib));
        ASSERT_EQ(Slice(result, PixelsAt(bits), result.size() - PixelsAt(bits)),
                  Expand(width, height, bits, data, counted))
            << "start value " << start;
        ASSERT_EQ(Slice(result, 40, PixelsAt(bits) - 40), Slice(source, 40, PixelsAt(bits) - 40));
        ASSERT_TRUE(dib.Unchanged());
    }
}

} // namespace
