// The palette of a picture without its octree: what inserting all pixels, merging the lightest nodes
// and writing the records would make of it, from the leaves alone.
//
// No node weighs less than one below it, and none weighs anything but what its leaves hold. So when
// the merging has come to a weight, exactly the nodes up to this weight are gone, each with all below it
// into its parent, whatever the order. A node is a colour then if it is left and either a leaf or the
// parent of one that is gone: from the weight of its lightest child on, as long as it is left. The count
// of colours never grows with the weight. So the weight to which the scalar form would merge is found by
// halving, and what its parent takes over from a node is the sum of the leaves below.
#include "memory/x86/cpu_tier.h"
#include "quantize/forms.h"
#include "quantize/leaves.h"
#include "quantize/limits.h"
#include "quantize/source_pixels.h"

#include <algorithm>
#include <cstdint>

namespace dibprep {

namespace {

constexpr int Depth = 5;

struct Node {
    std::uint32_t path;
    std::uint32_t red;
    std::uint32_t green;
    std::uint32_t blue;
    std::uint32_t firstChild; // the next level's; none for leaves
    std::uint32_t children;
};

// A record of these sums.
void Put(CColorTrans2& record, std::uint32_t pixels, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    if (pixels != 1) { // in a small picture most colours stand for one pixel
        blue /= pixels;
        green /= pixels;
        red /= pixels;
    }
    record.m_rgb.rgbBlue = static_cast<unsigned char>(blue);
    record.m_rgb.rgbGreen = static_cast<unsigned char>(green);
    record.m_rgb.rgbRed = static_cast<unsigned char>(red);
    record.m_dwCount = pixels;
}

class Reduction {
public:
    explicit Reduction(const Leaves& leaves)
        : m_room(Room(leaves)), m_nodes(m_room, Scratch<Node>::Fill::None),
          m_weights(2 * m_room, Scratch<std::uint32_t>::Fill::None) {
        if (*this)
            MakeNodes(leaves);
    }

    explicit operator bool() const { return m_nodes && m_weights; }

    // Merges until there are so many colours at most, and writes their records.
    int Write(std::uint32_t most, CColorTrans2* records) {
        std::uint32_t tooLight = 0;
        std::uint32_t enough = Weight(m_count - 1) - 1; // all but the last node of the root's chain
        while (enough - tooLight > 1) {
            const std::uint32_t middle = tooLight + (enough - tooLight) / 2;
            (Colours(middle) > most ? tooLight : enough) = middle;
        }
        m_gone = enough;
        CColorTrans2* next = records;
        WriteBelow(m_count - 1, next);
        return static_cast<int>(next - records);
    }

private:
    // At most the leaves' number on each level, and at most what the level has.
    static std::size_t Room(const Leaves& leaves) {
        std::size_t room = 0;
        for (int level = 0; level <= Depth; ++level)
            room += std::min<std::size_t>(static_cast<std::size_t>(leaves.Count()), std::size_t{1} << 3 * level);
        return room;
    }

    std::uint32_t& Weight(std::size_t node) { return m_weights[node]; }
    // Of the lightest child, 0 for leaves: from this on the node is a colour.
    std::uint32_t& Lightest(std::size_t node) { return m_weights[m_room + node]; }

    // Level by level upwards, the root last.
    void MakeNodes(const Leaves& leaves) {
        for (int i = 0; i < leaves.Count(); ++i) {
            const Leaf& leaf = leaves[i];
            Weight(m_count) = leaf.pixels;
            Lightest(m_count) = 0;
            m_nodes[m_count++] = {leaf.path, leaf.red, leaf.green, leaf.blue, 0, 0};
        }
        std::size_t begin = 0;
        for (int level = Depth; level > 0; --level) {
            const std::size_t end = m_count;
            for (std::size_t child = begin; child < end; ++child) {
                const std::uint32_t path = m_nodes[child].path >> 3;
                if (child == begin || m_nodes[m_count - 1].path != path) {
                    m_nodes[m_count] = {path, 0, 0, 0, static_cast<std::uint32_t>(child), 0};
                    Weight(m_count) = 0;
                    Lightest(m_count++) = 0xFFFFFFFFu;
                }
                Node& parent = m_nodes[m_count - 1];
                ++parent.children;
                parent.red += m_nodes[child].red;
                parent.green += m_nodes[child].green;
                parent.blue += m_nodes[child].blue;
                Weight(m_count - 1) += Weight(child);
                Lightest(m_count - 1) = std::min(Lightest(m_count - 1), Weight(child));
            }
            begin = end;
        }
    }

    // How many colours there are when all nodes up to this weight are gone.
    std::uint32_t Colours(std::uint32_t gone) {
        std::uint32_t colours = 0;
        for (std::size_t i = 0; i < m_count; ++i)
            colours += static_cast<std::uint32_t>(Lightest(i) <= gone) & static_cast<std::uint32_t>(gone < Weight(i));
        return colours;
    }

    // The records of a node that is left and of those below it.
    // NOLINTNEXTLINE(misc-no-recursion): a call per level
    void WriteBelow(std::size_t number, CColorTrans2*& next) {
        const Node& node = m_nodes[number];
        if (node.children == 0) {
            Put(*next++, Weight(number), node.red, node.green, node.blue);
            return;
        }
        const std::size_t end = node.firstChild + node.children;
        // Children that are gone: their samples are its own.
        std::uint32_t pixels = 0;
        std::uint32_t red = 0;
        std::uint32_t green = 0;
        std::uint32_t blue = 0;
        for (std::size_t child = node.firstChild; child < end; ++child) {
            if (Weight(child) > m_gone)
                continue;
            pixels += Weight(child);
            red += m_nodes[child].red;
            green += m_nodes[child].green;
            blue += m_nodes[child].blue;
        }
        if (pixels != 0)
            Put(*next++, pixels, red, green, blue);
        for (std::size_t child = node.firstChild; child < end; ++child) {
            if (Weight(child) > m_gone)
                WriteBelow(child, next);
        }
    }

    std::size_t m_room;
    Scratch<Node> m_nodes;
    Scratch<std::uint32_t> m_weights; // of the nodes, then of their lightest children
    std::size_t m_count = 0;
    std::uint32_t m_gone = 0; // nodes up to this weight
};

} // namespace

bool MakePalette(CNiGoRo2& quantiser) {
    const Tier tier = CurrentTier();
    const tagBITMAPINFOHEADER& header = quantiser.m_bih;
    const auto most = std::min<std::uint32_t>(quantiser.m_dwMaxColors, MostRecords);
    if (tier == Tier::Scalar || LayoutOf(header) != Layout::Plain24 || header.biSize < sizeof header ||
        quantiser.m_wDepth != Depth || quantiser.m_dwDefaultColors != 0 || most == 0 || header.biWidth <= 0 ||
        header.biHeight <= 0)
        return false;
    // Weights are numbers of 32 bits; what lies next to their end is left to the tree.
    if (static_cast<std::uint64_t>(header.biWidth) * static_cast<std::uint32_t>(header.biHeight) >= 0x80000000u)
        return false;
    const Leaves leaves(quantiser, KernelsOf(tier));
    if (!leaves)
        return false;
    if (static_cast<std::uint32_t>(leaves.Count()) <= most) {
        for (int i = 0; i < leaves.Count(); ++i)
            Put(quantiser.m_Palette[i], leaves[i].pixels, leaves[i].red, leaves[i].green, leaves[i].blue);
        quantiser.m_nColors = leaves.Count();
        return true;
    }
    Reduction reduction(leaves);
    if (!reduction)
        return false;
    quantiser.m_nColors = reduction.Write(most, quantiser.m_Palette);
    return true;
}

} // namespace dibprep
