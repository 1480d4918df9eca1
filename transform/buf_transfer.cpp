// CBufTransfer: opens and releases one side of a transform.
#include "transform/transfer_io.h"

#include "dibprep/host.h"

using namespace dibprep;

namespace {

constexpr unsigned int ReadAndWrite = 0xC0000000u;
constexpr unsigned int ShareReadAndWrite = 3;
constexpr unsigned int CreateAlways = 2;
constexpr unsigned int OpenExisting = 3;
constexpr unsigned int NormalWithRandomAccess = 0x10000080u;

void* OpenFile(const char* path, int create) {
    if (!path)
        return nullptr;
    void* const file = CreateFile(path, ReadAndWrite, ShareReadAndWrite, nullptr,
                                  create == 1 ? CreateAlways : OpenExisting, NormalWithRandomAccess, nullptr);
    return file == reinterpret_cast<void*>(static_cast<intptr_t>(-1)) ? nullptr : file;
}

} // namespace

CBufTransfer::CBufTransfer(void* target, unsigned short transferType, int create)
    : handle(nullptr), data(nullptr), type(transferType), position(0) {
    switch (type) {
    case HandleTransfer:
        handle = target ? *static_cast<void**>(target) : nullptr;
        if (handle)
            data = static_cast<unsigned char*>(GlobalLock(handle));
        break;
    case FileTransfer:
        handle = OpenFile(static_cast<const char*>(target), create);
        break;
    case PointerTransfer:
        data = static_cast<unsigned char*>(target);
        break;
    default:
        break;
    }
}

CBufTransfer::~CBufTransfer() {
    position = 0;
    if (type == HandleTransfer && data)
        GlobalUnlock(handle);
    else if (type == FileTransfer && handle)
        CloseHandle(handle);
}
