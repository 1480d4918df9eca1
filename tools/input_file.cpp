// A file that is read.
#include "tools/input_file.h"

#include "tools/progress.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dibprep::tool {

namespace {

constexpr std::size_t PieceSize = std::size_t{1} << 20;

ToolError ReadFailure(const std::string& path) {
    return {ExitInputOutput, path + ": reading failed: " + std::strerror(errno) + "."};
}

} // namespace

InputFile::InputFile(const std::string& path) : m_path(path) {
    const bool standard = path == "-";
    if (standard)
        m_path = "standard input";
    if (standard && isatty(STDIN_FILENO) == 1)
        throw ToolError(ExitUsage, "IN is -, but the standard input is a terminal. Send a picture to it.");
    m_file = standard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_file < 0)
        ThrowIfStopped(); // a pipe that nobody writes to waits here
    if (m_file < 0 && standard)
        throw ReadFailure(m_path);
    if (m_file < 0)
        throw ToolError(ExitInputOutput,
                        path + ": cannot be opened: " + std::strerror(errno) + ". Check the name and the permissions.");
    struct stat status;
    if (fstat(m_file, &status) != 0 || S_ISDIR(status.st_mode)) {
        close(m_file);
        throw ToolError(ExitInputOutput, m_path + ": is a folder; name a picture file in it.");
    }
    // A standard input that somebody has read from already goes on where it stands.
    if (S_ISREG(status.st_mode) && (!standard || lseek(m_file, 0, SEEK_CUR) == 0)) {
        m_size = static_cast<std::uint64_t>(status.st_size);
        return;
    }
    try {
        ReadToEnd();
    } catch (...) {
        close(m_file);
        throw;
    }
}

InputFile::~InputFile() { close(m_file); }

void InputFile::ReadToEnd() {
    m_inMemory = true;
    for (;;) {
        ThrowIfStopped();
        const std::size_t at = m_bytes.size();
        m_bytes.resize(at + PieceSize);
        const ssize_t count = read(m_file, m_bytes.data() + at, PieceSize);
        m_bytes.resize(at + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0)
            break;
        if (count < 0 && errno != EINTR)
            throw ReadFailure(m_path);
    }
    m_size = m_bytes.size();
}

void InputFile::ReadAt(std::uint64_t offset, void* to, std::size_t bytes) const {
    auto* target = static_cast<std::uint8_t*>(to);
    if (m_inMemory) {
        if (offset > m_size || bytes > m_size - offset)
            throw ToolError(ExitBadInput, m_path + ": ends too early.");
        std::copy_n(m_bytes.data() + static_cast<std::size_t>(offset), bytes, target);
        return;
    }
    while (bytes > 0) {
        ThrowIfStopped();
        const ssize_t count = pread(m_file, target, std::min(bytes, PieceSize), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw ReadFailure(m_path);
        if (count == 0)
            throw ToolError(ExitInputOutput, m_path + ": became shorter while it was read.");
        target += count;
        offset += static_cast<std::uint64_t>(count);
        bytes -= static_cast<std::size_t>(count);
    }
}

std::vector<std::uint8_t> InputFile::Head(std::size_t bytes) const {
    std::vector<std::uint8_t> head(static_cast<std::size_t>(std::min<std::uint64_t>(bytes, m_size)));
    if (!head.empty())
        ReadAt(0, head.data(), head.size());
    return head;
}

} // namespace dibprep::tool
