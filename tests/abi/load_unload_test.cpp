// The library's time: what it asks of the host when it is loaded and unloaded. This program is the
// host; it counts every call and every block.
#include "dibprep/host.h"
#include "dibprep/quantize.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Block {
    size_t size;
    unsigned int locks;
    bool isLive;
    unsigned char* bytes;
};

constexpr int MaxBlocks = 64;
Block blocks[MaxBlocks];
int blockCount;
int calls;    // of any host function
int badCalls; // handles that are none, locks dropped that were not taken

Block* Find(void* handle) {
    ++calls;
    auto* const block = static_cast<Block*>(handle);
    if (block >= blocks && block < blocks + blockCount && block->isLive)
        return block;
    ++badCalls;
    return nullptr;
}

int LiveBlocks() {
    int live = 0;
    for (int i = 0; i < blockCount; ++i)
        live += blocks[i].isLive;
    return live;
}

} // namespace

extern "C" {

void* GlobalAlloc(unsigned int, size_t bytes) {
    ++calls;
    if (blockCount == MaxBlocks)
        return nullptr;
    Block& block = blocks[blockCount++];
    block = Block{bytes, 0, true, static_cast<unsigned char*>(std::calloc(1, bytes))};
    return &block;
}
void* GlobalLock(void* handle) {
    Block* const block = Find(handle);
    if (!block)
        return nullptr;
    ++block->locks;
    return block->bytes;
}
int GlobalUnlock(void* handle) {
    Block* const block = Find(handle);
    if (!block || block->locks == 0) {
        ++badCalls;
        return 0;
    }
    return --block->locks != 0;
}
void* GlobalFree(void* handle) {
    Block* const block = Find(handle);
    if (!block)
        return handle;
    if (block->locks != 0)
        ++badCalls;
    block->isLive = false;
    std::free(block->bytes);
    return nullptr;
}
size_t GlobalSize(void* handle) {
    const Block* const block = Find(handle);
    return block ? block->size : 0;
}
unsigned int GlobalFlags(void* handle) {
    const Block* const block = Find(handle);
    return block ? block->locks : 32768;
}

void CopyMemory(void* destination, const void* source, size_t bytes) {
    ++calls;
    std::memcpy(destination, source, bytes);
}
void FillMemory(void* destination, size_t bytes, unsigned char value) {
    ++calls;
    std::memset(destination, value, bytes);
}
void ZeroMemory(void* destination, size_t bytes) {
    ++calls;
    std::memset(destination, 0, bytes);
}
int IsBadReadPtr(const void*, size_t) {
    ++calls;
    return 0;
}

void* CreateFile(const char*, unsigned int, unsigned int, void*, unsigned int, unsigned int, void*) {
    ++calls;
    return reinterpret_cast<void*>(intptr_t{-1});
}
int ReadFile(void*, void*, unsigned int, unsigned int*, void*) { return ++calls, 0; }
int WriteFile(void*, const void*, unsigned int, unsigned int*, void*) { return ++calls, 0; }
unsigned int SetFilePointer(void*, int, int*, unsigned int) { return ++calls, 0xFFFFFFFF; }
int CloseHandle(void*) { return ++calls, 0; }

int SetRect(tagRECT*, int, int, int, int) { return ++calls, 0; }
void* CreatePalette(const void*) { return ++calls, nullptr; }
unsigned int RGB(unsigned char red, unsigned char green, unsigned char blue) {
    return ++calls, red | green << 8 | blue << 16;
}
unsigned char GetRValue(unsigned int colour) { return ++calls, static_cast<unsigned char>(colour); }
unsigned char GetGValue(unsigned int colour) { return ++calls, static_cast<unsigned char>(colour >> 8); }
unsigned char GetBValue(unsigned int colour) { return ++calls, static_cast<unsigned char>(colour >> 16); }
int EnumObjects(void*, int, int (*)(void*, intptr_t), intptr_t) { return ++calls, -1; }

} // extern "C"

namespace {

class Library {
public:
    Library() : m_handle(dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        if (!m_handle)
            m_error = dlerror();
    }
    ~Library() {
        if (m_handle)
            dlclose(m_handle);
    }
    explicit operator bool() const { return m_handle != nullptr; }
    const std::string& error() const { return m_error; }

    template <class Type>
    Type* Symbol(const char* name) const {
        return reinterpret_cast<Type*>(dlsym(m_handle, name));
    }
    void Call(const char* name) const {
        auto* const function = Symbol<void()>(name);
        ASSERT_NE(function, nullptr) << name;
        function();
    }
    // 0 when the library's code and data are really gone.
    int Unload() {
        dlclose(m_handle);
        m_handle = nullptr;
        return dlopen(DIBPREP_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr;
    }
    // Leaves the library loaded for good.
    void Forget() { m_handle = nullptr; }

private:
    void* m_handle;
    std::string m_error;
};

// CHandle's words as they stand in memory: this program has none of the library's code for the class.
struct HandleRecord {
    const void* virtualTable;
    void* block;
    void* address;
    bool isLocked;
};

constexpr const char* SetStaticColors = "_ZN8CNiGoRo215SetStaticColorsEv";
constexpr const char* CreateStaticSearchCube = "_ZN8CNiGoRo222CreateStaticSearchCubeEv";
constexpr const char* DeleteStaticSearchCube = "_ZN8CNiGoRo222DeleteStaticSearchCubeEv";
constexpr const char* StaticColorNumber = "_ZN8CNiGoRo214m_iStcColorNumE";

class LoadUnload : public testing::Test {
protected:
    LoadUnload() { blockCount = calls = badCalls = 0; }
    ~LoadUnload() override {
        EXPECT_EQ(LiveBlocks(), 0);
        EXPECT_EQ(badCalls, 0);
    }
};

TEST_F(LoadUnload, LoadingAndUnloadingCallTheHostNotOnce) {
    Library library;
    ASSERT_TRUE(library) << library.error();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(library.Unload(), 0);
    EXPECT_EQ(calls, 0);
}

TEST_F(LoadUnload, StaticPaletteIsEmptyWhenLoaded) {
    Library library;
    ASSERT_TRUE(library) << library.error();
    const auto* const color = library.Symbol<HandleRecord>("STATIC_COLOR");
    const auto* const number = library.Symbol<int>(StaticColorNumber);
    const auto* const cube = library.Symbol<CCubeCell>("STATIC_CUBE");
    ASSERT_TRUE(color && number && cube);
    EXPECT_EQ(color->block, nullptr);
    EXPECT_EQ(color->address, nullptr);
    EXPECT_FALSE(color->isLocked);
    EXPECT_EQ(*number, 0);
    for (int i = 0; i < 4096; ++i) {
        ASSERT_EQ(cube[i].m_nCount, 0);
        ASSERT_EQ(cube[i].m_pList, nullptr);
    }
}

TEST_F(LoadUnload, UnloadingUnlocksAndFreesTheStaticPalette) {
    Library library;
    ASSERT_TRUE(library) << library.error();
    library.Call(SetStaticColors);
    const auto* const color = library.Symbol<HandleRecord>("STATIC_COLOR");
    ASSERT_NE(color, nullptr);
    EXPECT_EQ(*library.Symbol<int>(StaticColorNumber), 256);
    ASSERT_EQ(LiveBlocks(), 1);
    EXPECT_EQ(color->block, &blocks[0]);
    EXPECT_EQ(blocks[0].size, 768u);
    EXPECT_EQ(blocks[0].bytes[244 * 3], 255);

    EXPECT_EQ(library.Unload(), 0);
    EXPECT_EQ(LiveBlocks(), 0);
    EXPECT_EQ(blocks[0].locks, 0u);
    EXPECT_EQ(badCalls, 0);
}

TEST_F(LoadUnload, LibraryLoadedAgainStartsEmpty) {
    for (int round = 1; round <= 3; ++round) {
        Library library;
        ASSERT_TRUE(library) << library.error();
        const auto* const color = library.Symbol<HandleRecord>("STATIC_COLOR");
        ASSERT_NE(color, nullptr);
        EXPECT_EQ(color->block, nullptr);
        library.Call(SetStaticColors);
        library.Call(SetStaticColors);
        EXPECT_EQ(blockCount, round); // one new block each time
        EXPECT_EQ(library.Unload(), 0);
        EXPECT_EQ(LiveBlocks(), 0);
    }
}

TEST_F(LoadUnload, CubeIsBuiltAndDeletedWithinTheLibrarysTime) {
    Library library;
    ASSERT_TRUE(library) << library.error();
    library.Call(CreateStaticSearchCube);
    const auto* const cube = library.Symbol<CCubeCell>("STATIC_CUBE");
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(cube[0].m_nCount, 5);
    library.Call(DeleteStaticSearchCube);
    EXPECT_EQ(cube[0].m_nCount, 0);
    EXPECT_EQ(LiveBlocks(), 1); // the palette stays
    EXPECT_EQ(library.Unload(), 0);
    EXPECT_EQ(LiveBlocks(), 0);
}

// Runs after the library's own handlers, which were registered later.
void EndWithAccount() { _exit(LiveBlocks() == 0 && badCalls == 0 && blockCount == 1 ? 7 : 1); }

[[noreturn]] void UseAndExit() {
    std::atexit(EndWithAccount);
    Library library;
    if (!library)
        _exit(2);
    library.Call(SetStaticColors);
    library.Forget();
    std::exit(0);
}

TEST_F(LoadUnload, LibraryThatStaysLoadedFreesTheStaticPaletteAtExit) {
    EXPECT_EXIT(UseAndExit(), testing::ExitedWithCode(7), "");
}

} // namespace
