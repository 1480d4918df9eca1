// Files: thin forms of the system's calls, with 64-bit offsets in both widths.
#if !defined(_FILE_OFFSET_BITS)
#define _FILE_OFFSET_BITS 64 // NOLINT(bugprone-reserved-identifier): the C library's name
#endif

#include "platform/token_table.h"

#include "dibprep/host.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>

static_assert(sizeof(off_t) == 8, "files may be larger than 2 GiB");

namespace {

using dibhost::None;

struct File {
    int descriptor = -1;
};

dibhost::TokenTable<File, dibhost::FileKind, 12, 1024> table;
std::mutex mutex;

void* const NoFile = reinterpret_cast<void*>(std::intptr_t{-1});
constexpr unsigned int NoOffset = 0xFFFFFFFF;

constexpr unsigned int AccessRead = 0x80000000;
constexpr unsigned int AccessWrite = 0x40000000;

enum Creation : unsigned int {
    CreateNew = 1,
    CreateAlways = 2,
    OpenExisting = 3,
    OpenAlways = 4,
    TruncateExisting = 5
};
enum Method : unsigned int { FromStart = 0, FromCurrent = 1, FromEnd = 2 };

// One request to the system moves at most this much, in either width.
constexpr unsigned int LargestRequest = 1u << 30;

int DescriptorOf(const void* file) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(file);
    return index == None ? -1 : table[index].descriptor;
}

int CreationFlags(unsigned int creation) {
    switch (creation) {
    case CreateNew:
        return O_CREAT | O_EXCL;
    case CreateAlways:
        return O_CREAT | O_TRUNC;
    case OpenExisting:
        return 0;
    case OpenAlways:
        return O_CREAT;
    case TruncateExisting:
        return O_TRUNC;
    default:
        return -1;
    }
}

int Open(const char* path, int flags) {
    int descriptor;
    do {
        descriptor = open(path, flags, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Directories and what has no offset (pipes, terminals) are no files to this layer.
bool IsFile(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 && !S_ISDIR(status.st_mode) && lseek(descriptor, 0, SEEK_CUR) >= 0;
}

// Reads or writes until all is done, the file ends or an error comes; true without an error.
template <class Transfer>
bool TransferAll(unsigned int bytes, unsigned int& done, Transfer transfer) {
    done = 0;
    while (done < bytes) {
        const ssize_t count = transfer(done, std::min(bytes - done, LargestRequest));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            return true;
        done += static_cast<unsigned int>(count);
    }
    return true;
}

// Where the file would stand; negative when the method or the descriptor is bad or the sum leaves
// 63 bits.
std::int64_t NewOffset(int descriptor, std::int64_t distance, unsigned int method) {
    std::int64_t base = 0;
    if (method == FromCurrent) {
        base = lseek(descriptor, 0, SEEK_CUR);
    } else if (method == FromEnd) {
        const off_t current = lseek(descriptor, 0, SEEK_CUR);
        base = lseek(descriptor, 0, SEEK_END);
        if (current < 0 || lseek(descriptor, current, SEEK_SET) < 0)
            return -1;
    } else if (method != FromStart) {
        return -1;
    }
    if (base < 0 || (distance > 0 && base > INT64_MAX - distance))
        return -1;
    return base + distance;
}

} // namespace

extern "C" {

// Sharing, attributes and hints are ignored. A file that is to be opened for reading and writing but
// that this process may only read is opened for reading: a source is opened so, and needs no more.
void* CreateFile(const char* path, unsigned int access, unsigned int, void*, unsigned int creation, unsigned int,
                 void*) {
    const int creationFlags = CreationFlags(creation);
    if (!path || creationFlags < 0 || (access & (AccessRead | AccessWrite)) == 0)
        return NoFile;
    // Not to wait for the other end of a pipe, which is refused below.
    const int flags = creationFlags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const bool reads = (access & AccessRead) != 0;
    const bool writes = (access & AccessWrite) != 0;
    int descriptor = Open(path, flags | (writes ? reads ? O_RDWR : O_WRONLY : O_RDONLY));
    if (descriptor < 0 && reads && writes && creation == OpenExisting &&
        (errno == EACCES || errno == EPERM || errno == EROFS || errno == ETXTBSY))
        descriptor = Open(path, flags | O_RDONLY);
    if (descriptor < 0)
        return NoFile;
    if (IsFile(descriptor)) {
        const std::lock_guard<std::mutex> guard(mutex);
        const std::uint32_t index = table.Add();
        if (index != None) {
            table[index].descriptor = descriptor;
            return table.TokenOf(index);
        }
    }
    close(descriptor);
    return NoFile;
}

// At the end of the file: success with fewer bytes, or none.
int ReadFile(void* file, void* buffer, unsigned int bytes, unsigned int* bytesRead, void* overlapped) {
    const int descriptor = DescriptorOf(file);
    unsigned int done = 0;
    const auto readSome = [&](unsigned int at, unsigned int count) {
        return read(descriptor, static_cast<char*>(buffer) + at, count);
    };
    const bool ok = descriptor >= 0 && !overlapped && TransferAll(bytes, done, readSome);
    if (bytesRead)
        *bytesRead = done;
    return ok;
}

int WriteFile(void* file, const void* buffer, unsigned int bytes, unsigned int* bytesWritten, void* overlapped) {
    const int descriptor = DescriptorOf(file);
    unsigned int done = 0;
    const auto writeSome = [&](unsigned int at, unsigned int count) {
        return write(descriptor, static_cast<const char*>(buffer) + at, count);
    };
    const bool ok = descriptor >= 0 && !overlapped && TransferAll(bytes, done, writeSome);
    if (bytesWritten)
        *bytesWritten = done;
    return ok && done == bytes;
}

// Without distanceHigh the distance is a signed 32-bit one and the new offset must stay below
// 0xFFFFFFFF. With it the distance has 64 bits, *distanceHigh receives the upper half of the new
// offset, and -1 (which no offset has there) on failure. A failed call moves nothing.
unsigned int SetFilePointer(void* file, int distance, int* distanceHigh, unsigned int method) {
    const int descriptor = DescriptorOf(file);
    std::int64_t wanted = distance;
    if (distanceHigh) {
        const std::uint64_t upper = static_cast<std::uint32_t>(*distanceHigh);
        wanted = static_cast<std::int64_t>(upper << 32 | static_cast<std::uint32_t>(distance));
        *distanceHigh = -1;
    }
    const std::int64_t offset = descriptor < 0 ? -1 : NewOffset(descriptor, wanted, method);
    if (offset < 0 || (!distanceHigh && offset >= NoOffset) || lseek(descriptor, offset, SEEK_SET) < 0)
        return NoOffset;
    if (distanceHigh)
        *distanceHigh = static_cast<int>(offset >> 32);
    return static_cast<unsigned int>(offset);
}

// 0 also where the system reports only now that written bytes could not be stored.
int CloseHandle(void* file) {
    int descriptor;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const std::uint32_t index = table.Find(file);
        if (index == None)
            return 0;
        descriptor = table[index].descriptor;
        table.Remove(index);
    }
    // An interrupted close has closed.
    return close(descriptor) == 0 || errno == EINTR;
}

} // extern "C"
