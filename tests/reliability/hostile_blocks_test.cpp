// Blocks that end early, and blocks at every address.
#include "tests/reliability/hostile.h"

#include "dibprep.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace hostile;

namespace {

class HostileBlocks : public testing::TestWithParam<const char*> {};

std::string Name(const testing::TestParamInfo<const char*>& info) { return std::string("Kind") + info.param; }

// Where the rows of a sound page begin.
std::size_t RowsAt(const Bytes& page) {
    return 40 + 4 * static_cast<std::size_t>(testdib::DefaultColors(static_cast<int>(testdib::U16(page, 14))));
}

TEST_P(HostileBlocks, CutAfterEveryByteAreRefusedUpToTheLast) {
    const std::string kind = GetParam();
    const Bytes page = Page(kind, 3, 3);
    const int bits = std::atoi(kind.c_str());
    // The transform reads whole rows. The pre-conversions take pixels: the last row's padding need
    // not be there.
    const bool converted = kind == "4c" || kind == "4g" || kind == "8c";
    const std::size_t padding = testdib::Stride(3, bits) - static_cast<std::size_t>(3 * bits + 7) / 8;
    const std::size_t enough = page.size() - (converted ? padding : 0);
    const bool rowless = kind == "16" || kind == "32"; // the pipeline reads nothing but their header
    for (std::size_t bytes = 1; bytes < page.size(); ++bytes) {
        SCOPED_TRACE(bytes);
        testhost::Reset();
        void* source = testhost::MakeBlock(Bytes(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(bytes)));
        const bool header = bytes >= 40;
        unsigned int size = 77;
        ASSERT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_MEMORY, &source, Dpi, &size), header ? 0u : 5u);
        ASSERT_EQ(size == 0, !header);
        ASSERT_EQ(GetBufferSize(source, Dpi, &size), header ? 0u : 10u);

        void* result = &size;
        const bool whole = bytes >= enough || (header && rowless);
        ASSERT_EQ(ConvertResolution(source, &result, nullptr, Dpi, 128), whole ? 0 : 5);
        ASSERT_EQ(result != nullptr, whole);
        // A direct transform makes no rows of 4 bits.
        void* destination = testhost::MakeBlock(Bytes(2048));
        const bool direct = (header && rowless) || (bits == 4 && bytes >= RowsAt(page));
        ASSERT_EQ(LinearTransformMain(34, &source, &destination, nullptr, Dpi, 128), direct ? 0u : 5u);

        unsigned short status = 0;
        ASSERT_EQ(ConvertResolution2(source, 3937, 3937, &status), nullptr) << "it wants whole rows";
        ASSERT_EQ(status, 0);
        ASSERT_EQ(testhost::OutstandingLocks(), 0);
        ASSERT_EQ(testhost::BadCalls(), 0);
    }
    testhost::Reset();
}

TEST_P(HostileBlocks, ResultsAreTheSameAtEveryAddress) {
    const Bytes page = Page(GetParam());
    std::vector<Bytes> first;
    for (std::size_t behind = 0; behind < 4; ++behind) {
        SCOPED_TRACE(behind);
        testhost::Reset();
        Bytes bytes = page;
        bytes.resize(page.size() + behind); // a block ends at a page, so it starts as many bytes earlier
        void* source = testhost::MakeBlock(bytes);
        unsigned char* const dib = testhost::Address(source);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(dib) % 4, (8 - bytes.size() % 4) % 4);

        std::vector<void*> made(12);
        ASSERT_EQ(ConvertResolution(source, &made[0], nullptr, 77, 128), 0);
        unsigned int size = 0;
        ASSERT_EQ(GetTransformImageMemorySize(TRANSFER_SOURCE_MEMORY, &source, 77, &size), 0u);
        made[1] = testhost::MakeBlock(Bytes(size + behind));
        ASSERT_EQ(LinearTransformMain(34, &source, &made[1], nullptr, 77, 128), 0u);
        unsigned short status = 0;
        made[2] = ConvertResolution2(source, 5000, 3000, &status);
        ASSERT_NE(made[2], nullptr);
        made[3] = NormalizeDIB(dib);
        made[4] = ConvertTo24BPPDIB(dib);
        made[5] = ConvertTo16BPPDIB(dib);
        CNiGoRo2 quantiser(dib, 256, 5, 0);
        made[6] = quantiser.QuantizeBitmap(1, 0);
        ConvertImage(source, &made[7]);
        ConvertImage2(source, &made[8]);
        testdib::PutU32(bytes, 8, 0xFFFFFFF8); // top-down
        made[9] = TopDownToBottomUp(testhost::Address(testhost::MakeBlock(bytes)));
        ASSERT_NE(made[9], nullptr);
        std::vector<Bytes> results;
        for (void* block : made)
            results.push_back(block ? testhost::Bytes(block) : Bytes());
        results[1].resize(size);
        if (behind == 0)
            first = results;
        for (std::size_t i = 0; i < results.size(); ++i)
            EXPECT_TRUE(results[i] == first[i]) << "result " << i;
    }
    testhost::Reset();
}

INSTANTIATE_TEST_SUITE_P(Page, HostileBlocks, testing::Values("1", "4c", "4g", "8c", "8g", "16", "24", "32"), Name);

// The resampler's own depths.
TEST(HostileDeepBlocks, CutAfterEveryByteAndAtEveryAddress) {
    for (const int bits : {48, 64}) {
        Bytes page = testdib::MakeDib(3, 3, bits, Ppm100, Ppm100);
        for (std::size_t at = 40; at < page.size(); ++at)
            page[at] = static_cast<std::uint8_t>(at * 7);
        Bytes first;
        for (std::size_t bytes = 1; bytes < page.size() + 4; ++bytes) {
            testhost::Reset();
            Bytes cut = page;
            cut.resize(bytes);
            void* const source = testhost::MakeBlock(cut);
            unsigned short status = 0;
            void* const made = ConvertResolution2(source, 7000, 5000, &status);
            ASSERT_EQ(made != nullptr, bytes >= page.size()) << bits << " bits, " << bytes;
            ASSERT_EQ(status, 0);
            ASSERT_EQ(testhost::OutstandingLocks(), 0);
            if (bytes == page.size())
                first = testhost::Bytes(made);
            ASSERT_TRUE(!made || testhost::Bytes(made) == first) << bits << " bits, " << bytes;
        }
    }
    testhost::Reset();
}

// Run-length pages: the stream may end after every byte that its image size counts.
TEST(HostileRunLengthBlocks, ImageSizesAfterEveryByteOfTheStream) {
    const Bytes stream = {3, 7, 0, 5, 1, 2, 3, 4, 5, 0, 0, 0, 0, 2, 1, 1, 4, 9, 0, 0, 2, 8, 0, 1};
    for (const int bits : {8, 4}) {
        for (std::size_t counted = 0; counted <= stream.size(); ++counted) {
            Bytes dib = Edited(Page(bits == 8 ? "8c" : "4c"), {Compression(bits == 8 ? 1 : 2)});
            dib.resize(RowsAt(dib));
            // Only what is counted is there, and the 258 bytes that the caller keeps behind it.
            dib.insert(dib.end(), stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(counted));
            dib.insert(dib.end(), 258, 1);
            testdib::PutU32(dib, 20, static_cast<std::uint32_t>(counted));
            testhost::Reset();
            void* const source = testhost::MakeBlock(dib);
            void* const made = (bits == 8 ? RestoreRLE8 : RestoreRLE4)(testhost::Address(source));
            ASSERT_NE(made, nullptr);
            const Bytes result = testhost::Bytes(made);
            ASSERT_EQ(result.size(), RowsAt(dib) + 8 * testdib::Stride(8, bits));
            // The first run is drawn as soon as one of its bytes counts, with what stands behind it.
            const int drawn = counted == 0 ? 0 : counted == 1 ? 1 : 7;
            ASSERT_EQ(result[RowsAt(dib)], drawn) << counted;
            ASSERT_EQ(testhost::OutstandingLocks(), 0);
        }
    }
    testhost::Reset();
}

} // namespace
