// ConvertResolution, the pre-conversions and the size queries against their slow second versions.
#include "dibprep.h"
#include "pipeline_oracle.h"
#include "progress_recorder.h"
#include "random_cases.h"
#include "random_pictures.h"

#include <algorithm>
#include <string>

namespace {

using namespace oracle;

std::string Describe(const Bytes& dib, unsigned dpi, int threshold) {
    std::string text = std::to_string(dib.size()) + " bytes";
    if (dib.size() >= 40)
        text += ", " + std::to_string(testdib::U32(dib, 4)) + " x " + std::to_string(testdib::U32(dib, 8)) + " of " +
                std::to_string(testdib::U16(dib, 14)) + " bits, resolution " + std::to_string(testdib::U32(dib, 24)) +
                " x " + std::to_string(testdib::U32(dib, 28)) + ", to " + std::to_string(dpi) + " dpi, threshold " +
                std::to_string(threshold);
    return text;
}

struct Wish {
    std::uint16_t dpi = 0;
    int threshold = 128;
    int stopAtCall = -1;
    int refusedBlock = 0;
    bool sizesUnknown = false;
};

void CompareConversion(const Bytes& dib, const Wish& wish) {
    SCOPED_TRACE(Describe(dib, wish.dpi, wish.threshold) + ", stop at call " + std::to_string(wish.stopAtCall) +
                 ", refused block " + std::to_string(wish.refusedBlock));
    const Conversion expected = oracle::ConvertResolution(Store{true, false, dib}, wish.dpi, wish.threshold,
                                                          wish.stopAtCall, wish.refusedBlock);
    testhost::Reset();
    if (wish.sizesUnknown)
        testhost::SetSizeAnswer(testhost::SizeAnswer::Unknown);
    void* const source = testhost::MakeBlock(dib);
    testhost::ResetCounters();
    testhost::FailAllocation(wish.refusedBlock);
    void* result = source; // anything but 0
    const int status = ::ConvertResolution(source, &result, StartRecording(wish.stopAtCall), wish.dpi, wish.threshold);
    testhost::FailAllocation(0);
    EXPECT_EQ(status, static_cast<int>(expected.status));
    EXPECT_EQ(progressRecorder.percents, expected.percents);
    EXPECT_EQ(testhost::Allocations(), expected.blocksAsked);
    EXPECT_EQ(testhost::LiveBlocks(), 1 + expected.blocksLeft);
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    EXPECT_EQ(testhost::BadCalls(), 0);
    EXPECT_EQ(Difference(dib, testhost::Bytes(source)), "equal") << "in the source";
    ASSERT_EQ(result != nullptr, expected.hasResult);
    if (result) {
        EXPECT_EQ(Difference(expected.result, testhost::Bytes(result)), "equal") << "in the result";
    }
}

using PipelineCompare = RandomCaseTest;

TEST_F(PipelineCompare, WholePicturesConvertToTheSameBytes) {
    ForEachCase(1400, 1, [](Random& random) {
        const Picture picture = RandomPicture(random, {});
        Wish wish;
        wish.dpi = RandomDpi(random, picture.dib);
        wish.threshold = RandomThreshold(random);
        wish.stopAtCall = RandomStop(random);
        wish.sizesUnknown = random.OneIn(8);
        CompareConversion(picture.dib, wish);
    });
}

TEST_F(PipelineCompare, RefusedBlocksLeaveTheSameBlocksBehind) {
    ForEachCase(500, 2, [](Random& random) {
        const Picture picture = RandomPicture(random, {Look::Any, 20, 20});
        Wish wish;
        wish.dpi = RandomDpi(random, picture.dib, 8000);
        wish.refusedBlock = random.Range(1, 5);
        wish.stopAtCall = random.OneIn(4) ? 1 : 0;
        CompareConversion(picture.dib, wish);
    });
}

TEST_F(PipelineCompare, BlocksThatEndTooEarlyAreRefusedWithTheSameStatus) {
    ForEachCase(1200, 3, [](Random& random) {
        Picture picture = RandomPicture(random, {Look::Any, 30, 30});
        Wish wish;
        wish.dpi = RandomDpi(random, picture.dib, 20000);
        wish.stopAtCall = 0;
        // A block of no bytes would be one whose size the host cannot tell.
        picture.dib.resize(std::max<std::size_t>(1, RandomCut(random, picture.dib.size())));
        CompareConversion(picture.dib, wish);
    });
}

TEST_F(PipelineCompare, ManyColoursOnLargePicturesGoThroughTheCubeAlike) {
    ForEachCase(6, 4, [](Random& random) {
        const Picture picture = RandomPicture(random, {Look::Colour8, 180, 180, true});
        Wish wish;
        wish.stopAtCall = 0;
        wish.dpi = RandomDpi(random, picture.dib, 200000);
        // Often just around the 16384 pixels that decide between the searches.
        const std::uint16_t source = DotsPerInch(testdib::U32(picture.dib, 24));
        if (random.OneIn(2) && picture.width > 0 && picture.height > 0)
            wish.dpi = Low16(static_cast<unsigned>(source * random.Range(126, 132) / std::max(picture.width, 20)));
        if (BufferSize(Store{true, false, picture.dib}, wish.dpi).size > 400000)
            wish.dpi = source;
        CompareConversion(picture.dib, wish);
    });
}

TEST_F(PipelineCompare, SquarePicturesAroundTheCubeLimitReduceAlike) {
    for (const int extent : {127, 128, 129}) {
        Random random = RandomOf(RandomStart() + static_cast<unsigned>(extent));
        SCOPED_TRACE(CaseName(RandomStart()) + ", extent " + std::to_string(extent));
        Bytes dib = testdib::MakeDib(extent, extent, 8);
        for (std::size_t i = 0; i < 256; ++i)
            for (std::size_t channel = 0; channel < 3; ++channel)
                dib[40 + 4 * i + channel] = static_cast<std::uint8_t>(random.Next() >> 9);
        for (std::size_t i = 1064; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next() >> 9);
        Wish wish;
        wish.dpi = 300;
        CompareConversion(dib, wish);
    }
}

TEST_F(PipelineCompare, RowsThatTheMasksCutShortAreRefusedAlike) {
    for (const int width : {21843, 21844, 21845, 21846, 65532, 65533, 65535})
        for (const int height : {0, 1, 2})
            for (const int bits : {4, 8})
                for (const bool colour : {false, true}) {
                    Bytes dib = testdib::MakeDib(width, height, bits);
                    testdib::SetGrayTable(dib, bits == 4 ? 16 : 256);
                    if (colour)
                        testdib::SetEntry(dib, 3, 1, 2, 3);
                    Wish wish;
                    wish.dpi = 20;
                    wish.stopAtCall = 0;
                    CompareConversion(dib, wish);
                }
}

TEST_F(PipelineCompare, PreConversionsMakeTheSameBlocks) {
    ForEachCase(1000, 5, [](Random& random) {
        Picture picture = RandomPicture(random, {});
        if (random.OneIn(3))
            picture.dib.resize(std::max<std::size_t>(1, RandomCut(random, picture.dib.size())));
        const int refused = random.OneIn(6) ? 1 : 0;
        for (const bool colours : {true, false}) {
            SCOPED_TRACE(Describe(picture.dib, 0, 0) + (colours ? ", ConvertImage" : ", ConvertImage2"));
            Memory memory(refused);
            const Expanded expected = colours ? ExpandColours(picture.dib, memory) : WidenGray(picture.dib, memory);
            testhost::Reset();
            void* const source = testhost::MakeBlock(picture.dib);
            testhost::FailAllocation(refused);
            void* result = source;
            const unsigned made = colours ? ConvertImage(source, &result) : ConvertImage2(source, &result);
            EXPECT_EQ(made, expected.outcome == Expansion::Made ? 1u : 0u);
            EXPECT_EQ(testhost::LiveBlocks(), 1 + static_cast<int>(made));
            EXPECT_EQ(testhost::OutstandingLocks(), 0);
            EXPECT_EQ(Difference(picture.dib, testhost::Bytes(source)), "equal");
            ASSERT_EQ(result != nullptr, made == 1);
            if (result) {
                EXPECT_EQ(Difference(expected.dib, testhost::Bytes(result)), "equal");
            }
        }
    });
}

TEST_F(PipelineCompare, SizeQueriesAnswerTheSame) {
    ForEachCase(2000, 6, [](Random& random) {
        Bytes dib = random.OneIn(2) ? RandomPicture(random, {Look::Any, 5, 5}).dib : RandomBytes(random, 40);
        if (random.OneIn(8))
            dib.resize(static_cast<std::size_t>(random.Range(1, 60)));
        const std::uint16_t dpi = random.OneIn(2) ? Low16(random.Next()) : static_cast<std::uint16_t>(300);
        SCOPED_TRACE(Describe(dib, dpi, 0));
        testhost::Reset();
        void* const source = testhost::MakeBlock(dib);
        const Store store{true, false, dib};
        unsigned size = 77;
        const unsigned short modes[] = {2, 34, 18, 6, 65534};
        const SizeAnswer transform = TransformSize(store, dpi);
        EXPECT_EQ(GetTransformImageMemorySize(modes[random.Range(0, 4)], &source, dpi, &size), transform.status);
        EXPECT_EQ(size, transform.size);
        size = 77;
        const SizeAnswer buffer = BufferSize(store, dpi);
        EXPECT_EQ(GetBufferSize(source, dpi, &size), buffer.status);
        EXPECT_EQ(size, buffer.status == 0 ? buffer.size : 77);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    });
}

TEST_F(PipelineCompare, MissingHandlesAnswerTheSame) {
    void* nothing = nullptr;
    unsigned size = 77;
    EXPECT_EQ(TransformSize(Store{false, false, {}}, 300).status, 5u);
    EXPECT_EQ(GetTransformImageMemorySize(34, &nothing, 300, &size), 5u);
    EXPECT_EQ(size, 0u);
    const Conversion expected = oracle::ConvertResolution(Store{false, false, {}}, 300, 128, 0, 0);
    void* result = &size;
    EXPECT_EQ(::ConvertResolution(nullptr, &result, nullptr, 300, 128), static_cast<int>(expected.status));
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

} // namespace
