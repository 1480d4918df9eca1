// Orientation, normalisation and depth conversion against the slow second version, over random DIBs.
#include "dibprep/dib.h"
#include "tests/oracle/dib_comparison.h"
#include "tests/oracle/random_dibs.h"
#include "tests/oracle/random_start.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

namespace {

using oracle::Bytes;
using testdib::Random;

class Depth : public oracle::DibComparison {
protected:
    static void Compare(const Bytes& dib) {
        CompareOne(dib, TopDownToBottomUp, oracle::Turned(dib), "TopDownToBottomUp");
        CompareOne(dib, NormalizeDIB, oracle::Normalised(dib), "NormalizeDIB");
        CompareOne(dib, ConvertTo24BPPDIB, oracle::ToDepth(dib, 24), "ConvertTo24BPPDIB");
        CompareOne(dib, ConvertTo16BPPDIB, oracle::ToDepth(dib, 16), "ConvertTo16BPPDIB");
    }
};

TEST_F(Depth, PlainAndBitFieldDibsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(2000) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        const oracle::DibWishes wishes = oracle::RandomWishes(random);
        SCOPED_TRACE(std::to_string(wishes.width) + " x " + std::to_string(wishes.height) + ", " +
                     std::to_string(wishes.bits) + " bits, compression " + std::to_string(wishes.compression) + ", " +
                     std::to_string(wishes.colours) + " colours" + (wishes.core ? ", core header" : ""));
        Compare(oracle::RandomDib(random, wishes));
    }
}

// Compressed pictures of every depth, with noise for a stream: what can be expanded is, what cannot
// is read as it stands.
TEST_F(Depth, CompressedDibsEqualTheSecondVersion) {
    const std::uint64_t start = oracle::RandomStart();
    for (std::uint64_t n = start; n < start + oracle::RandomCases(1500) && !HasFailure(); ++n) {
        SCOPED_TRACE(oracle::CaseName(n));
        Random random = oracle::RandomOf(n);
        oracle::DibWishes wishes = oracle::RandomWishes(random);
        wishes.core = false;
        wishes.compression = random.OneIn(2) ? 1 : 2;
        wishes.bits = random.OneIn(3) ? wishes.bits : wishes.compression == 1 ? 8 : 4;
        SCOPED_TRACE(std::to_string(wishes.width) + " x " + std::to_string(wishes.height) + ", " +
                     std::to_string(wishes.bits) + " bits, compression " + std::to_string(wishes.compression) + ", " +
                     std::to_string(wishes.colours) + " colours");
        Bytes dib = oracle::RandomDib(random, wishes);
        const std::size_t stream = static_cast<std::size_t>(random.Range(0, 400));
        testdib::PutU32(dib, 20, static_cast<std::uint32_t>(stream));
        const std::size_t before = oracle::BitsOffset(dib);
        dib.resize(before + stream + oracle::BehindStream);
        oracle::FillWithNoise(random, dib, before);
        for (int i = 0; i < 10; ++i) // escapes, so that not everything is a run
            if (stream > 4)
                dib[before + random.Next() % (stream / 2) * 2] = 0;
        Compare(dib);
    }
}

} // namespace
