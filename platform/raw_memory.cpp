// Copying, filling and probing plain memory.
#include "dibprep/host.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// Pages looked at by one system call of a long range. The few pages of a header or a row are asked
// for one by one, which is quicker.
constexpr std::size_t Batch = 512;
constexpr std::size_t FewPages = 4;

// Lets the kernel read the byte at `address` where a bad address is an error, not a signal: a
// request to change the signal mask that is refused for its first argument, but only after the new
// mask was read. Works where sandboxes forbid process_vm_readv, one page per call.
bool ByteIsReadable(std::uintptr_t address) {
    // Eight bytes are read, so start at a multiple of eight: they never leave the page. Null would
    // stand for no mask at all; its neighbours are on the same page.
    const std::uintptr_t mask = std::max(address & ~std::uintptr_t{7}, std::uintptr_t{8});
    const long answer = syscall(SYS_rt_sigprocmask, -1, mask, nullptr, std::size_t{8});
    return answer == 0 || errno != EFAULT;
}

// The first bytes of the pages at the given addresses, as far as they can be read in one go; how many
// that were, or -1 where this kernel does not let a process read itself so.
ssize_t ReadLeading(const iovec* pages, std::size_t count) {
    unsigned char sink[Batch];
    const iovec local = {sink, count};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, pages, count, 0);
    return got < 0 && errno == EFAULT ? 0 : got;
}

// Whether one byte in each of `count` pages can be read, at `first` and at the starts of the pages
// behind it.
bool PagesAreReadable(std::uintptr_t first, std::size_t count, std::size_t page) {
    iovec pages[Batch];
    std::uintptr_t address = first;
    for (std::size_t i = 0; i < count; ++i) {
        pages[i] = {reinterpret_cast<void*>(address), 1};
        address = (address & ~(page - 1)) + page;
    }
    for (std::size_t done = 0; done < count;) {
        const ssize_t got = count <= FewPages ? 0 : ReadLeading(pages + done, count - done);
        if (got > 0)
            done += static_cast<std::size_t>(got);
        // The page after the good ones is bad, or of a kind (device memory) that only this can judge.
        if (done < count && !ByteIsReadable(reinterpret_cast<std::uintptr_t>(pages[done].iov_base)))
            return false;
        if (done < count)
            ++done;
    }
    return true;
}

} // namespace

extern "C" {

void CopyMemory(void* destination, const void* source, size_t bytes) {
    if (bytes != 0)
        std::memmove(destination, source, bytes);
}

void FillMemory(void* destination, size_t bytes, unsigned char value) {
    if (bytes != 0)
        std::memset(destination, value, bytes);
}

void ZeroMemory(void* destination, size_t bytes) { FillMemory(destination, bytes, 0); }

// Nonzero when any byte of the range cannot be read. A range that runs over the end of the address
// space cannot; one of no bytes always can.
int IsBadReadPtr(const void* address, size_t bytes) {
    if (bytes == 0)
        return 0;
    const auto first = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t last = first + (bytes - 1);
    if (last < first)
        return 1;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t left = last / page - first / page + 1;
    for (std::uintptr_t at = first; left != 0;) {
        const std::size_t count = std::min(left, Batch);
        if (!PagesAreReadable(at, count, page))
            return 1;
        left -= count;
        at = (at & ~(page - 1)) + count * page;
    }
    return 0;
}

} // extern "C"
