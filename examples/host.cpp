// The shortest host: reads a BMP file, brings the page to 200 dpi, writes the result. libdibhost supplies
// the memory blocks; the scope frees all of them, also what the conversion leaves behind.
//
// Built from the installed packages; for 32 bits, g++ -m32:
//
//     $ g++ -std=c++17 host.cpp $(pkg-config --cflags --libs dibprep dibhost) -o host
//     $ ./host page-colours.bmp colours-200dpi.bmp
//     1653 x 2338 pixels, 8 bits
#include <dibprep.h>
#include <dibprep/hostlayer.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    std::ifstream in(argc == 3 ? argv[1] : "", std::ios::binary);
    const std::string file(std::istreambuf_iterator<char>(in), {});
    dibhost::BlockScope scope;
    void* page = file.size() > 54 ? GlobalAlloc(66, file.size() - 14) : nullptr; // 66: movable and zeroed
    if (!page)
        return 1;
    std::memcpy(GlobalLock(page), file.data() + 14, file.size() - 14); // a BMP file is 14 bytes and a DIB
    GlobalUnlock(page);
    void* result = nullptr;
    if (int status = ConvertResolution(page, &result, nullptr, 200, 128))
        return status;
    auto* dib = static_cast<unsigned char*>(GlobalLock(result));
    const auto pixels = static_cast<unsigned int>(DIBBits(dib) - dib);
    const BITMAPFILEHEADER head = {0x4D42, 14 + DIBSize(dib), 0, 0, 14 + pixels}; // "BM"
    std::ofstream out(argv[2], std::ios::binary);
    out.write(reinterpret_cast<const char*>(&head), sizeof head).write(reinterpret_cast<char*>(dib), DIBSize(dib));
    std::cout << DIBWidth(dib) << " x " << DIBHeight(dib) << " pixels, " << DIBBitCount(dib) << " bits\n";
    return out.flush() ? 0 : 1;
}
