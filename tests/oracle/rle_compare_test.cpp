// Run-length expansion against the slow second version: well-formed streams come back as the pixels
// that they were made from, and streams of noise are drawn alike by both sides.
#include "dibprep/dib.h"
#include "tests/oracle/dib_comparison.h"
#include "tests/oracle/random_dibs.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace {

using oracle::Bytes;
using testdib::Random;

class Rle : public oracle::DibComparison {
protected:
    static void Compare(const Bytes& dib) {
        CompareOne(dib, RestoreRLE8, oracle::ExpandedRle8(dib), "RestoreRLE8");
        CompareOne(dib, RestoreRLE4, oracle::ExpandedRle4(dib), "RestoreRLE4");
        CompareOne(dib, RestoreRLE, oracle::ExpandedRle(dib), "RestoreRLE");
    }
};

// Header and colour table of a compressed picture whose stream has this many bytes.
Bytes Head(Random& random, int width, int height, int bits, std::size_t stream) {
    oracle::DibWishes wishes{};
    wishes.width = width;
    wishes.bits = bits;
    wishes.colours = oracle::RandomColoursUsed(random, bits);
    wishes.compression = bits == 8 ? 1 : 2;
    Bytes head = oracle::RandomDib(random, wishes);
    head.resize(oracle::BitsOffset(head));
    testdib::PutU32(head, 8, static_cast<std::uint32_t>(height));
    testdib::PutU32(head, 20, static_cast<std::uint32_t>(stream));
    return head;
}

Bytes Joined(Bytes head, const Bytes& stream, Random& random) {
    head.insert(head.end(), stream.begin(), stream.end());
    const std::size_t end = head.size();
    head.resize(end + oracle::BehindStream);
    oracle::FillWithNoise(random, head, end);
    return head;
}

TEST_F(Rle, WellFormedStreamsGiveTheirPixels) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(1500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const int bits = random.OneIn(2) ? 8 : 4;
        const int width = random.OneIn(20) ? random.Range(255, 600) : random.Range(1, 40);
        const int height = random.Range(1, 20);
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width * height));
        for (std::size_t i = 0; i < pixels.size(); ++i) // stretches of one value, many of them 0
            pixels[i] = i > 0 && !random.OneIn(4) ? pixels[i - 1]
                        : random.OneIn(3)         ? 0
                                                  : static_cast<std::uint8_t>(random.Next() % (1u << bits));
        const Bytes stream = oracle::EncodedRle(random, pixels, width, bits);
        const Bytes dib = Joined(Head(random, width, height, bits, stream.size()), stream, random);
        Compare(dib);
        if (HasFailure())
            break;

        void* result = bits == 8 ? RestoreRLE8(testhost::Address(testhost::MakeBlock(dib)))
                                 : RestoreRLE4(testhost::Address(testhost::MakeBlock(dib)));
        ASSERT_NE(result, nullptr);
        for (int y = 0; y < height && !HasFailure(); ++y)
            for (int x = 0; x < width && !HasFailure(); ++x)
                EXPECT_EQ(GetBitIndex(testhost::Address(result), x, y), pixels[static_cast<std::size_t>(y * width + x)])
                    << x << ", " << y;
    }
}

Bytes Noise(Random& random) {
    Bytes stream(static_cast<std::size_t>(random.Range(0, random.OneIn(10) ? 2000 : 200)));
    const int escapes = random.Range(1, 5), most = random.OneIn(2) ? 255 : random.Range(1, 20);
    for (std::size_t i = 0; i < stream.size(); ++i) {
        stream[i] = static_cast<std::uint8_t>(random.Range(0, most));
        if (i % 2 == 0 && random.OneIn(escapes))
            stream[i] = 0;
        // Mostly escapes that go on: an end of the bitmap in every other stream would hide the rest.
        if (i % 2 == 1 && stream[i - 1] == 0 && stream[i] == 1 && !random.OneIn(6))
            stream[i] = 2;
    }
    return stream;
}

TEST_F(Rle, StreamsOfNoiseEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(3000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const int bits = random.OneIn(2) ? 8 : 4;
        int width = random.OneIn(3) ? random.Range(1, 6) : random.Range(1, 60), height = random.Range(1, 30);
        if (random.OneIn(12)) // top-down: the block is smaller than its picture would be
            height = -random.Range(1, 300);
        const Bytes stream = Noise(random);
        Bytes dib = Head(random, width, height, bits, stream.size());
        if (random.OneIn(20))
            testdib::PutU32(dib, random.OneIn(2) ? 4 : 8, random.OneIn(2) ? 0 : random.Next());
        if (random.OneIn(20))
            testdib::PutU32(dib, 20, 0x80000000u | random.Next());
        else if (random.OneIn(5) && !stream.empty()) // ends in the middle of something
            testdib::PutU32(dib, 20, random.Next() % static_cast<std::uint32_t>(stream.size()));
        if (random.OneIn(20))
            testdib::PutU32(dib, 16, random.Next() % 5);
        if (random.OneIn(30))
            testdib::PutU32(dib, 0, random.OneIn(2) ? 12 : 64);
        dib = Joined(dib, stream, random);
        dib.resize(std::max<std::size_t>(dib.size(), 64 + 4096)); // whatever table the changed header names
        Compare(dib);
    }
}

// Nothing but single pixels and steps of odd width: the 4-bit address falls behind its column, row
// after row, until it stands in front of the first row.
TEST_F(Rle, SlowlySinkingAddressesEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        Bytes stream;
        const auto put = [&](std::initializer_list<int> values) {
            for (const int value : values)
                stream.push_back(static_cast<std::uint8_t>(value));
        };
        for (int i = random.Range(5, 150); i > 0; --i) {
            const int what = random.Range(0, 9);
            if (what < 4)
                put({random.Range(0, 3) * 2 + 1, random.Range(1, 255)});
            else if (what < 8)
                put({0, 2, random.Range(0, 3) * 2 + 1, random.OneIn(10) ? 1 : 0});
            else if (what < 9)
                put({0, 0});
            else
                put({0, 3, random.Range(1, 255), random.Range(1, 255)});
        }
        const Bytes head = Head(random, random.Range(1, 9), random.Range(1, 60), 4, stream.size());
        Compare(Joined(head, stream, random));
    }
}

} // namespace
