// STATIC_COLOR over the life of the loaded library: made by loading it, released by unloading it.
#include "dibprep/host.h"
#include "dibprep/memory.h"
#include "tests/support/test_host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

// The object as memory: this program is not linked to the library and has none of the class's code.
struct Fields {
    const void* table;
    void* m_hMem;
    void* m_pMem;
    bool m_bLocked;
};
static_assert(sizeof(Fields) == sizeof(CHandle), "the same fields");

class StaticColorUnload : public ::testing::Test {
protected:
    void SetUp() override {
        testhost::Reset();
        m_library = dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror();
        m_object = static_cast<Fields*>(dlsym(m_library, "STATIC_COLOR"));
        ASSERT_NE(m_object, nullptr);
    }
    void Unload() {
        ASSERT_EQ(dlclose(m_library), 0);
        m_library = nullptr;
        ASSERT_EQ(dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the library is still loaded";
    }
    void TearDown() override {
        if (m_library)
            dlclose(m_library);
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::BadCalls(), 0);
        testhost::Reset();
    }

    void* m_library = nullptr;
    Fields* m_object = nullptr;
};

TEST_F(StaticColorUnload, LoadingAndUnloadingCallsNothing) {
    EXPECT_EQ(m_object->m_hMem, nullptr);
    EXPECT_EQ(m_object->m_pMem, nullptr);
    EXPECT_FALSE(m_object->m_bLocked);
    Unload();
    EXPECT_EQ(testhost::Calls(), 0);
}

TEST_F(StaticColorUnload, UnloadingFreesTheBlock) {
    void* const handle = testhost::MakeBlock(std::vector<std::uint8_t>(768));
    m_object->m_hMem = handle;
    Unload();
    EXPECT_FALSE(testhost::IsLive(handle));
    EXPECT_EQ(testhost::Calls(), 1); // the free alone
}

TEST_F(StaticColorUnload, UnloadingDrainsItsLockFirst) {
    void* const handle = testhost::MakeBlock(std::vector<std::uint8_t>(768));
    m_object->m_hMem = handle;
    m_object->m_pMem = GlobalLock(handle);
    m_object->m_bLocked = true;
    const int before = testhost::Calls();
    Unload();
    EXPECT_FALSE(testhost::IsLive(handle));
    EXPECT_EQ(testhost::Calls(), before + 4); // flags: 1; unlock; flags: 0; free
}

} // namespace
