// Exif data: a small TIFF directory behind the six bytes "Exif\0\0".
#include "tools/exif.h"

#include <cstring>

namespace dibprep::tool {

namespace {

constexpr std::uint32_t TagOrientation = 274;
constexpr std::uint32_t TagXResolution = 282;
constexpr std::uint32_t TagYResolution = 283;
constexpr std::uint32_t TagResolutionUnit = 296;
constexpr std::uint32_t UnitNone = 1;
constexpr std::uint32_t UnitCentimetre = 3;

class Directory {
public:
    Directory(const std::uint8_t* bytes, std::size_t size)
        : m_bytes(bytes), m_size(size), m_bigEndian(size > 0 && bytes[0] == 'M') {}

    // A number of 2 or 4 bytes; 0 outside the data.
    std::uint32_t Number(std::uint64_t at, unsigned bytes) const {
        if (at > m_size || bytes > m_size - at)
            return 0;
        std::uint32_t value = 0;
        for (unsigned i = 0; i < bytes; ++i)
            value |= static_cast<std::uint32_t>(m_bytes[at + i]) << 8 * (m_bigEndian ? bytes - 1 - i : i);
        return value;
    }
    double Fraction(std::uint64_t at) const {
        const std::uint32_t below = Number(at + 4, 4);
        return below == 0 ? 0 : static_cast<double>(Number(at, 4)) / below;
    }

private:
    const std::uint8_t* m_bytes;
    std::size_t m_size;
    bool m_bigEndian;
};

} // namespace

Exif ReadExif(const std::uint8_t* marker, std::size_t size) {
    constexpr std::size_t Before = 6;
    Exif exif;
    if (size < Before || std::memcmp(marker, "Exif\0\0", Before) != 0)
        return exif;
    const Directory directory(marker + Before, size - Before);
    const std::uint64_t start = directory.Number(4, 4);
    const std::uint32_t entries = directory.Number(start, 2);
    std::uint32_t unit = 2;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint64_t entry = start + 2 + std::uint64_t{12} * i;
        switch (directory.Number(entry, 2)) {
        case TagOrientation:
            exif.orientation = static_cast<int>(directory.Number(entry + 8, 2));
            break;
        case TagXResolution:
            exif.x = directory.Fraction(directory.Number(entry + 8, 4));
            break;
        case TagYResolution:
            exif.y = directory.Fraction(directory.Number(entry + 8, 4));
            break;
        case TagResolutionUnit:
            unit = directory.Number(entry + 8, 2);
            break;
        default:
            break;
        }
    }
    exif.perCentimetre = unit == UnitCentimetre;
    if (unit == UnitNone)
        exif.x = exif.y = 0;
    if (exif.orientation < 1 || exif.orientation > 8)
        exif.orientation = 1;
    return exif;
}

} // namespace dibprep::tool
