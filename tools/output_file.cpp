// A file that is written: first without a name, then synced, then given its name.
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

void (*g_tell)(const char* path) = nullptr;

ToolError Taken(const std::string& path) {
    return {ExitInputOutput, path + ": exists already and is kept. Choose another name, or add --force to replace it."};
}

ToolError WriteFailure(const std::string& path, int error) {
    return {ExitInputOutput, path + ": cannot be written: " + std::strerror(error) + "."};
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

// Where the process finds its own open file by name.
std::string DescriptorPath(int file) { return "/proc/self/fd/" + std::to_string(file); }

// A long name keeps its beginning: the temporary one must not be longer than the file system takes.
std::string TemporaryPattern(const std::string& target) {
    return FolderOf(target) + "/." + NameOf(target).substr(0, 200) + ".XXXXXX";
}

// Gives an open file without a name the name `to`, which must be free.
int LinkOpenFile(int file, const std::string& to) {
    return linkat(AT_FDCWD, DescriptorPath(file).c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW);
}

// What a link leads to when nothing is there: the text of the link, for the message.
std::string LinkText(const std::string& path) {
    char text[4096];
    const ssize_t length = readlink(path.c_str(), text, sizeof text);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

} // namespace

void TellTemporaryNames(void (*tell)(const char* path)) { g_tell = tell; }

OutputFile::OutputFile(const std::string& path, bool replace) : m_path(path), m_target(path), m_replace(replace) {
    if (path == "-") {
        if (isatty(STDOUT_FILENO) == 1)
            throw ToolError(ExitUsage, "OUT is -, but the standard output is a terminal, which shows no pictures. "
                                       "Send it to a file or to a program.");
        m_path = "standard output";
        m_standard = true;
        return;
    }
    if (NameOf(path).empty())
        throw ToolError(ExitInputOutput, path + ": is a folder; give a file name.");
    struct stat status;
    if (lstat(path.c_str(), &status) == 0) {
        // A rename onto a link would replace the link itself: write where it points.
        if (S_ISLNK(status.st_mode)) {
            char* real = realpath(path.c_str(), nullptr);
            if (!real && errno == ENOENT)
                throw ToolError(ExitInputOutput, path + ": is a symbolic link to " + LinkText(path) +
                                                     ", which does not exist. Remove the link, or make what it "
                                                     "leads to.");
            if (!real)
                throw WriteFailure(path, errno);
            m_target = real;
            std::free(real);
        }
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
            throw ToolError(ExitInputOutput, path + ": is a folder; give a file name in it.");
        if (!S_ISREG(status.st_mode))
            throw ToolError(ExitInputOutput, path + ": is not a plain file, so no picture can be written there.");
        if (!replace)
            throw Taken(path);
    } else if (errno != ENOENT && errno != ENOTDIR) {
        throw WriteFailure(path, errno); // a name too long, above all
    }
    const std::string folder = FolderOf(m_target);
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw ToolError(ExitInputOutput,
                        path + ": the folder " + folder + " cannot be written: " + std::strerror(errno) + ".");
}

OutputFile::~OutputFile() { Discard(); }

void OutputFile::Discard() {
    if (m_standard)
        return;
    if (m_file >= 0)
        close(m_file);
    m_file = -1;
    if (!m_temporary.empty())
        unlink(m_temporary.c_str());
    m_temporary.clear();
    RemoveWhenKilled(nullptr);
}

void OutputFile::Open() {
    if (m_standard) {
        m_file = STDOUT_FILENO;
        return;
    }
    // A file without a name vanishes with the process, however that ends.
    m_file = open(FolderOf(m_target).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (m_file >= 0 && access(DescriptorPath(m_file).c_str(), F_OK) == 0)
        return;
    if (m_file >= 0)
        close(m_file);
    // Some file systems have no such files; those get a temporary name from the start.
    std::string name = TemporaryPattern(m_target);
    const SignalsHeld held;
    m_file = mkostemp(name.data(), O_CLOEXEC);
    if (m_file < 0)
        throw WriteFailure(m_path, errno);
    m_temporary = name;
    RemoveWhenKilled(m_temporary.c_str());
    if (g_tell)
        g_tell(m_temporary.c_str());
}

// 0 or an error number.
int OutputFile::GiveName() {
    if (m_temporary.empty()) {
        if (LinkOpenFile(m_file, m_target) == 0)
            return 0;
        if (errno != EEXIST || !m_replace)
            return errno;
        // Only a rename replaces a file in one step, and it wants a name to start from.
        for (unsigned attempt = 0; m_temporary.empty(); ++attempt) {
            std::string name = TemporaryPattern(m_target);
            name.replace(name.size() - 6, 6, std::to_string(getpid()) + "-" + std::to_string(attempt));
            if (LinkOpenFile(m_file, name) == 0)
                m_temporary = name;
            else if (errno != EEXIST)
                return errno;
        }
        RemoveWhenKilled(m_temporary.c_str());
    }
    const int renamed =
        m_replace ? rename(m_temporary.c_str(), m_target.c_str()) : RenameNew(m_temporary.c_str(), m_target.c_str());
    return renamed == 0 ? 0 : errno;
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
        m_size += static_cast<std::uint64_t>(written);
    }
}

void OutputFile::Commit() {
    if (m_file < 0)
        Open();
    if (m_standard) {
        ResultIsWritten();
        return;
    }
    struct stat status;
    const mode_t mode = stat(m_target.c_str(), &status) == 0 ? (status.st_mode & 07777) : NewFileMode();
    if (fchmod(m_file, mode) != 0 || fsync(m_file) != 0)
        throw WriteFailure(m_path, errno);
    ThrowIfStopped();
    {
        const SignalsHeld held;
        const int error = GiveName();
        if (error != 0)
            throw error == EEXIST ? Taken(m_path) : WriteFailure(m_path, error);
        m_temporary.clear();
        RemoveWhenKilled(nullptr);
        ResultIsWritten();
    }
    // The bytes are on the disk since the sync: what closing may still report is not about them.
    close(m_file);
    m_file = -1;
    // The new name outlives a power cut only when the folder is on the disk too. The picture itself is
    // complete here, so a file system that cannot sync a folder is no failure.
    const int folder = open(FolderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
}

} // namespace dibprep::tool
