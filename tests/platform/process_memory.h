// How much memory this process holds, and pages with chosen protection.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

namespace platformtest {

// A size that the system tells of this process, in bytes.
inline std::size_t StatusBytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name) {
            std::size_t kilobytes = 0;
            status >> kilobytes;
            return kilobytes * 1024;
        }
    }
    std::abort();
}

// Resident memory, and the address space in use.
inline std::size_t ResidentBytes() { return StatusBytes("VmRSS:"); }
inline std::size_t AddressBytes() { return StatusBytes("VmSize:"); }

inline std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

// Readable pages of which single ones can be made unreadable.
class Pages {
public:
    explicit Pages(std::size_t count)
        : m_bytes(count * PageSize()),
          m_map(mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        if (m_map == MAP_FAILED)
            std::abort();
    }
    ~Pages() { munmap(m_map, m_bytes); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    std::uint8_t* At(std::size_t page) const { return static_cast<std::uint8_t*>(m_map) + page * PageSize(); }
    void Protect(std::size_t page, int protection) const {
        if (mprotect(At(page), PageSize(), protection) != 0)
            std::abort();
    }

private:
    std::size_t m_bytes;
    void* m_map;
};

} // namespace platformtest
