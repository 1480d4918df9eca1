// The octree half of the quantiser. Every pixel is inserted into a complete octree held breadth
// first in one array (children of node n: 8n+1 to 8n+8), so that insertion is index arithmetic. Then
// the nodes with the least weight are merged into their parents, all ties at once, until few enough
// colours are left; inner nodes can be colours too. Each colour becomes one palette record.
#include "dibprep/quantize.h"
#include "memory/x86/cpu_tier.h"
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/source_pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

using namespace dibprep;

namespace {

// A default colour weighs this much on its path, so that its branch is merged last.
constexpr unsigned int FixedWeight = 65535;
constexpr unsigned int NoWeight = 0xFFFFFFFFu;

// The largest octree, the same in both widths.
constexpr std::uint64_t MostTreeBytes = std::uint64_t{1} << 31;

// Nodes of a complete octree: the sum of 8^l for l = 0 .. depth, 0 when it is beyond the limit.
std::size_t TreeNodes(unsigned int depth) {
    std::uint64_t nodes = 0;
    std::uint64_t level = 1;
    for (unsigned int l = 0; l <= depth; ++l, level *= 8) {
        nodes += level;
        if (nodes * sizeof(CCube2) > MostTreeBytes)
            return 0;
    }
    return static_cast<std::size_t>(nodes);
}

constexpr unsigned int Child(unsigned int node, unsigned int i) { return 8 * node + 1 + i; }
constexpr unsigned int Parent(unsigned int node) { return (node - 1) / 8; }
constexpr unsigned int LowestChild(unsigned int bits) { return static_cast<unsigned int>(__builtin_ctz(bits)); }
constexpr unsigned char ChildBit(unsigned int i) { return static_cast<unsigned char>(1u << i); }

} // namespace

bool dibprep::AllocateOctree(CNiGoRo2& quantiser, bool zeroed) {
    if (quantiser.m_bih.biBitCount <= 8)
        return false;
    const std::size_t nodes = TreeNodes(quantiser.m_wDepth);
    if (nodes == 0)
        return false;
    try {
        quantiser.m_pCube = new (std::nothrow) CCube2[nodes];
    } catch (const std::bad_alloc&) {
        // A host's replacement of the non-throwing form may throw all the same.
        quantiser.m_pCube = nullptr;
    }
    if (quantiser.m_pCube && zeroed)
        std::memset(quantiser.m_pCube, 0, nodes * sizeof(CCube2));
    return quantiser.m_pCube != nullptr;
}

int CNiGoRo2::InitOctree() { return AllocateOctree(*this, true) ? 1 : 0; }

void CNiGoRo2::InsertColor(unsigned char r, unsigned char g, unsigned char b, int fixed) {
    unsigned int node = 0;
    for (unsigned int level = 0; level < m_wDepth; ++level) {
        // Beyond eight levels no bit is left, and every path goes to child 0.
        const unsigned int bit = level < 8 ? 0x80u >> level : 0;
        const unsigned int child = (r & bit ? 1u : 0u) + (g & bit ? 2u : 0u) + (b & bit ? 4u : 0u);
        m_pCube[node].m_dwWeight += fixed ? FixedWeight : 1;
        m_pCube[node].m_byChild |= ChildBit(child);
        node = Child(node, child);
    }
    CCube2& leaf = m_pCube[node];
    ++leaf.m_dwWeight;
    // A leaf that holds a default colour keeps it exactly: later samples only add weight.
    if (!leaf.m_dwFixed) {
        ++leaf.m_dwPixels;
        leaf.m_dwRed += r;
        leaf.m_dwGreen += g;
        leaf.m_dwBlue += b;
    }
    leaf.m_byChild = 0;
    if (fixed) {
        leaf.m_dwWeight = FixedWeight;
        leaf.m_dwFixed = static_cast<unsigned int>(fixed);
    }
}

void CNiGoRo2::InsertDefaultColors() {
    for (unsigned int i = 0; i < m_dwDefaultColors; ++i) {
        const tagRGBQUAD& colour = m_pDefaultColors[i];
        InsertColor(colour.rgbRed, colour.rgbGreen, colour.rgbBlue, 1);
    }
}

void dibprep::ScalarFillTree(CNiGoRo2& quantiser) {
    const int width = quantiser.m_bih.biWidth;
    const int height = quantiser.m_bih.biHeight;
    // A header shorter than 40 bytes has no such fields: what stands there is the picture's own.
    if (width <= 0 || height <= 0 || quantiser.m_bih.biSize < sizeof quantiser.m_bih)
        return;
    const std::size_t stride = SourceRowBytes(quantiser.m_bih.biBitCount, width);
    const auto insertRow = [&quantiser, width](int, auto pixel) {
        for (int x = 0; x < width; ++x) {
            const Rgb colour = pixel(x);
            quantiser.InsertColor(colour.r, colour.g, colour.b, 0);
        }
    };
    switch (LayoutOf(quantiser.m_bih)) {
    case Layout::Fields16:
        ForEachRow16(quantiser.m_pBits, height, stride, FieldDecoder(quantiser), insertRow);
        break;
    case Layout::Fields32:
        ForEachRow32(quantiser.m_pBits, height, stride, FieldDecoder(quantiser), insertRow);
        break;
    case Layout::Plain16:
        ForEachRowPlain16(quantiser.m_pBits, height, stride, insertRow);
        break;
    case Layout::Plain24:
        ForEachRow24(quantiser.m_pBits, height, stride, insertRow);
        break;
    default:
        break;
    }
}

void CNiGoRo2::FillTree() {
    if (!FastFillTree(*this))
        ScalarFillTree(*this);
}

// NOLINTNEXTLINE(misc-no-recursion): a call per level
unsigned int CNiGoRo2::CountColors(unsigned int node, unsigned int& minWeight, int all) {
    const CCube2& cube = m_pCube[node];
    unsigned int count = cube.m_dwPixels && (all || !cube.m_dwFixed) ? 1 : 0;
    if (cube.m_dwWeight && cube.m_dwWeight < minWeight)
        minWeight = cube.m_dwWeight;
    for (unsigned int left = cube.m_byChild; left != 0; left &= left - 1)
        count += CountColors(Child(node, LowestChild(left)), minWeight, all);
    return count;
}

// NOLINTNEXTLINE(misc-no-recursion): a call per level
void CNiGoRo2::Cut(unsigned int node, CCube2* parent) {
    // What is merged into a default colour is lost: it stays exact.
    if (parent->m_dwFixed)
        return;
    const CCube2& cube = m_pCube[node];
    for (unsigned int i = 0; i < 8; ++i) {
        if (cube.m_byChild & ChildBit(i))
            Cut(Child(node, i), parent);
    }
    if (!cube.m_dwFixed) {
        parent->m_dwRed += cube.m_dwRed;
        parent->m_dwGreen += cube.m_dwGreen;
        parent->m_dwBlue += cube.m_dwBlue;
        parent->m_dwPixels += cube.m_dwPixels;
    } else {
        parent->m_dwRed = cube.m_dwRed;
        parent->m_dwGreen = cube.m_dwGreen;
        parent->m_dwBlue = cube.m_dwBlue;
        parent->m_dwPixels = cube.m_dwPixels;
        parent->m_dwFixed = 1;
    }
}

// NOLINTNEXTLINE(misc-no-recursion): a call per level
unsigned int CNiGoRo2::CutBranches(unsigned int node, unsigned int weight) {
    CCube2& cube = m_pCube[node];
    if (cube.m_dwWeight == weight) {
        if (node == 0) {
            // The root has no parent: it takes everything below it and stays as the only colour.
            for (unsigned int i = 0; i < 8; ++i) {
                if (cube.m_byChild & ChildBit(i))
                    Cut(Child(node, i), &cube);
            }
            cube.m_byChild = 0;
        } else {
            Cut(node, &m_pCube[Parent(node)]);
        }
        return 1;
    }
    for (unsigned int i = 0; i < 8; ++i) {
        if ((cube.m_byChild & ChildBit(i)) && CutBranches(Child(node, i), weight))
            cube.m_byChild &= static_cast<unsigned char>(~ChildBit(i));
    }
    return 0;
}

unsigned int dibprep::ScalarReduceColors(CNiGoRo2& quantiser) {
    // Wraps when there are more default colours than colours; the bound on all colours then acts.
    const unsigned int target = quantiser.m_dwMaxColors - quantiser.m_dwDefaultColors;
    unsigned int minWeight = NoWeight;
    const auto countAll = [&quantiser] {
        unsigned int ignored = NoWeight;
        return quantiser.CountColors(0, ignored, 1);
    };
    unsigned int count = quantiser.CountColors(0, minWeight, 0);
    while (count > target || countAll() > MostRecords) {
        // Weights count modulo 2^32; should none be left to go by, everything is merged at once.
        const unsigned int rootMerged =
            quantiser.CutBranches(0, minWeight == NoWeight ? quantiser.m_pCube[0].m_dwWeight : minWeight);
        minWeight = NoWeight;
        count = quantiser.CountColors(0, minWeight, 0);
        if (rootMerged)
            break;
    }
    quantiser.m_nColors = static_cast<int>(countAll());
    return count;
}

unsigned int CNiGoRo2::ReduceColors() {
    unsigned int left = 0;
    return FastReduceColors(*this, left) ? left : ScalarReduceColors(*this);
}

// NOLINTNEXTLINE(misc-no-recursion): a call per level
void CNiGoRo2::CreateColorTableRec(unsigned int node, unsigned int& next) {
    CCube2& cube = m_pCube[node];
    if (cube.m_dwPixels && next < MostRecords) {
        const unsigned int divisor = cube.m_dwFixed ? 1 : cube.m_dwPixels;
        CColorTrans2& record = m_Palette[next];
        record.m_rgb.rgbBlue = static_cast<unsigned char>(cube.m_dwBlue / divisor);
        record.m_rgb.rgbGreen = static_cast<unsigned char>(cube.m_dwGreen / divisor);
        record.m_rgb.rgbRed = static_cast<unsigned char>(cube.m_dwRed / divisor);
        record.m_dwCount = cube.m_dwPixels;
        cube.m_dwRed = next++;
    }
    for (unsigned int left = cube.m_byChild; left != 0; left &= left - 1)
        CreateColorTableRec(Child(node, LowestChild(left)), next);
}

void* dibprep::QuantizeUnseen(CNiGoRo2& quantiser) {
    if (CurrentTier() == Tier::Scalar)
        return quantiser.QuantizeBitmap(1, 0);
    if (!AllocateOctree(quantiser, false))
        return nullptr;
    if (!MakePalette(quantiser)) {
        std::fill_n(quantiser.m_pCube, TreeNodes(quantiser.m_wDepth), CCube2{});
        quantiser.FillTree();
        quantiser.ReduceColors();
        unsigned int next = 0;
        quantiser.CreateColorTableRec(0, next);
    }
    return quantiser.Quantize();
}
