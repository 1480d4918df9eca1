// The quantiser, slow and literal: see quantize_oracle.h.
#include "quantize_oracle.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace oracle {

using testdib::PutU16;
using testdib::PutU32;
using testdib::U16;
using testdib::U32;

namespace {

std::int32_t Square(std::int32_t value) { return value * value; }

std::int32_t Distance(const Record& record, const Colour& colour) {
    return Square(record.red - colour.red) + Square(record.green - colour.green) + Square(record.blue - colour.blue);
}

std::uint32_t ColoursOf(unsigned bits) { return bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0; }

} // namespace

std::int32_t ByCount(const Record& a, const Record& b) { return static_cast<std::int32_t>(a.count - b.count); }

std::int32_t ByBlue(const Record& a, const Record& b) { return a.blue - b.blue; }

std::int32_t ByDistance(const Record& a, const Record& b, const Colour& reference) {
    return Distance(a, reference) - Distance(b, reference);
}

void Sort(std::vector<Record>& records, std::size_t first, std::size_t count, const Order& order) {
    if (count <= 1)
        return;
    const auto swap = [&](std::size_t i, std::size_t j) { std::swap(records.at(first + i), records.at(first + j)); };
    swap(0, count / 2);
    std::size_t last = 0;
    for (std::size_t i = 1; i < count; ++i)
        if (order(records.at(first + i), records.at(first)) < 0)
            swap(++last, i);
    swap(0, last);
    Sort(records, first, last, order);
    Sort(records, first + last + 1, count - last - 1, order);
}

Shifts ShiftsOf(std::uint32_t mask) {
    if (mask == 0)
        return {8, 32};
    unsigned position = 0;
    while ((mask >> position & 1) == 0)
        ++position;
    unsigned length = 0;
    while (position + length < 32 && (mask >> (position + length) & 1) != 0)
        ++length;
    return length <= 8 ? Shifts{8 - length, position} : Shifts{0, position + length - 8};
}

std::optional<Bytes> NewDib(std::uint32_t width, std::uint32_t height, unsigned bits, Memory& memory) {
    if (width == 0 || height == 0)
        return std::nullopt;
    const unsigned depth = bits <= 1                  ? 1
                           : bits <= 4                ? 4
                           : bits <= 8                ? 8
                           : bits <= 16               ? 16
                           : bits >= 25 && bits <= 32 ? bits
                                                      : 24;
    const std::uint64_t table = std::uint64_t{ColoursOf(depth)} * 4;
    const std::uint64_t trueSize = (std::uint64_t{width} * depth + 31) / 32 * 4 * height + table + 40;
    std::uint64_t size = trueSize;
    if (static_cast<std::int32_t>(height) < 0) {
        const std::uint32_t stride = (width * depth + 31) / 32 * 4;
        size = static_cast<std::uint32_t>(stride * height + table + 40);
        if (size < 40)
            return std::nullopt;
    } else if (trueSize > 0xFFFFFFFFu) {
        return std::nullopt;
    }
    if (!memory.Ask(size))
        return std::nullopt;
    Bytes dib(size);
    PutU32(dib, 0, 40);
    PutU32(dib, 4, width);
    PutU32(dib, 8, height);
    PutU16(dib, 12, 1);
    PutU16(dib, 14, depth);
    return dib;
}

Quantizer::Quantizer(Bytes dib, unsigned maximum, unsigned levels)
    : depth(levels), maxColors(maximum), palette(256), m_dib(std::move(dib)) {
    const std::uint32_t headerSize = U32(m_dib, 0);
    std::uint32_t paletteBytes = 0;
    if (headerSize == 40) {
        const std::uint32_t used = U32(m_dib, 32);
        paletteBytes = Low16(4 * Low16(used != 0 ? used : ColoursOf(U16(m_dib, 14))));
    } else {
        paletteBytes = 3 * ColoursOf(U16(m_dib, 10));
    }
    m_bits = headerSize + paletteBytes;
}

bool Quantizer::InitOctree() {
    if (U16(m_dib, 14) <= 8)
        return false;
    std::uint64_t nodes = 0;
    std::uint64_t level = 1;
    for (unsigned i = 0; i <= depth; ++i) {
        nodes += level;
        level *= 8;
        if (nodes * 28 > std::uint64_t{1} << 31)
            return false;
    }
    root = std::make_unique<Node>();
    return true;
}

void Quantizer::InsertColor(int r, int g, int b, std::uint32_t fixed) {
    Node* node = root.get();
    for (unsigned level = 0; level < depth; ++level) {
        node->weight += fixed != 0 ? 65535 : 1;
        const int bit = 0x80 >> level;
        const unsigned number = ((r & bit) != 0 ? 1u : 0u) + ((g & bit) != 0 ? 2u : 0u) + ((b & bit) != 0 ? 4u : 0u);
        node->children = static_cast<std::uint8_t>(node->children | 1u << number);
        if (!node->child[number]) {
            node->child[number] = std::make_unique<Node>();
            node->child[number]->parent = node;
        }
        node = node->child[number].get();
    }
    node->weight += 1;
    if (node->fixed == 0) {
        node->pixels += 1;
        node->red += static_cast<std::uint32_t>(r);
        node->green += static_cast<std::uint32_t>(g);
        node->blue += static_cast<std::uint32_t>(b);
    }
    node->children = 0;
    if (fixed != 0) {
        node->weight = 65535;
        node->fixed = fixed;
    }
}

void Quantizer::InsertDefaultColors() {
    for (const Record& colour : defaultColors)
        InsertColor(colour.red, colour.green, colour.blue, 1);
}

// The masks are the words that follow the header in the object, not those of the picture.
Colour Quantizer::Masked(std::uint32_t pixel) const {
    const Record& first = palette[0];
    const std::uint32_t colourWord =
        first.blue + first.green * 0x100u + first.red * 0x10000u + first.reserved * 0x1000000u;
    const auto channel = [pixel](std::uint32_t mask) {
        const Shifts shifts = ShiftsOf(mask);
        const std::uint32_t masked = shifts.right == 32 ? 0 : (pixel & mask) >> shifts.right;
        return static_cast<int>((masked << shifts.left) & 0xFF);
    };
    return Colour{channel(maxColors), channel(colourWord), channel(first.count)};
}

std::optional<Colour> Quantizer::PixelAt(int x, int y) const {
    const int bits = static_cast<int>(U16(m_dib, 14));
    const int width = static_cast<int>(U32(m_dib, 4));
    const bool bitFields = U32(m_dib, 16) == 3;
    const std::size_t stride = (std::size_t(bits) * std::size_t(width) + 31) / 32 * 4;
    const std::size_t at = m_bits + std::size_t(y) * stride + std::size_t(x) * std::size_t(bits) / 8;
    if (bits == 16) {
        const int p = static_cast<int>(U16(m_dib, at));
        if (bitFields)
            return Masked(static_cast<std::uint32_t>(p));
        return Colour{p >> 7 & 0xF8, p >> 2 & 0xF8, p << 3 & 0xFF};
    }
    if (bits == 32 && bitFields)
        return Masked(U32(m_dib, at));
    if (bits == 24 && !bitFields)
        return Colour{m_dib.at(at + 2), m_dib.at(at + 1), m_dib.at(at)};
    return std::nullopt;
}

void Quantizer::FillTree() {
    const auto width = static_cast<std::int32_t>(U32(m_dib, 4));
    const auto height = static_cast<std::int32_t>(U32(m_dib, 8));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::optional<Colour> colour = PixelAt(x, y);
            if (!colour)
                return;
            InsertColor(colour->red, colour->green, colour->blue, 0);
        }
}

std::uint32_t Quantizer::CountColors(const Node& node, std::uint32_t& minWeight, bool all) const {
    std::uint32_t count = node.pixels != 0 && (all || node.fixed == 0) ? 1 : 0;
    if (node.weight != 0)
        minWeight = std::min(minWeight, node.weight);
    for (unsigned i = 0; i < 8; ++i)
        if ((node.children >> i & 1) != 0)
            count += CountColors(*node.child[i], minWeight, all);
    return count;
}

void Quantizer::Cut(Node& node, Node& parent) {
    if (parent.fixed != 0)
        return;
    for (unsigned i = 0; i < 8; ++i)
        if ((node.children >> i & 1) != 0)
            Cut(*node.child[i], parent);
    // One of the children may have fixed the parent: the node itself still counts.
    if (node.fixed == 0) {
        parent.red += node.red;
        parent.green += node.green;
        parent.blue += node.blue;
        parent.pixels += node.pixels;
    } else {
        parent.red = node.red;
        parent.green = node.green;
        parent.blue = node.blue;
        parent.pixels = node.pixels;
        parent.fixed = 1;
    }
}

bool Quantizer::CutBranches(Node& node, std::uint32_t weight) {
    if (node.weight == weight) {
        Cut(node, *node.parent);
        return true;
    }
    for (unsigned i = 0; i < 8; ++i)
        if ((node.children >> i & 1) != 0 && CutBranches(*node.child[i], weight))
            node.children = static_cast<std::uint8_t>(node.children & ~(1u << i));
    return false;
}

std::uint32_t Quantizer::ReduceColors() {
    const std::uint32_t target = maxColors - static_cast<std::uint32_t>(defaultColors.size());
    const auto count = [this](std::uint32_t& least, bool all) {
        least = 0xFFFFFFFFu;
        return CountColors(*root, least, all);
    };
    std::uint32_t minWeight = 0;
    std::uint32_t unused = 0;
    // The palette has 256 records, whatever was asked for.
    while (count(minWeight, false) > target || count(unused, true) > 256) {
        if (root->weight == minWeight) {
            // Nothing is above the root: all that is below it becomes its own.
            for (unsigned i = 0; i < 8; ++i)
                if ((root->children >> i & 1) != 0)
                    Cut(*root->child[i], *root);
            root->children = 0;
            break;
        }
        CutBranches(*root, minWeight);
    }
    colors = static_cast<int>(count(unused, true));
    return count(unused, false);
}

void Quantizer::CreateColorTableRec(Node& node, std::uint32_t& next) {
    if (node.pixels != 0) {
        const std::uint32_t divisor = node.fixed != 0 ? 1 : node.pixels;
        Record& record = palette.at(next);
        record.blue = static_cast<std::uint8_t>(node.blue / divisor);
        record.green = static_cast<std::uint8_t>(node.green / divisor);
        record.red = static_cast<std::uint8_t>(node.red / divisor);
        record.count = node.pixels;
        node.red = next++;
    }
    for (unsigned i = 0; i < 8; ++i)
        if ((node.children >> i & 1) != 0)
            CreateColorTableRec(*node.child[i], next);
}

namespace {

Bytes NumberAndList(std::vector<Record>& palette, int colors) {
    Bytes table;
    for (int i = 0; i < colors; ++i) {
        Record& record = palette.at(static_cast<std::size_t>(i));
        record.index = static_cast<std::uint8_t>(i);
        table.insert(table.end(), {record.blue, record.green, record.red, record.reserved});
    }
    return table;
}

} // namespace

Bytes Quantizer::BuildPalette() {
    Sort(palette, 0, static_cast<std::size_t>(colors), ByCount);
    const Bytes table = NumberAndList(palette, colors);
    Sort(palette, 0, static_cast<std::size_t>(colors), ByBlue);
    return table;
}

namespace {

constexpr int cellEdges[9] = {0, 32, 64, 96, 128, 160, 192, 224, 255};
int Middle(int cell) { return (cellEdges[cell] + cellEdges[cell + 1]) / 2; }
int HalfWidth(int cell) { return Middle(cell) - cellEdges[cell]; }
int Farthest(int cell, int value) { return Square(std::abs(Middle(cell) - value) + HalfWidth(cell)); }
int Gap(int cell, int value) { return Square(std::max(0, std::abs(Middle(cell) - value) - HalfWidth(cell))); }

} // namespace

Bytes Quantizer::BuildSearchCube() {
    const Bytes table = NumberAndList(palette, colors);
    if (colors == 0)
        return table;
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j)
            for (int k = 0; k < 8; ++k) {
                const Colour centre{Middle(i), Middle(j), Middle(k)};
                Sort(palette, 0, static_cast<std::size_t>(colors),
                     [&centre](const Record& a, const Record& b) { return ByDistance(a, b, centre); });
                const Record nearest = palette[0];
                const int limit = Farthest(i, nearest.red) + Farthest(j, nearest.green) + Farthest(k, nearest.blue);
                cube[i][j][k].push_back(nearest);
                for (std::size_t e = 1; e < static_cast<std::size_t>(colors); ++e) {
                    const Record& record = palette[e];
                    if (Gap(i, record.red) + Gap(j, record.green) + Gap(k, record.blue) > limit)
                        break;
                    cube[i][j][k].push_back(record);
                }
            }
    return table;
}

int Quantizer::NearestInList(const Colour& colour) const {
    const int n = colors;
    int start = n - 1;
    if (n <= 1 || colour.blue <= palette[0].blue) {
        start = 0;
    } else {
        for (int s = n - 2; s >= 1; --s)
            if (palette[std::size_t(s)].blue >= colour.blue)
                start = s;
    }
    std::uint32_t best = 0xFFFFFFFFu;
    const Record* answer = &palette[0];
    // false: too far away in blue alone.
    const auto examine = [&](int p) {
        const Record& record = palette[std::size_t(p)];
        if (p != start && static_cast<std::uint32_t>(Square(record.blue - colour.blue)) > best)
            return false;
        const auto distance = static_cast<std::uint32_t>(Distance(record, colour));
        if (distance < best) {
            best = distance;
            answer = &record;
        }
        return true;
    };
    for (int p = start; p >= 0 && examine(p); --p) {
    }
    for (int p = start + 1; p < n && examine(p); ++p) {
    }
    return answer->index;
}

int Quantizer::NearestInCube(const Colour& colour) const {
    const std::vector<Record>& list = cube[colour.red >> 5][colour.green >> 5][colour.blue >> 5];
    if (list.empty())
        return 0;
    // The first of the nearest ones.
    const auto nearest = std::min_element(list.begin(), list.end(), [&colour](const Record& a, const Record& b) {
        return Distance(a, colour) < Distance(b, colour);
    });
    return nearest->index;
}

std::optional<Bytes> Quantizer::Quantize(Memory& memory) {
    const bool infoHeader = U32(m_dib, 0) == 40;
    const auto w = static_cast<std::int32_t>(infoHeader ? U32(m_dib, 4) : U16(m_dib, 4));
    const auto h = static_cast<std::int32_t>(infoHeader ? U32(m_dib, 8) : U16(m_dib, 6));
    std::optional<Bytes> out = NewDib(static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h), 8, memory);
    if (!out)
        return std::nullopt;
    if (mode != 666 && mode != 884 && mode != 775) {
        const auto pixels = static_cast<std::int32_t>(static_cast<std::uint32_t>(w) * static_cast<std::uint32_t>(h));
        linear = pixels <= 16384 || colors <= 64;
        Bytes table = linear ? BuildPalette() : BuildSearchCube();
        table.resize(std::min(table.size(), out->size() - 40));
        std::copy(table.begin(), table.end(), out->begin() + 40);
    }
    const std::size_t stride = (std::size_t(w) * 8 + 31) / 32 * 4;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::optional<Colour> colour = PixelAt(x, y);
            if (!colour)
                return out;
            const int index = linear ? NearestInList(*colour) : NearestInCube(*colour);
            out->at(40 + 1024 + std::size_t(y) * stride + std::size_t(x)) = static_cast<std::uint8_t>(index);
        }
    return out;
}

std::optional<Bytes> Quantizer::QuantizeBitmap(Memory& memory) {
    if (!root && depth != 0) {
        if (!InitOctree())
            return std::nullopt;
        InsertDefaultColors();
        FillTree();
        ReduceColors();
        std::uint32_t next = 0;
        CreateColorTableRec(*root, next);
    }
    return Quantize(memory);
}

} // namespace oracle
