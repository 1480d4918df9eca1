// What the contestants of other libraries share, and the list of those that were found.
#include "bench/peers.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace bench {

namespace {

// How far a scaled or reduced picture may be from dibprep's on average, in levels: the libraries
// place their pixels differently, by up to half a pixel, and choose other colours. Of black and white
// pixels this part may differ.
constexpr double MostLevels = 12;
constexpr double MostBits = 0.06;

// While it lives, memory that is freed stays in the process, so that a library which allocates its
// outcome or its scratch memory finds memory that is mapped already.
class KeepFreedMemory {
public:
    KeepFreedMemory() {
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, 0x7FFFFFFF);
    }
    ~KeepFreedMemory() { mallopt(M_MMAP_MAX, 65536); }
    KeepFreedMemory(const KeepFreedMemory&) = delete;
    KeepFreedMemory& operator=(const KeepFreedMemory&) = delete;
};

std::string Complaint(const char* what, double value) {
    char text[80];
    std::snprintf(text, sizeof text, "implausible: %s %.3g", what, value);
    return text;
}

std::string CompareBits(const Raster& expected, const std::uint8_t* rows, std::size_t stride) {
    double different = 0;
    for (int y = 0; y < expected.height; ++y)
        for (int x = 0; x < expected.width; ++x) {
            const std::size_t at = static_cast<std::size_t>(x) / 8;
            const std::size_t row = static_cast<std::size_t>(y);
            different += (expected.rows[row * expected.stride + at] ^ rows[row * stride + at]) >> (7 - x % 8) & 1;
        }
    different /= static_cast<double>(expected.width) * expected.height;
    return different > MostBits ? Complaint("part of the bits that differ", different) : "";
}

} // namespace

std::string Compare(const Task& task, const std::uint8_t* rows, std::size_t stride) {
    const Raster& expected = task.outcome;
    if (expected.bits == 1)
        return CompareBits(expected, rows, stride);
    const bool exact = task.job != Job::Scale;
    const std::size_t bytes = static_cast<std::size_t>(expected.width) * static_cast<std::size_t>(expected.bits) / 8;
    double sum = 0;
    for (int y = 0; y < expected.height; ++y) {
        const std::uint8_t* const a = expected.rows + static_cast<std::size_t>(y) * expected.stride;
        const std::uint8_t* const b = rows + static_cast<std::size_t>(y) * stride;
        for (std::size_t i = 0; i < bytes; ++i) {
            const bool unusedBit = expected.bits == 16 && i % 2 == 1;
            sum += std::abs((unusedBit ? a[i] & 0x7F : a[i]) - (unusedBit ? b[i] & 0x7F : b[i]));
        }
    }
    const double mean = sum / (static_cast<double>(bytes) * expected.height);
    return mean > (exact ? 0 : MostLevels) ? Complaint("mean difference", mean) : "";
}

std::string CompareColours(const Task& task, const std::uint8_t* rows, std::size_t stride, const std::uint8_t* table,
                           std::size_t entrySize) {
    const Raster& expected = task.outcome;
    double sum = 0;
    for (int y = 0; y < expected.height; ++y)
        for (int x = 0; x < expected.width; ++x) {
            const std::size_t a =
                expected.rows[static_cast<std::size_t>(y) * expected.stride + static_cast<std::size_t>(x)];
            const std::size_t b = rows[static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x)];
            for (std::size_t channel = 0; channel < 3; ++channel)
                sum += std::abs(expected.table[a * 4 + channel] - table[b * entrySize + channel]);
        }
    const double mean = sum / (3.0 * expected.width * expected.height);
    return mean > MostLevels ? Complaint("mean difference", mean) : "";
}

void ExpandBits(const Raster& from, std::uint8_t* to, std::size_t stride) {
    static const auto bytesOf = [] {
        std::array<std::array<std::uint8_t, 8>, 256> table{};
        for (std::size_t byte = 0; byte < 256; ++byte)
            for (std::size_t bit = 0; bit < 8; ++bit)
                table[byte][bit] = byte >> (7 - bit) & 1 ? 255 : 0;
        return table;
    }();
    const std::size_t bytes = static_cast<std::size_t>(from.width + 7) / 8;
    for (int y = 0; y < from.height; ++y)
        for (std::size_t i = 0; i < bytes; ++i)
            std::memcpy(to + static_cast<std::size_t>(y) * stride + i * 8,
                        bytesOf[from.rows[static_cast<std::size_t>(y) * from.stride + i]].data(), 8);
}

void PackBits(const std::uint8_t* from, std::size_t fromStride, int width, int height, std::uint8_t* to,
              std::size_t stride) {
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const row = from + static_cast<std::size_t>(y) * fromStride;
        std::uint8_t* const out = to + static_cast<std::size_t>(y) * stride;
        int x = 0;
        for (; x + 8 <= width; x += 8) {
            std::uint64_t eight;
            std::memcpy(&eight, row + x, 8);
            out[x / 8] = static_cast<std::uint8_t>(((eight >> 7 & 0x0101010101010101) * 0x8040201008040201) >> 56);
        }
        if (x < width) {
            out[x / 8] = 0;
            for (; x < width; ++x)
                out[x / 8] |= static_cast<std::uint8_t>(row[x] >> 7 << (7 - x % 8));
        }
    }
}

void ExpandTable(const Raster& from, std::uint8_t* to, std::size_t stride) {
    for (int y = 0; y < from.height; ++y) {
        const std::uint8_t* const row = from.rows + static_cast<std::size_t>(y) * from.stride;
        std::uint8_t* out = to + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x + 1 < from.width; ++x, out += 3)
            std::memcpy(out, from.table + row[x] * 4, 4); // the fourth byte is the next pixel's first
        std::memcpy(out, from.table + row[from.width - 1] * 4, 3);
    }
}

void AddPeers(const Task& task, std::vector<Contestant>& contestants) {
    (void)task;
    const std::size_t ours = contestants.size();
#ifdef DIBPREP_PEER_OPENCV
    AddOpenCv(task, contestants);
#endif
#ifdef DIBPREP_PEER_LIBYUV
    AddLibyuv(task, contestants);
#endif
#ifdef DIBPREP_PEER_FREEIMAGE
    AddFreeImage(task, contestants);
#endif
#ifdef DIBPREP_PEER_LEPTONICA
    AddLeptonica(task, contestants);
#endif
#ifdef DIBPREP_PEER_ZIMG
    AddZimg(task, contestants);
#endif
#if defined(DIBPREP_PEER_OPENCV) && defined(DIBPREP_PEER_FREEIMAGE)
    AddComposite(task, contestants);
#endif
    for (std::size_t i = ours; i < contestants.size(); ++i)
        contestants[i].run = [run = std::move(contestants[i].run)] {
            const KeepFreedMemory keep;
            run();
        };
}

std::string PeerVersions() { return DIBPREP_PEER_VERSIONS; }

} // namespace bench
