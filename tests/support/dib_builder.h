// Packed DIBs as byte vectors, for tests: a header written field by field, a colour table, rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace testdib {

using Bytes = std::vector<std::uint8_t>;

inline void PutU16(Bytes& bytes, std::size_t at, unsigned value) {
    bytes.at(at) = static_cast<std::uint8_t>(value);
    bytes.at(at + 1) = static_cast<std::uint8_t>(value >> 8);
}

inline void PutU32(Bytes& bytes, std::size_t at, std::uint32_t value) {
    PutU16(bytes, at, value & 0xFFFF);
    PutU16(bytes, at + 2, value >> 16);
}

inline unsigned U16(const Bytes& bytes, std::size_t at) { return bytes.at(at) | bytes.at(at + 1) << 8; }

inline std::uint32_t U32(const Bytes& bytes, std::size_t at) {
    return U16(bytes, at) | static_cast<std::uint32_t>(U16(bytes, at + 2)) << 16;
}

inline std::size_t Stride(int width, int bits) {
    return static_cast<std::size_t>((static_cast<std::int64_t>(width) * bits + 31) / 32 * 4);
}

// Colour-table entries when the header does not give a count.
inline int DefaultColors(int bits) { return bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0; }

// A zeroed DIB with a 40-byte header, room for the colour table of its depth, and zeroed rows.
inline Bytes MakeDib(int width, int height, int bits, int xPelsPerMeter = 11811, int yPelsPerMeter = 11811) {
    const std::size_t table = static_cast<std::size_t>(DefaultColors(bits)) * 4;
    const std::size_t rows = Stride(width, bits) * static_cast<std::size_t>(height < 0 ? -height : height);
    Bytes dib(40 + table + rows);
    PutU32(dib, 0, 40);
    PutU32(dib, 4, static_cast<std::uint32_t>(width));
    PutU32(dib, 8, static_cast<std::uint32_t>(height));
    PutU16(dib, 12, 1);
    PutU16(dib, 14, static_cast<unsigned>(bits));
    PutU32(dib, 24, static_cast<std::uint32_t>(xPelsPerMeter));
    PutU32(dib, 28, static_cast<std::uint32_t>(yPelsPerMeter));
    return dib;
}

inline void SetEntry(Bytes& dib, int index, int blue, int green, int red) {
    const std::size_t at = 40 + 4 * static_cast<std::size_t>(index);
    dib.at(at) = static_cast<std::uint8_t>(blue);
    dib.at(at + 1) = static_cast<std::uint8_t>(green);
    dib.at(at + 2) = static_cast<std::uint8_t>(red);
}

// Entry i gray (i * 255 / (colours - 1)).
inline void SetGrayTable(Bytes& dib, int colours) {
    for (int i = 0; i < colours; ++i) {
        const int level = i * 255 / (colours - 1);
        SetEntry(dib, i, level, level, level);
    }
}

// A small generator with the same numbers everywhere (xorshift64*, G. Marsaglia 2003, S. Vigna 2014).
class Random {
public:
    explicit Random(std::uint64_t start) : m_state(start * 2 + 1) {}
    std::uint32_t Next() {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return static_cast<std::uint32_t>((m_state * 0x2545F4914F6CDD1DULL) >> 32);
    }
    // lowest to highest, both included
    int Range(int lowest, int highest) {
        return lowest + static_cast<int>(Next() % (static_cast<std::uint32_t>(highest - lowest) + 1));
    }
    bool OneIn(int n) { return Range(1, n) == 1; }

private:
    std::uint64_t m_state;
};

} // namespace testdib
