// A file that is written: temporary file beside the target, synced, renamed.
#include "tools/output_file.h"

#include "tools/progress.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dibprep::tool {

namespace {

constexpr unsigned RenameNoReplace = 1;
constexpr std::size_t PieceSize = std::size_t{1} << 20;

ToolError Taken(const std::string& path) {
    return ToolError(ExitInputOutput, path + ": exists already and is kept. Choose another name, or add --force "
                                             "to replace it.");
}

ToolError WriteFailure(const std::string& path, int error) {
    return ToolError(ExitInputOutput, path + ": cannot be written: " + std::strerror(error) + ".");
}

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// rename() that fails with EEXIST where the name is taken. File systems without that flag get a
// second hard link, which fails the same way; where there are no hard links either, a test just
// before the rename is the best that can be had.
int RenameNew(const char* from, const char* to) {
    if (syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, RenameNoReplace) == 0)
        return 0;
    if (errno != ENOSYS && errno != EINVAL)
        return -1;
    if (link(from, to) == 0) {
        unlink(from);
        return 0;
    }
    if (errno == EEXIST)
        return -1;
    struct stat status;
    if (lstat(to, &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return rename(from, to);
}

mode_t NewFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& path, bool replace) : m_path(path), m_target(path), m_replace(replace) {
    if (NameOf(path).empty())
        throw ToolError(ExitInputOutput, path + ": is a folder; give a file name.");
    struct stat status;
    if (lstat(path.c_str(), &status) == 0) {
        // A rename onto a link would replace the link itself: write where it points.
        if (S_ISLNK(status.st_mode)) {
            char* real = realpath(path.c_str(), nullptr);
            if (!real)
                throw WriteFailure(path, errno);
            m_target = real;
            std::free(real);
        }
        if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            throw ToolError(ExitInputOutput, path + ": is not a plain file, so no picture can be written there.");
        if (!replace)
            throw Taken(path);
    }
    const std::string folder = FolderOf(m_target);
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw ToolError(ExitInputOutput,
                        path + ": the folder " + folder + " cannot be written: " + std::strerror(errno) + ".");
}

OutputFile::~OutputFile() { Discard(); }

void OutputFile::Discard() {
    if (m_file >= 0)
        close(m_file);
    m_file = -1;
    if (!m_temporary.empty())
        unlink(m_temporary.c_str());
    m_temporary.clear();
    RemoveWhenKilled(nullptr);
}

void OutputFile::Open() {
    const std::string folder = FolderOf(m_target);
    // A long name keeps its beginning: the temporary one must not be longer than the file system takes.
    std::string name = folder + "/." + NameOf(m_target).substr(0, 200) + ".XXXXXX";
    m_file = mkostemp(&name[0], O_CLOEXEC);
    if (m_file < 0)
        throw WriteFailure(m_path, errno);
    m_temporary = name;
    RemoveWhenKilled(m_temporary.c_str());
}

void OutputFile::Write(const void* bytes, std::size_t count) {
    if (m_file < 0)
        Open();
    const auto* at = static_cast<const std::uint8_t*>(bytes);
    while (count > 0) {
        ThrowIfStopped();
        const ssize_t written = write(m_file, at, std::min(count, PieceSize));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw WriteFailure(m_path, errno);
        at += written;
        count -= static_cast<std::size_t>(written);
    }
}

void OutputFile::Commit() {
    if (m_file < 0)
        Open();
    struct stat status;
    const mode_t mode = stat(m_target.c_str(), &status) == 0 ? (status.st_mode & 07777) : NewFileMode();
    if (fchmod(m_file, mode) != 0 || fsync(m_file) != 0)
        throw WriteFailure(m_path, errno);
    const int closed = close(m_file);
    m_file = -1;
    if (closed != 0)
        throw WriteFailure(m_path, errno);
    ThrowIfStopped();
    const int renamed =
        m_replace ? rename(m_temporary.c_str(), m_target.c_str()) : RenameNew(m_temporary.c_str(), m_target.c_str());
    if (renamed != 0) {
        const int error = errno;
        throw error == EEXIST ? Taken(m_path) : WriteFailure(m_path, error);
    }
    m_temporary.clear();
    RemoveWhenKilled(nullptr);
    // The new name outlives a power cut only when the folder is on the disk too. The picture itself is
    // complete here, so a file system that cannot sync a folder is no failure.
    const int folder = open(FolderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
}

} // namespace dibprep::tool
