// ConvertResolution when operator new fails: the column map, the quantiser, its octree, its lists.
#include "tests/transform/transform_support.h"

#include <new>

namespace {

using namespace transformtest;

// 129 x 128 pixels, 70 colours in the table and in the picture: more than 16384 pixels and more than
// 64 colours, so that the reduction builds its search cube.
Bytes LargeColourTableDib() {
    Bytes dib = testdib::MakeDib(129, 128, 8, Ppm100, Ppm100);
    for (int i = 0; i < 70; ++i)
        testdib::SetEntry(dib, i, (i % 4) * 80, (i / 4 % 4) * 80, (i / 16) * 60);
    for (std::size_t y = 0; y < 128; ++y)
        for (std::size_t x = 0; x < 129; ++x)
            dib[1064 + y * 132 + x] = static_cast<std::uint8_t>((x + y * 129) % 70);
    return dib;
}

class EntryLists : public MemoryTest {};

TEST_F(EntryLists, LargePicturesGoThroughTheSearchCube) {
    void* source = testhost::MakeBlock(LargeColourTableDib());
    void* result = nullptr;
    ASSERT_EQ(ConvertResolution(source, &result, nullptr, 100, 128), 0);
    const Bytes dib = testhost::Bytes(source);
    const Bytes out = testhost::Bytes(result);
    ASSERT_EQ(out.size(), 1064u + 132u * 128u);
    for (std::size_t y = 0; y < 128; ++y)
        for (std::size_t at = 1064 + 132 * y; at < 1064 + 132 * y + 129; ++at)
            ASSERT_EQ(Part(out, 40 + 4u * out[at], 3), Part(dib, 40 + 4u * dib[at], 3)) << at;
}

TEST_F(EntryLists, EachFailingNew) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "operator new belongs to the sanitizer here";
    const Bytes dib = LargeColourTableDib();
    void* source = testhost::MakeBlock(dib);
    void* result = nullptr;
    testhost::ResetCounters();
    ASSERT_EQ(ConvertResolution(source, &result, nullptr, 100, 128), 0);
    const int news = testhost::News();
    ASSERT_GE(news, 3 + 512) << "column map, quantiser, octree, a list for every cell";
    int memory = 0; // status 2
    int octree = 0; // status 0 without a result
    int thrown = 0; // the lists
    for (int n = 1; n <= news; ++n) {
        testhost::Reset();
        source = testhost::MakeBlock(dib);
        result = &source; // anything but 0
        int status = -1;
        testhost::FailNew(n);
        try {
            status = ConvertResolution(source, &result, nullptr, 100, 128);
        } catch (const std::bad_alloc&) {
            status = -2;
        }
        testhost::FailNew(0);
        if (status == -2) {
            ++thrown;
            ASSERT_EQ(octree, 1) << "only the lists throw, and they come last";
            ASSERT_NE(result, nullptr) << "the true-colour block, for the caller to unlock and free";
            ASSERT_EQ(testhost::LockCount(result), 1);
            ASSERT_EQ(testhost::Size(result), 128u * 388u + 1078u);
            ASSERT_EQ(testhost::LiveBlocks(), 3) << "source, intermediate, *result: the reduced block is freed";
            ASSERT_EQ(testhost::OutstandingLocks(), 1);
            continue;
        }
        ASSERT_EQ(result, nullptr) << n;
        ASSERT_EQ(testhost::LiveBlocks(), 2) << n << ": source and intermediate";
        ASSERT_EQ(testhost::OutstandingLocks(), 0) << n;
        if (status == 2) {
            ++memory;
            ASSERT_EQ(octree, 0) << n;
        } else {
            ASSERT_EQ(status, 0) << n;
            ++octree;
        }
    }
    EXPECT_GE(memory, 2) << "the column map and the quantiser itself";
    EXPECT_EQ(octree, 1);
    EXPECT_GE(thrown, 512);
    testhost::Reset();
}

} // namespace
