// Every row loop of the depth conversions, and both conversions as a whole: each tier makes the bytes
// of the plain loops and touches nothing else.
#include "dib/depth_rows.h"
#include "tests/dib/tier_support.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace {

using namespace dibtest;
using dibprep::ChannelMask;
using dibprep::DepthRows;
using dibprep::DepthRowsFor;
using dibprep::PixelMasks;
using testdib::Random;
using testhost::GuardedBuffer;

// What a row is converted with.
struct Given {
    std::uint32_t colors[256];
    std::uint16_t values[256];
    PixelMasks masks;
};

struct Row {
    unsigned char* out;
    const unsigned char* in;
    std::size_t pixels;
};

struct Loop {
    const char* name;
    std::size_t bits;
    std::size_t targetBits;
    std::function<void(const DepthRows&, const Row&, const Given&)> run;
};

const Loop loops[] = {
    {"1 to 24", 1, 24,
     [](const auto& t, const Row& r, const Given& g) { t.from1To24(r.out, r.in, r.pixels, g.colors); }},
    {"4 to 24", 4, 24,
     [](const auto& t, const Row& r, const Given& g) { t.from4To24(r.out, r.in, r.pixels, g.colors); }},
    {"8 to 24", 8, 24,
     [](const auto& t, const Row& r, const Given& g) { t.from8To24(r.out, r.in, r.pixels, g.colors); }},
    {"levels to 24", 8, 24, [](const auto& t, const Row& r, const Given&) { t.fromLevelsTo24(r.out, r.in, r.pixels); }},
    {"555 to 24", 16, 24, [](const auto& t, const Row& r, const Given&) { t.from555To24(r.out, r.in, r.pixels); }},
    {"masked 16 to 24", 16, 24,
     [](const auto& t, const Row& r, const Given& g) { t.fromMasked16To24(r.out, r.in, r.pixels, g.masks); }},
    {"masked 32 to 24", 32, 24,
     [](const auto& t, const Row& r, const Given& g) { t.fromMasked32To24(r.out, r.in, r.pixels, g.masks); }},
    {"32 to 24", 32, 24, [](const auto& t, const Row& r, const Given&) { t.from32To24(r.out, r.in, r.pixels); }},
    {"1 to 16", 1, 16,
     [](const auto& t, const Row& r, const Given& g) { t.from1To16(r.out, r.in, r.pixels, g.values); }},
    {"4 to 16", 4, 16,
     [](const auto& t, const Row& r, const Given& g) { t.from4To16(r.out, r.in, r.pixels, g.values); }},
    {"8 to 16", 8, 16,
     [](const auto& t, const Row& r, const Given& g) { t.from8To16(r.out, r.in, r.pixels, g.values); }},
    {"24 to 16", 24, 16, [](const auto& t, const Row& r, const Given&) { t.from24To16(r.out, r.in, r.pixels); }},
    {"32 to 16", 32, 16, [](const auto& t, const Row& r, const Given&) { t.from32To16(r.out, r.in, r.pixels); }},
    {"masked 32 to 16", 32, 16,
     [](const auto& t, const Row& r, const Given& g) { t.fromMasked32To16(r.out, r.in, r.pixels, g.masks); }},
};

// As the conversions make it of a header's mask.
ChannelMask ChannelOf(unsigned mask) {
    unsigned short left;
    unsigned short right;
    GetShifts(mask, left, right);
    return right < 32 ? ChannelMask{mask, left, right} : ChannelMask{0, 0, 0};
}

unsigned RandomMask(Random& random) {
    const unsigned telling[] = {0, 0xFFFFFFFF, 0xFF0000,   0xFF00, 0xFF,       0x7C00, 0x3E0,  0x1F,   0xF800,    0x7E0,
                                1, 0x8000,     0x80000000, 0xFFFF, 0xFFC00000, 0x3FF,  0xF0F0, 0x5555, 0xFF000000};
    if (random.OneIn(2))
        return telling[random.Range(0, 18)];
    return random.OneIn(2) ? random.Next() : ((1u << random.Range(1, 16)) - 1) << random.Range(0, 31);
}

Given RandomGiven(Random& random) {
    Given given;
    for (std::uint32_t& color : given.colors)
        color = random.Next() & 0xFFFFFF;
    for (std::uint16_t& value : given.values)
        value = static_cast<std::uint16_t>(random.Next());
    given.masks = {ChannelOf(RandomMask(random)), ChannelOf(RandomMask(random)), ChannelOf(RandomMask(random))};
    return given;
}

// Noise, the two extreme values, or stretches of one value.
Bytes Content(std::size_t size, int kind, Random& random) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        if (kind == 0)
            bytes[i] = static_cast<std::uint8_t>(random.Next());
        else if (kind == 1)
            bytes[i] = random.OneIn(2) ? 0 : 255;
        else
            bytes[i] = i == 0 || random.OneIn(40) ? static_cast<std::uint8_t>(random.Next()) : bytes[i - 1];
    }
    return bytes;
}

class DepthTier : public DibTier {
protected:
    // The plain loop's row, and the tier's at `out` from a copy at `in`.
    static void Compare(const Loop& loop, const Bytes& content, std::size_t pixels, const Given& given,
                        std::uint8_t* out, std::uint8_t* in) {
        Bytes expected(pixels * loop.targetBits / 8);
        loop.run(DepthRowsFor(Tier::Scalar), {expected.data(), content.data(), pixels}, given);
        std::copy(content.begin(), content.end(), in);
        loop.run(DepthRowsFor(GetParam()), {out, in, pixels}, given);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), out)) << loop.name << ", " << pixels << " pixels";
        ASSERT_TRUE(std::equal(content.begin(), content.end(), in)) << loop.name;
    }
};

INSTANTIATE_TEST_SUITE_P(Every, DepthTier, FastTiers(), NameOfTier);

TEST_P(DepthTier, BringsItsOwnLoops) {
    const DepthRows& rows = DepthRowsFor(GetParam());
    const DepthRows& plain = DepthRowsFor(Tier::Scalar);
    const DepthRows& below = DepthRowsFor(static_cast<Tier>(static_cast<int>(GetParam()) - 1));
    EXPECT_EQ(rows.tier, GetParam());
    EXPECT_NE(rows.from1To24, plain.from1To24);
    EXPECT_NE(rows.from4To24, plain.from4To24);
    EXPECT_NE(rows.from8To24, plain.from8To24);
    EXPECT_NE(rows.fromLevelsTo24, plain.fromLevelsTo24);
    EXPECT_NE(rows.from1To16, plain.from1To16);
    EXPECT_NE(rows.from4To16, plain.from4To16);
    EXPECT_NE(rows.from8To16, plain.from8To16);
    EXPECT_NE(rows.from555To24, below.from555To24);
    EXPECT_NE(rows.fromMasked16To24, below.fromMasked16To24);
    EXPECT_NE(rows.fromMasked32To24, below.fromMasked32To24);
    EXPECT_NE(rows.from32To24, below.from32To24);
    EXPECT_NE(rows.from24To16, below.from24To16);
    EXPECT_NE(rows.fromMasked32To16, below.fromMasked32To16);
    if (GetParam() == Tier::Sse2)
        EXPECT_EQ(rows.from32To16, plain.from32To16) << "waits for memory already";
    else
        EXPECT_NE(rows.from32To16, below.from32To16);
    if (GetParam() == Tier::Avx2 || GetParam() == Tier::Avx512) {
        EXPECT_NE(rows.from1To24, below.from1To24);
        EXPECT_NE(rows.from8To24, below.from8To24);
    }
    if (GetParam() == Tier::Avx512) {
        EXPECT_NE(rows.from4To24, below.from4To24);
        EXPECT_NE(rows.fromLevelsTo24, below.fromLevelsTo24);
        EXPECT_NE(rows.from1To16, below.from1To16);
        EXPECT_NE(rows.from4To16, below.from4To16);
        EXPECT_NE(rows.from8To16, below.from8To16);
    }
}

TEST_P(DepthTier, EveryWidthBetweenUnreadablePages) {
    constexpr std::size_t Most = 140;
    Random random(1);
    for (const auto side : {GuardedBuffer::Side::End, GuardedBuffer::Side::Start}) {
        GuardedBuffer source(Most * 4, side);
        GuardedBuffer target(Most * 3, side);
        const bool end = side == GuardedBuffer::Side::End;
        for (const Loop& loop : loops)
            for (std::size_t pixels = 0; pixels <= Most; ++pixels) {
                const Bytes content = Content((pixels * loop.bits + 7) / 8, static_cast<int>(pixels % 3), random);
                const std::size_t bytes = pixels * loop.targetBits / 8;
                std::uint8_t* const in = source.data() + (end ? source.size() - content.size() : 0);
                std::uint8_t* const out = target.data() + (end ? target.size() - bytes : 0);
                std::memset(target.data(), 0xCD, target.size());
                Compare(loop, content, pixels, RandomGiven(random), out, in);
                ASSERT_FALSE(HasFatalFailure());
                const std::uint8_t* const rest = end ? target.data() : out + bytes;
                ASSERT_EQ(std::count(rest, rest + target.size() - bytes, 0xCD),
                          static_cast<std::ptrdiff_t>(target.size() - bytes))
                    << loop.name << ", " << pixels << " pixels";
            }
    }
}

TEST_P(DepthTier, EveryAddress) {
    Random random(2);
    for (const Loop& loop : loops)
        for (std::size_t offset = 0; offset < 64; ++offset) {
            const auto pixels = static_cast<std::size_t>(random.Range(60, 120));
            const Bytes content = Content((pixels * loop.bits + 7) / 8, static_cast<int>(offset % 3), random);
            const std::size_t bytes = pixels * loop.targetBits / 8;
            alignas(64) std::uint8_t in[600];
            alignas(64) std::uint8_t out[600];
            const std::size_t other = offset * 7 % 64;
            std::memset(out, 0xCD, sizeof out);
            Compare(loop, content, pixels, RandomGiven(random), out + other, in + offset);
            ASSERT_FALSE(HasFatalFailure());
            for (std::size_t i = 0; i < sizeof out; ++i)
                ASSERT_TRUE((i >= other && i < other + bytes) || out[i] == 0xCD) << loop.name << ", byte " << i;
        }
}

TEST_P(DepthTier, AnyMasks) {
    Random random(3);
    // Shifts that no mask has, too.
    const auto shifts = [&random] {
        return ChannelMask{random.Next(), static_cast<unsigned>(random.Range(0, 9)),
                           static_cast<unsigned>(random.Range(0, 31))};
    };
    for (const Loop& loop : loops)
        for (int round = 0; round < 400 && std::strncmp(loop.name, "masked", 6) == 0; ++round) {
            Bytes in((47 * loop.bits + 7) / 8);
            Bytes out(47 * loop.targetBits / 8);
            Given given = RandomGiven(random);
            if (round % 2 == 0)
                given.masks = {shifts(), shifts(), shifts()};
            Compare(loop, Content(in.size(), round % 3, random), 47, given, out.data(), in.data());
            ASSERT_FALSE(HasFatalFailure()) << "round " << round;
        }
}

TEST_P(DepthTier, EveryIndexAndEveryWord) {
    Random random(4);
    for (const Loop& loop : loops) {
        // All 65536 words: every index, every 16-bit pixel.
        Bytes content(0x20000);
        for (std::size_t i = 0; i < 0x10000; ++i)
            testdib::PutU16(content, 2 * i, static_cast<unsigned>(i));
        content.resize(content.size() / 12 * 12);
        const std::size_t pixels = content.size() * 8 / loop.bits;
        Bytes out(pixels * loop.targetBits / 8);
        Bytes in(content.size());
        Compare(loop, content, pixels, RandomGiven(random), out.data(), in.data());
        ASSERT_FALSE(HasFatalFailure());
    }
}

// Whole pictures: any depth, any table, masks or none, either direction.
TEST_P(DepthTier, WholeConversions) {
    Random random(5);
    const int depths[] = {1, 4, 8, 16, 24, 32};
    for (int round = 0; round < 300; ++round) {
        const int bits = depths[random.Range(0, 5)];
        const int width = random.Range(1, 90);
        const int height = random.Range(1, 4) * (random.OneIn(8) ? -1 : 1);
        Bytes dib = random.OneIn(6) && bits < 16 && height > 0 ? MakeCoreDib(width, height, bits)
                    : random.OneIn(2) && bits % 16 == 0 && height > 0
                        ? MakeMaskedDib(width, height, bits, RandomMask(random), RandomMask(random), RandomMask(random))
                        : MakeDib(width, height, bits);
        const std::size_t header = U32(dib, 0) == 12 ? 12 : U32(dib, 16) == BI_BITFIELDS ? 52 : 40;
        const Bytes content = Content(dib.size() - header, round % 3, random);
        std::copy(content.begin(), content.end(), dib.begin() + static_cast<std::ptrdiff_t>(header));
        if (bits == 8 && header == 40 && random.OneIn(3))
            for (int i = 0; i < 256; ++i)
                SetEntry(dib, i, i, i, i);
        Block source(dib);
        for (const auto convert : {ConvertTo24BPPDIB, ConvertTo16BPPDIB}) {
            const Bytes plain = Made(Tier::Scalar, [&] { return convert(source); });
            ASSERT_FALSE(plain.empty());
            ASSERT_EQ(plain, Made(GetParam(), [&] { return convert(source); })) << bits << " bits, round " << round;
        }
        EXPECT_TRUE(source.Unchanged());
    }
}

// A run-length picture of 4 bits that is read as it stands: rows beyond its stream come in pieces.
TEST_P(DepthTier, RowsThatEndInFrontOfTheirPixels) {
    Random random(6);
    for (const int length : {0, 1, 130, 131, 400, 1000}) {
        Bytes dib = MakeDib(600, 5, 4);
        PutU32(dib, 16, BI_RLE4);
        PutU32(dib, 20, static_cast<std::uint32_t>(length));
        dib.resize(104 + static_cast<std::size_t>(length));
        const Bytes content = Content(dib.size() - 40, 0, random);
        std::copy(content.begin(), content.end(), dib.begin() + 40);
        Block source(dib);
        for (const auto convert : {ConvertTo24BPPDIB, ConvertTo16BPPDIB})
            ASSERT_EQ(Made(Tier::Scalar, [&] { return convert(source); }),
                      Made(GetParam(), [&] { return convert(source); }))
                << length << " bytes";
    }
}

} // namespace
