// The layout of CHandle as other compilers' code sees it.
#include "dibprep/memory.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

namespace {

constexpr std::size_t Word = sizeof(void*);

// The fields of an object in memory, counted from its first byte.
template <class T>
std::size_t OffsetIn(const CHandle& object, const T& field) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object));
}

TEST(HandleLayout, TableThenTwoPointersThenAByte) {
    CHandle object(nullptr);
    EXPECT_EQ(OffsetIn(object, object.m_hMem), Word);
    EXPECT_EQ(OffsetIn(object, object.m_pMem), 2 * Word);
    EXPECT_EQ(OffsetIn(object, object.m_bLocked), 3 * Word);
    EXPECT_EQ(sizeof object.m_bLocked, 1u);
    EXPECT_EQ(sizeof(CHandle), 4 * Word); // 16 bytes in 32 bits
}

TEST(HandleLayout, FlagIsOneAsAByte) {
    void* const handle = testhost::MakeBlock({1});
    CHandle object(handle);
    object.Lock();
    unsigned char flag;
    std::memcpy(&flag, &object.m_bLocked, 1);
    EXPECT_EQ(flag, 1);
    object.UnLock();
    std::memcpy(&flag, &object.m_bLocked, 1);
    EXPECT_EQ(flag, 0);
}

TEST(HandleLayout, TheDestructorIsTheOnlyVirtualFunction) {
    EXPECT_TRUE(std::has_virtual_destructor<CHandle>::value);
    EXPECT_TRUE((std::is_same<decltype(&CHandle::Lock), void* (CHandle::*)()>::value));
    // Slot 0 destroys, slot 1 destroys and gives the memory back.
    testhost::Reset();
    void* const handle = testhost::MakeBlock({1});
    alignas(CHandle) unsigned char room[sizeof(CHandle)];
    CHandle* const object = new (room) CHandle(handle);
    using Slot = void (*)(CHandle*);
    const Slot* table;
    std::memcpy(&table, room, sizeof table);
    table[0](object);
    EXPECT_FALSE(testhost::IsLive(handle));
    EXPECT_EQ(testhost::BadCalls(), 0);
    void* const other = testhost::MakeBlock({1});
    CHandle* const onTheHeap = new CHandle(other);
    std::memcpy(&table, static_cast<void*>(onTheHeap), sizeof table);
    table[1](onTheHeap);
    EXPECT_FALSE(testhost::IsLive(other));
    testhost::Reset();
}

TEST(HandleLayout, MembersCannotBeCopyConstructed) {
    EXPECT_FALSE(std::is_copy_constructible<CHandle>::value);
    EXPECT_TRUE(std::is_copy_assignable<CHandle>::value);
}

} // namespace
