// Other image libraries at the same work. Each is used when its package was there at configuration
// and left out when not; none is needed for anything else. They know nothing of dibprep's headers,
// whose record names some of them use as well.
#pragma once

#include "bench/harness.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Raster {
    int width = 0;
    int height = 0;
    int bits = 0; // 16: 5-5-5
    std::size_t stride = 0;
    const std::uint8_t* rows = nullptr;
    const std::uint8_t* table = nullptr; // 256 x blue, green, red, unused; null: gray
};

enum class Job {
    Scale,          // the outcome's size
    ScaleAndReduce, // colour table in, colour table of 256 out
    Reduce,         // 24 bits to a table of 256
    ExpandRuns,     // a BMP file with BI_RLE8 rows
    Flip,
    Convert // to the outcome's depth
};

struct Task {
    Job job = Job::Scale;
    Raster source;
    Raster outcome;                     // dibprep's, to compare with
    const std::uint8_t* file = nullptr; // of a run-length coded source
    std::size_t fileSize = 0;
};

// Adds what the libraries can do of it.
void AddPeers(const Task& task, std::vector<Contestant>& contestants);
// Names and versions.
std::string PeerVersions();

// One library each; only those that were found are defined.
void AddOpenCv(const Task& task, std::vector<Contestant>& contestants);
void AddLibyuv(const Task& task, std::vector<Contestant>& contestants);
void AddFreeImage(const Task& task, std::vector<Contestant>& contestants);
void AddLeptonica(const Task& task, std::vector<Contestant>& contestants);
void AddZimg(const Task& task, std::vector<Contestant>& contestants);
void AddComposite(const Task& task, std::vector<Contestant>& contestants);

// Memory for an outcome, touched.
using Buffer = std::vector<std::uint8_t>;

// What is wrong with an outcome that has the layout of the task's, or nothing. Scaled and reduced
// pictures must be near dibprep's, conversions equal.
std::string Compare(const Task& task, const std::uint8_t* rows, std::size_t stride);
// The same for a table of 256 colours with rows of bytes: near the task's outcome.
std::string CompareColours(const Task& task, const std::uint8_t* rows, std::size_t stride, const std::uint8_t* table,
                           std::size_t entrySize);

// Bits to bytes of 0 and 255, and back with the threshold 128, for libraries that scale bytes only.
void ExpandBits(const Raster& from, std::uint8_t* to, std::size_t stride);
void PackBits(const std::uint8_t* from, std::size_t fromStride, int width, int height, std::uint8_t* to,
              std::size_t stride);
// Table indices to 24 bits.
void ExpandTable(const Raster& from, std::uint8_t* to, std::size_t stride);

} // namespace bench
