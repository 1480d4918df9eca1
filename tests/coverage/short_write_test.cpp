// WriteFile stands in for the host's: one that reports success for a part of the bytes, as on a volume
// that becomes full.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

#include <dlfcn.h>

namespace {

using namespace transformtest;

int calls = 0;
int shortCall = 0; // 0: none

class ShortWrite : public MemoryTest {
protected:
    void SetUp() override {
        MemoryTest::SetUp();
        calls = shortCall = 0;
    }
    void TearDown() override {
        shortCall = 0;
        MemoryTest::TearDown();
    }
};

} // namespace

int WriteFile(void* file, const void* buffer, unsigned int bytes, unsigned int* bytesWritten, void* overlapped) {
    using Function = int (*)(void*, const void*, unsigned int, unsigned int*, void*);
    static const auto host = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "WriteFile"));
    return host(file, buffer, ++calls == shortCall ? bytes - 1 : bytes, bytesWritten, overlapped);
}

TEST_F(ShortWrite, OfHeadersTableOrAnyRowIs6) {
    const TempFolder folder;
    Bytes dib = GrayDib(4, 3, 8);
    const auto transform = [&](int shortOne) {
        std::string path = folder.Path("out.bmp");
        void* source = testhost::MakeBlock(dib);
        calls = 0;
        shortCall = shortOne;
        const unsigned status = LinearTransformMain(TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_FILE, &source,
                                                    path.data(), nullptr, 100, 128);
        GlobalFree(source);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        return status;
    };
    EXPECT_EQ(transform(0), 0u);
    EXPECT_EQ(calls, 5) << "headers, table, three rows";
    for (int n = 1; n <= 5; ++n) {
        EXPECT_EQ(transform(n), 6u) << "write " << n;
        EXPECT_EQ(calls, n) << "nothing is written behind it";
    }
}
