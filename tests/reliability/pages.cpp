// Makes the sound pages, and changes their headers.

#include "tests/reliability/pages.h"

#include <cstdlib>

namespace hostile {

const std::vector<std::string> Kinds = {"1", "4c", "4g", "8c", "8g", "16", "24", "32"};

Bytes Page(const std::string& kind, int width, int height) {
    const int bits = std::atoi(kind.c_str());
    Bytes dib = testdib::MakeDib(width, height, bits, Ppm100, Ppm100);
    const int colours = testdib::DefaultColors(bits);
    if (colours != 0)
        testdib::SetGrayTable(dib, colours);
    if (kind.back() == 'c')
        testdib::SetEntry(dib, colours - 1, 10, 20, 200);
    for (std::size_t at = 40 + static_cast<std::size_t>(colours) * 4; at < dib.size(); ++at)
        dib[at] = static_cast<std::uint8_t>(at * 37 + at / 7);
    return dib;
}

Edit Size(std::uint32_t value) { return {0, 4, value}; }
Edit Width(std::uint32_t value) { return {4, 4, value}; }
Edit Height(std::uint32_t value) { return {8, 4, value}; }
Edit Planes(std::uint32_t value) { return {12, 2, value}; }
Edit Bits(std::uint32_t value) { return {14, 2, value}; }
Edit Compression(std::uint32_t value) { return {16, 4, value}; }
Edit ImageSize(std::uint32_t value) { return {20, 4, value}; }
Edit PpmX(std::uint32_t value) { return {24, 4, value}; }
Edit PpmY(std::uint32_t value) { return {28, 4, value}; }
Edit ColoursUsed(std::uint32_t value) { return {32, 4, value}; }

Bytes Edited(Bytes dib, const std::vector<Edit>& edits) {
    for (const Edit& edit : edits) {
        if (edit.bytes == 2)
            testdib::PutU16(dib, edit.at, edit.value);
        else
            testdib::PutU32(dib, edit.at, edit.value);
    }
    return dib;
}

} // namespace hostile
