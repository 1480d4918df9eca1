// A file that is read: any part of it on demand, its size known from the start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dibprep::tool {

class InputFile {
public:
    // Opens the file, or leaves with a ToolError. What cannot seek (a pipe) is read to its end. "-" is
    // the standard input.
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // As the person wrote it, or "standard input".
    const std::string& Name() const { return m_path; }
    std::uint64_t Size() const { return m_size; }
    // Reads exactly these bytes, which must lie inside Size().
    void ReadAt(std::uint64_t offset, void* to, std::size_t bytes) const;
    // The first bytes, fewer where the file is shorter.
    std::vector<std::uint8_t> Head(std::size_t bytes) const;

private:
    void ReadToEnd();

    std::string m_path;
    int m_file = -1;
    bool m_inMemory = false;
    std::uint64_t m_size = 0;
    std::vector<std::uint8_t> m_bytes;
};

} // namespace dibprep::tool
