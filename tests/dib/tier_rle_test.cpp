// Drawing 8-bit run-length codes: each tier makes the bytes of the general decoder from every stream,
// well formed or not, and reads and writes inside the blocks.
#include "dib/rle8.h"
#include "tests/dib/tier_support.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace dibtest;
using testdib::Random;
using testhost::GuardedBuffer;

class RleTier : public DibTier {
protected:
    // The stream's DIB between unreadable pages, at either side.
    static void Compare(const Bytes& dib) {
        for (const auto side : {GuardedBuffer::Side::End, GuardedBuffer::Side::Start}) {
            GuardedBuffer source(dib.size(), side);
            std::copy(dib.begin(), dib.end(), source.data());
            const Bytes expected = Made(Tier::Scalar, [&] { return RestoreRLE8(source.data()); });
            ASSERT_FALSE(expected.empty());
            ASSERT_EQ(expected, Made(GetParam(), [&] { return RestoreRLE8(source.data()); }));
            ASSERT_TRUE(std::equal(dib.begin(), dib.end(), source.data()));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Every, RleTier, FastTiers(), NameOfTier);

void Append(Bytes& stream, std::initializer_list<int> bytes) {
    for (const int byte : bytes)
        stream.push_back(static_cast<std::uint8_t>(byte));
}

void AppendLiteral(Bytes& stream, int count, Random& random) {
    Append(stream, {0, count});
    for (int i = 0; i < count + count % 2; ++i)
        stream.push_back(static_cast<std::uint8_t>(random.Next()));
}

// Rows of runs and literals that end where the row ends.
Bytes PlainStream(int width, int height, int longest, Random& random) {
    Bytes stream;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width;) {
            const int count = std::min({random.Range(1, longest), width - x, 255});
            if (count >= 3 && random.OneIn(2))
                AppendLiteral(stream, count, random);
            else
                Append(stream, {count, random.Range(0, 255)});
            x += count;
        }
        Append(stream, {0, y + 1 < height ? 0 : 1});
    }
    return stream;
}

// Anything: codes that cross the edge, deltas, ends of lines too soon, and bytes out of order.
Bytes WildStream(Random& random) {
    Bytes stream;
    const int longest = random.OneIn(2) ? 255 : random.Range(1, 40);
    for (int codes = random.Range(0, 200); codes > 0; --codes) {
        switch (random.Range(0, 11)) {
        case 0:
            Append(stream, {0, 0});
            break;
        case 1:
            Append(stream, {0, 2, random.OneIn(2) ? 0 : random.Range(0, longest), random.OneIn(8) ? 1 : 0});
            break;
        case 2:
            if (random.OneIn(20))
                Append(stream, {0, 1});
            break;
        case 3:
            if (random.OneIn(10))
                Append(stream, {random.Range(0, 255)});
            break;
        case 4:
        case 5:
        case 6:
            AppendLiteral(stream, std::max(3, random.Range(1, longest)), random);
            break;
        default:
            Append(stream, {random.Range(1, longest), random.Range(0, 255)});
        }
    }
    return stream;
}

TEST_P(RleTier, DrawsPlainCodesItself) {
    EXPECT_EQ(dibprep::PlainRle8For(Tier::Scalar), nullptr);
    const dibprep::DrawPlainRle8 draw = dibprep::PlainRle8For(GetParam());
    const Tier own = std::min(GetParam(), Tier::Avx2); // AVX-512 draws with the loop of AVX2
    for (const Tier tier : testtiers::FastTiersHere())
        EXPECT_EQ(draw == dibprep::PlainRle8For(tier), std::min(tier, Tier::Avx2) == own);

    // Three rows of 100, and a row below them: no code comes near the end of the pixels.
    Random random(1);
    Bytes stream = PlainStream(100, 3, 40, random);
    stream.insert(stream.begin(), 16, 0xEE); // what stands in front of a stream is readable
    Bytes pixels(400);
    dibprep::Canvas canvas{pixels.data(), 100, 4, 100};
    dibprep::RunLengthStream rest = {stream.data() + 16, static_cast<std::int64_t>(stream.size()) - 16};
    draw(canvas, rest);
    EXPECT_EQ(rest.left, 2) << "the end of the bitmap";
    EXPECT_EQ(rest.at, stream.data() + stream.size() - 2);
    EXPECT_EQ(canvas.x, 100);
    EXPECT_EQ(canvas.y, 2);

    const Bytes dib = MakeRleDib(100, 4, 8, Bytes(stream.begin() + 16, stream.end()));
    Block source(dib);
    const Bytes expected = Made(Tier::Scalar, [&] { return RestoreRLE8(source); });
    EXPECT_EQ(Slice(expected, PixelsAt(8), 400), pixels);
}

TEST_P(RleTier, LeavesAloneWhatIsNotPlain) {
    struct Case {
        Bytes stream;
        std::int64_t x;
    };
    const Case cases[] = {{{0, 1}, 10},           {{0, 2, 1, 1}, 10}, {{91, 7}, 10}, {{90, 7}, 10},
                          {{0, 91, 7, 7, 7}, 10}, {{1, 7}, 100},      {{1, 7}, 300}, {{0, 0}, 10}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        Bytes stream(16);
        stream.insert(stream.end(), cases[i].stream.begin(), cases[i].stream.end());
        Bytes pixels(100);
        dibprep::Canvas canvas{pixels.data(), 100, 1, 100, cases[i].x, 0};
        const auto size = static_cast<std::int64_t>(cases[i].stream.size());
        dibprep::RunLengthStream rest = {stream.data() + 16, size};
        dibprep::PlainRle8For(GetParam())(canvas, rest);
        const bool plain = i == 3; // ends with its row
        EXPECT_EQ(rest.left, plain ? 0 : size) << "case " << i;
        EXPECT_EQ(canvas.x, plain ? 100 : cases[i].x);
        EXPECT_EQ(canvas.y, 0);
    }
}

TEST_P(RleTier, EveryLengthAtEveryColumn) {
    Random random(2);
    for (int count = 1; count <= 255; ++count)
        for (const bool literal : {false, true}) {
            if (literal && count < 3)
                continue;
            Bytes stream;
            for (int row = 0; row < 3; ++row) {
                const int column = (count * 3 + row * 11) % 34;
                Append(stream, {0, 2, column, 0});
                if (literal)
                    AppendLiteral(stream, count, random);
                else
                    Append(stream, {count, random.Range(0, 255)});
                Append(stream, {0, 0});
            }
            // Just as wide as needed, a little wider, and too narrow.
            for (const int width : {count + 33, count + 34, count + 66, count + 2})
                Compare(MakeRleDib(width, 3, 8, stream, 0));
            ASSERT_FALSE(HasFatalFailure()) << count << (literal ? " literal" : " in a run");
        }
}

TEST_P(RleTier, PlainPictures) {
    Random random(3);
    for (int round = 0; round < 250; ++round) {
        const int width = random.OneIn(3) ? random.Range(1, 20) : random.Range(20, 700);
        const int height = random.Range(1, 12);
        const int longest = random.OneIn(3) ? 255 : random.Range(1, 50);
        Compare(MakeRleDib(width, height, 8, PlainStream(width, height, longest, random), 0));
        ASSERT_FALSE(HasFatalFailure()) << width << " x " << height << ", round " << round;
    }
}

// The count of bytes says more than there are: the end of the bitmap comes before the unreadable page.
TEST_P(RleTier, StreamEndsBeforeItsCount) {
    Random random(4);
    for (int round = 0; round < 100; ++round) {
        const int width = random.Range(1, 300);
        Bytes dib = MakeRleDib(width, 8, 8, PlainStream(width, random.Range(1, 7), 60, random), 0);
        PutU32(dib, 20,
               random.OneIn(2) ? 0x7FFFFFFF : U32(dib, 20) + static_cast<std::uint32_t>(random.Range(1, 5000)));
        Compare(dib);
        ASSERT_FALSE(HasFatalFailure()) << "round " << round;
    }
}

TEST_P(RleTier, WildStreams) {
    Random random(5);
    for (int round = 0; round < 1200; ++round) {
        const int width = random.OneIn(4) ? random.Range(1, 8) : random.Range(1, 400);
        const int height = random.Range(1, 40);
        const Bytes stream = WildStream(random);
        Bytes dib = MakeRleDib(width, height, 8, stream);
        if (random.OneIn(4)) // ends in the middle of something
            PutU32(dib, 20, random.Next() % static_cast<std::uint32_t>(stream.size() + 1));
        Compare(dib);
        ASSERT_FALSE(HasFatalFailure()) << width << " x " << height << ", round " << round;
    }
}

TEST_P(RleTier, ColoursUsedMayLeaveNoTable) {
    Random random(6);
    Bytes dib = MakeRleDib(200, 3, 8, {}, 0);
    dib.resize(40 + 4);
    PutU32(dib, 32, 1); // the stream follows one entry
    const Bytes stream = PlainStream(200, 3, 30, random);
    PutU32(dib, 20, static_cast<std::uint32_t>(stream.size()));
    Compare(Join(dib, stream));
}

} // namespace
