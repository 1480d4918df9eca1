// A quantiser of the library and its slow second version side by side, with what the comparisons of
// both need: random sources and records, and comparisons of every field.
#pragma once

#include "dibprep.h"
#include "quantize_oracle.h"
#include "random_pictures.h"
#include "tests/support/test_host.h"

#include <vector>

namespace oracle {

// Plain 16- and 24-bit pictures, bit fields, and layouts that are not read; sometimes with a colour
// table in front of the pixels, a negative height or another header size.
Bytes RandomQuantizerSource(Random& random, int largestWidth, int largestHeight);
unsigned RandomMaxColors(Random& random);
unsigned RandomDepth(Random& random);
std::vector<Record> RandomDefaultColors(Random& random, int most);
// Records with many ties.
std::vector<Record> RandomRecords(Random& random, std::size_t count);
// A colour to look for: any, or close to one of the records.
Colour RandomSearch(Random& random, const std::vector<Record>& records, int count);

CColorTrans2 Converted(const Record& record);
std::vector<CColorTrans2> Converted(const std::vector<Record>& records);
void CompareRecords(const std::vector<Record>& expected, const CColorTrans2* actual, std::size_t count);
// The entries behind those expected are all zero.
void CompareTable(const Bytes& expected, const std::vector<tagRGBQUAD>& actual);

class Pair {
public:
    Pair(const Bytes& dib, unsigned maxColors, unsigned depth);
    void SetDefaultColors(const std::vector<Record>& colours);
    void SetMode(std::uint32_t mode);
    void SetLinear(bool linear);
    void SetPalette(const std::vector<Record>& records);

    // Palette, colour count, way of search, lists of the cube.
    void CompareFields() const;
    // Every node of the octree array.
    void CompareNodes() const;

private:
    testhost::GuardedBuffer m_source;

public:
    CNiGoRo2 fast;
    Quantizer slow;
};

} // namespace oracle
