// Copying, filling and the readability probe.
#include "tests/platform/process_memory.h"

#include "dibprep/host.h"

#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

using platformtest::Pages;
using platformtest::PageSize;

TEST(HostRawMemory, CopyMovesOverlappingBytes) {
    std::array<unsigned char, 6> bytes = {1, 2, 3, 4, 5, 6};
    CopyMemory(bytes.data() + 1, bytes.data(), 5);
    EXPECT_EQ(bytes, (std::array<unsigned char, 6>{1, 1, 2, 3, 4, 5}));
    CopyMemory(nullptr, nullptr, 0);
}

TEST(HostRawMemory, FillAndZeroTouchOnlyTheirRange) {
    std::array<unsigned char, 6> bytes = {1, 2, 3, 4, 5, 6};
    FillMemory(bytes.data() + 1, 3, 0xAB);
    EXPECT_EQ(bytes, (std::array<unsigned char, 6>{1, 0xAB, 0xAB, 0xAB, 5, 6}));
    ZeroMemory(bytes.data() + 2, 2);
    EXPECT_EQ(bytes, (std::array<unsigned char, 6>{1, 0xAB, 0, 0, 5, 6}));
    FillMemory(nullptr, 0, 1);
    ZeroMemory(nullptr, 0);
}

TEST(HostProbe, OrdinaryMemoryIsReadable) {
    const unsigned char bytes[44] = {};
    EXPECT_EQ(IsBadReadPtr(bytes, 44), 0);
    EXPECT_EQ(IsBadReadPtr(bytes + 3, 1), 0);
    static const char constant[] = "constant";
    EXPECT_EQ(IsBadReadPtr(constant, sizeof constant), 0);
}

TEST(HostProbe, NoBytesAreAlwaysReadable) {
    EXPECT_EQ(IsBadReadPtr(nullptr, 0), 0);
    EXPECT_EQ(IsBadReadPtr(reinterpret_cast<void*>(UINTPTR_MAX), 0), 0);
}

TEST(HostProbe, NullAndLowAddressesAreNot) {
    EXPECT_NE(IsBadReadPtr(nullptr, 1), 0);
    EXPECT_NE(IsBadReadPtr(nullptr, 44), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void*>(std::uintptr_t{0x10}), 40), 0);
}

TEST(HostProbe, RangesOverTheEndOfTheAddressSpaceAreNot) {
    const unsigned char bytes[44] = {};
    EXPECT_NE(IsBadReadPtr(bytes, SIZE_MAX), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void*>(UINTPTR_MAX - 10), 44), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void*>(UINTPTR_MAX - 10), 11), 0);
    EXPECT_NE(IsBadReadPtr(reinterpret_cast<void*>(UINTPTR_MAX), 1), 0);
}

TEST(HostProbe, UnreadablePageInFrontBehindAndInTheMiddleIsFound) {
    const Pages pages(5);
    pages.Protect(0, PROT_NONE);
    pages.Protect(4, PROT_NONE);
    const std::uint8_t* const first = pages.At(1);
    const std::size_t room = 3 * PageSize();
    EXPECT_EQ(IsBadReadPtr(first, room), 0);
    EXPECT_NE(IsBadReadPtr(first - 1, room), 0);
    EXPECT_NE(IsBadReadPtr(first - 1, 1), 0);
    EXPECT_NE(IsBadReadPtr(first, room + 1), 0);
    EXPECT_NE(IsBadReadPtr(first + room, 1), 0);
    EXPECT_EQ(IsBadReadPtr(first + room - 1, 1), 0);
    EXPECT_EQ(IsBadReadPtr(first + room - 44, 44), 0);
    EXPECT_NE(IsBadReadPtr(first + room - 43, 44), 0);
    EXPECT_NE(IsBadReadPtr(first + room - 1, 2), 0);
    pages.Protect(2, PROT_NONE);
    EXPECT_NE(IsBadReadPtr(first, room), 0);
    EXPECT_EQ(IsBadReadPtr(first, PageSize()), 0);
    EXPECT_NE(IsBadReadPtr(first, PageSize() + 1), 0);
    EXPECT_EQ(IsBadReadPtr(pages.At(3), PageSize()), 0);
}

TEST(HostProbe, ReadOnlyPagesAreReadable) {
    const Pages pages(6);
    for (std::size_t i = 0; i < 6; ++i)
        pages.Protect(i, PROT_READ);
    EXPECT_EQ(IsBadReadPtr(pages.At(0), 6 * PageSize()), 0);
}

TEST(HostProbe, OneUnreadablePageInALongRangeIsFoundWhereverItIs) {
    constexpr std::size_t Count = 1600;
    const Pages pages(Count);
    EXPECT_EQ(IsBadReadPtr(pages.At(0), Count * PageSize()), 0);
    EXPECT_EQ(IsBadReadPtr(pages.At(0) + 100, Count * PageSize() - 200), 0);
    for (const std::size_t hole : {0, 1, 510, 511, 512, 513, 1023, 1024, 1500, 1598, 1599}) {
        pages.Protect(hole, PROT_NONE);
        EXPECT_NE(IsBadReadPtr(pages.At(0), Count * PageSize()), 0) << hole;
        EXPECT_NE(IsBadReadPtr(pages.At(0) + 5, Count * PageSize() - 10), 0) << hole;
        pages.Protect(hole, PROT_READ);
    }
}

TEST(HostProbe, PagesOfAFileBehindItsEndAreNotReadable) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
    ASSERT_NE(file, nullptr);
    const int descriptor = fileno(file.get());
    ASSERT_EQ(ftruncate(descriptor, static_cast<off_t>(PageSize())), 0);
    void* const map = mmap(nullptr, 2 * PageSize(), PROT_READ, MAP_SHARED, descriptor, 0);
    ASSERT_NE(map, MAP_FAILED);
    EXPECT_EQ(IsBadReadPtr(map, PageSize()), 0);
    EXPECT_NE(IsBadReadPtr(map, PageSize() + 1), 0);
    munmap(map, 2 * PageSize());
}

namespace {

// From here on this process may not read memory through the call that the probe prefers.
bool ForbidSelfReads() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof rules / sizeof rules[0], rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

constexpr int CannotForbid = 9;

// 0 when the probe answers right in a sandbox, else the number of the wrong answer.
int ProbeInSandbox() {
    const Pages pages(700);
    if (!ForbidSelfReads())
        return CannotForbid;
    if (IsBadReadPtr(pages.At(0), 700 * PageSize()) != 0)
        return 1;
    pages.Protect(600, PROT_NONE);
    if (IsBadReadPtr(pages.At(0), 700 * PageSize()) == 0)
        return 2;
    if (IsBadReadPtr(pages.At(0), 600 * PageSize()) != 0)
        return 3;
    if (IsBadReadPtr(pages.At(600) - 40, 41) == 0)
        return 4;
    return 0;
}

} // namespace

TEST(HostProbeDeathTest, WorksWhereReadingItselfIsForbidden) {
    EXPECT_EXIT(std::_Exit(ProbeInSandbox()), testing::ExitedWithCode(0), "");
}
