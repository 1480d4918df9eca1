// A host with a memory layer of its own that loads the 32-bit library while it runs. The 22 functions
// that the library imports are this program's; -rdynamic lets the library find them. The layer also
// remembers what was allocated, so that the host can free what a conversion leaves behind.
//
// Built from the installed packages:
//
//     $ g++ -m32 -std=c++17 -rdynamic own_layer.cpp $(pkg-config --cflags dibprep) -ldl -o own_layer
//     $ ./own_layer page-colours.bmp own-200dpi.bmp
//     Loaded libdibprep.so.1.
//     1653 x 2338 pixels, 8 bits
//     Freed 1 block that the conversion left behind.
#include <dibprep/entries.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <set>
#include <string>

namespace {

// What a handle of this host points to.
struct Block {
    size_t size;
    unsigned int locks;
    unsigned char* bytes;
};
std::set<Block*> liveBlocks;

Block* Find(void* handle) {
    const auto found = liveBlocks.find(static_cast<Block*>(handle));
    return found == liveBlocks.end() ? nullptr : *found;
}

} // namespace

// ---- the host functions: memory --------------------------------------------------------------------

void* GlobalAlloc(unsigned int, size_t bytes) { // the flags are always 66: movable and zeroed
    auto* memory = static_cast<unsigned char*>(std::calloc(bytes ? bytes : 1, 1));
    auto* block = memory ? new (std::nothrow) Block{bytes, 0, memory} : nullptr;
    if (block)
        liveBlocks.insert(block);
    else
        std::free(memory);
    return block;
}

void* GlobalFree(void* handle) {
    Block* block = Find(handle);
    if (!block)
        return handle;
    liveBlocks.erase(block);
    std::free(block->bytes);
    delete block;
    return nullptr;
}

void* GlobalLock(void* handle) {
    Block* block = Find(handle);
    if (block)
        ++block->locks;
    return block ? block->bytes : nullptr;
}

int GlobalUnlock(void* handle) {
    Block* block = Find(handle);
    return block && block->locks && --block->locks;
}

unsigned int GlobalFlags(void* handle) {
    Block* block = Find(handle);
    return block ? block->locks & 255 : 32768;
}

size_t GlobalSize(void* handle) {
    Block* block = Find(handle);
    return block ? block->size : 0;
}

void CopyMemory(void* destination, const void* source, size_t bytes) { std::memcpy(destination, source, bytes); }
void FillMemory(void* destination, size_t bytes, unsigned char value) { std::memset(destination, value, bytes); }
void ZeroMemory(void* destination, size_t bytes) { std::memset(destination, 0, bytes); }
int IsBadReadPtr(const void* address, size_t) { return address == nullptr; } // other addresses are trusted

// ---- the host functions: what this host never asks for, yet must have -------------------------------

void* CreateFile(const char*, unsigned int, unsigned int, void*, unsigned int, unsigned int, void*) {
    return reinterpret_cast<void*>(intptr_t{-1}); // this host gives the library no paths
}
int ReadFile(void*, void*, unsigned int, unsigned int*, void*) { return 0; }
int WriteFile(void*, const void*, unsigned int, unsigned int*, void*) { return 0; }
unsigned int SetFilePointer(void*, int, int*, unsigned int) { return 0xFFFFFFFF; }
int CloseHandle(void*) { return 0; }
void* CreatePalette(const void*) { return nullptr; }
int EnumObjects(void*, int, int (*)(void*, intptr_t), intptr_t) { return -1; }

// ---- the host functions: rectangles and colours -----------------------------------------------------

int SetRect(RECT* rect, int left, int top, int right, int bottom) {
    *rect = {left, top, right, bottom};
    return 1;
}
unsigned int RGB(unsigned char red, unsigned char green, unsigned char blue) {
    return red | static_cast<unsigned int>(green) << 8 | static_cast<unsigned int>(blue) << 16;
}
unsigned char GetRValue(unsigned int colour) { return static_cast<unsigned char>(colour); }
unsigned char GetGValue(unsigned int colour) { return static_cast<unsigned char>(colour >> 8); }
unsigned char GetBValue(unsigned int colour) { return static_cast<unsigned char>(colour >> 16); }

// ---- the host --------------------------------------------------------------------------------------

int main(int argc, char** argv) {
    void* library = dlopen("libdibprep.so.1", RTLD_NOW);
    if (!library) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    std::printf("Loaded libdibprep.so.1.\n");
    auto* convert = reinterpret_cast<decltype(&ConvertResolution)>(dlsym(library, "ConvertResolution"));

    std::ifstream in(argc == 3 ? argv[1] : "", std::ios::binary);
    const std::string file(std::istreambuf_iterator<char>(in), {});
    void* page = file.size() > 54 ? GlobalAlloc(66, file.size() - 14) : nullptr;
    if (!page || !convert)
        return 1;
    std::memcpy(GlobalLock(page), file.data() + 14, file.size() - 14); // a BMP file is 14 bytes and a DIB
    GlobalUnlock(page);

    const std::set<Block*> before = liveBlocks;
    void* result = nullptr;
    const int status = convert(page, &result, nullptr, 200, 128);
    if (status == DIBPREP_OK) {
        const auto* dib = static_cast<const char*>(GlobalLock(result));
        BITMAPINFOHEADER header;
        std::memcpy(&header, dib, sizeof header); // a block may start at any address
        const unsigned int colours = header.biClrUsed         ? header.biClrUsed
                                     : header.biBitCount <= 8 ? 1u << header.biBitCount
                                                              : 0;
        const unsigned int bits = static_cast<unsigned int>(header.biWidth) * header.biBitCount;
        const unsigned int rows = (bits + 31) / 32 * 4 * static_cast<unsigned int>(header.biHeight);
        const unsigned int pixels = sizeof header + 4 * colours;
        const BITMAPFILEHEADER head = {0x4D42, 14 + pixels + rows, 0, 0, 14 + pixels}; // "BM"
        std::ofstream out(argv[2], std::ios::binary);
        out.write(reinterpret_cast<const char*>(&head), sizeof head).write(dib, pixels + rows);
        std::printf("%d x %d pixels, %d bits\n", header.biWidth, header.biHeight, header.biBitCount);
        GlobalUnlock(result);
    }

    // A conversion of a page with a colour table leaves a block behind: free what is new, the result apart.
    int freed = 0;
    for (Block* block : std::set<Block*>(liveBlocks)) {
        if (block != result && before.count(block) == 0) {
            GlobalFree(block);
            ++freed;
        }
    }
    std::printf("Freed %d block%s that the conversion left behind.\n", freed, freed == 1 ? "" : "s");
    GlobalFree(result);
    GlobalFree(page);
    dlclose(library);
    return status;
}
