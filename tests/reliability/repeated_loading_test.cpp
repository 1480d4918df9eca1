// The library loaded and unloaded a thousand times, used in between: no block stays, and memory stays
// as it is.
#include "dibprep/host.h"
#include "tests/platform/process_memory.h"
#include "tests/reliability/pages.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <malloc.h>

namespace {

constexpr int Rounds = 1000;
constexpr int Settled = 120; // rounds after which nothing grows any more

template <typename Type>
Type* Symbol(void* library, const char* name) {
    return reinterpret_cast<Type*>(dlsym(library, name));
}

class RepeatedLoading : public testing::Test {
protected:
    void SetUp() override { testhost::Reset(); }
    void TearDown() override { testhost::Reset(); }

    // Loads the library, converts the page, makes the static palette, builds its cube as well when it
    // is asked to (that takes longer than all the rest), and unloads the library.
    static void Round(const hostile::Bytes& page, bool cube) {
        void* const library = dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        auto* const convert =
            Symbol<int(void*, void**, int (*)(unsigned short), unsigned short, int)>(library, "ConvertResolution");
        ASSERT_NE(convert, nullptr);
        void* const source = testhost::MakeBlock(page);
        void* result = nullptr;
        ASSERT_EQ(convert(source, &result, nullptr, 100, 128), 0);
        ASSERT_NE(result, nullptr);
        Symbol<void()>(library, "_ZN8CNiGoRo215SetStaticColorsEv")();
        if (cube) {
            Symbol<void()>(library, "_ZN8CNiGoRo222CreateStaticSearchCubeEv")();
            Symbol<void()>(library, "_ZN8CNiGoRo222DeleteStaticSearchCubeEv")();
        }
        GlobalFree(result);
        GlobalFree(source);
        ASSERT_EQ(dlclose(library), 0);
        ASSERT_EQ(dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
        // The intermediate of a colour table is the caller's to free; the palette is gone.
        ASSERT_EQ(testhost::LiveBlocks(), 1);
        ASSERT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }
};

TEST_F(RepeatedLoading, AThousandTimesWithFlatMemory) {
    const hostile::Bytes page = hostile::Page("8c", 20, 12);
    std::size_t used = 0;
    std::size_t resident = 0;
    for (int round = 1; round <= Rounds; ++round) {
        Round(page, round % 100 == 1);
        if (HasFatalFailure())
            return;
        if (round == Settled) {
            used = mallinfo2().uordblks;
            resident = platformtest::ResidentBytes();
        }
    }
#if !defined(__SANITIZE_ADDRESS__) // whose heap keeps what was freed, up to 256 MB of it
    // A block lost in every round would be sixteen bytes a round at the least.
    EXPECT_LT(mallinfo2().uordblks, used + Rounds) << "bytes of the heap in use";
    EXPECT_LT(platformtest::ResidentBytes(), resident + (1 << 20));
#else
    EXPECT_LT(platformtest::ResidentBytes(), resident + (std::size_t{600} << 20)) << "used before: " << used;
#endif
}

} // namespace
