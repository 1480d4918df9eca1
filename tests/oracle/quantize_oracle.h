// The quantiser once more, slow and literal: the octree as linked nodes, the sorts, both searches,
// the mapping. Members carry the names of the library's class without their prefixes.
#pragma once

#include "oracle_common.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace oracle {

struct Record {
    std::uint8_t blue = 0;
    std::uint8_t green = 0;
    std::uint8_t red = 0;
    std::uint8_t reserved = 0;
    std::uint32_t count = 0;
    std::uint8_t index = 0;
};

struct Colour {
    int red = 0;
    int green = 0;
    int blue = 0;
};

// A node and whatever ever hung below it. A child whose bit is clear is out of the tree, but keeps
// what it holds.
struct Node {
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;
    std::uint32_t pixels = 0;
    std::uint32_t weight = 0;
    std::uint32_t fixed = 0;
    std::uint8_t children = 0;
    std::array<std::unique_ptr<Node>, 8> child;
    Node* parent = nullptr;
};

// Negative: the first record goes first.
using Order = std::function<std::int32_t(const Record&, const Record&)>;
void Sort(std::vector<Record>& records, std::size_t first, std::size_t count, const Order& order);
std::int32_t ByCount(const Record& a, const Record& b);
std::int32_t ByBlue(const Record& a, const Record& b);
std::int32_t ByDistance(const Record& a, const Record& b, const Colour& reference);

struct Shifts {
    unsigned left = 0;
    unsigned right = 0;
};
Shifts ShiftsOf(std::uint32_t mask);

// A new zero-filled DIB with its header, when the host has the memory.
std::optional<Bytes> NewDib(std::uint32_t width, std::uint32_t height, unsigned bits, Memory& memory);

class Quantizer {
public:
    // dib: a packed DIB, kept as a copy.
    Quantizer(Bytes dib, unsigned maxColors, unsigned depth);

    std::optional<Bytes> QuantizeBitmap(Memory& memory);
    std::optional<Bytes> Quantize(Memory& memory);

    bool InitOctree();
    void InsertColor(int r, int g, int b, std::uint32_t fixed);
    void FillTree();
    std::uint32_t CountColors(const Node& node, std::uint32_t& minWeight, bool all) const;
    void Cut(Node& node, Node& parent);
    bool CutBranches(Node& node, std::uint32_t weight);
    std::uint32_t ReduceColors();
    void CreateColorTableRec(Node& node, std::uint32_t& next);
    void InsertDefaultColors();

    // Both give the colour table: blue, green, red, reserved of each colour.
    Bytes BuildPalette();
    Bytes BuildSearchCube();
    int NearestInList(const Colour& colour) const;
    int NearestInCube(const Colour& colour) const;

    // The colour of pixel x of row y, or nothing for layouts that are not read.
    std::optional<Colour> PixelAt(int x, int y) const;

    std::unique_ptr<Node> root;
    unsigned depth;
    std::uint32_t maxColors;
    std::vector<Record> palette;
    std::vector<Record> cube[8][8][8];
    std::vector<Record> defaultColors; // counts and indices unused
    int colors = 0;
    std::uint32_t mode = 0;
    bool linear = false;

private:
    Colour Masked(std::uint32_t pixel) const;

    Bytes m_dib;
    std::size_t m_bits; // where the pixels begin, as the header accessors see it
};

} // namespace oracle
