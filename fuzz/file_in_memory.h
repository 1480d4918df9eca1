// A file that lives in memory and has a path, for the functions that take one.
#pragma once

#include "fuzz/fuzz_input.h"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

class FileInMemory {
public:
    explicit FileInMemory(const Bytes& bytes) : m_file(memfd_create("fuzz", MFD_CLOEXEC)) {
        Require(m_file >= 0, "no file in memory can be had");
        Require(bytes.empty() || write(m_file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "the file in memory cannot be written");
        m_path = "/proc/self/fd/" + std::to_string(m_file);
    }
    ~FileInMemory() { close(m_file); }
    FileInMemory(const FileInMemory&) = delete;
    FileInMemory& operator=(const FileInMemory&) = delete;

    const char* Path() const { return m_path.c_str(); }

private:
    int m_file;
    std::string m_path;
};

} // namespace fuzz
