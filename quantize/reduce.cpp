// ReduceColors in one sweep. Merging never changes a weight, and without default colours a node
// weighs at least as much as each of its children. So the least weights come up in ascending order,
// and all nodes that can ever be merged are known from the start: they are sorted by weight once, and
// the count of colours is kept up to date with each merge, where the scalar form walks the whole tree
// for every weight.
//
// With nodes of weight w: below a node of that weight that is merged only nodes of the same weight are
// left (the lighter ones went before), and they go with it. So a node is merged by itself exactly when
// its parent weighs more. Merges of one weight go into sums that none of them reads, so their order
// does not matter.
#include "memory/x86/cpu_tier.h"
#include "quantize/forms.h"
#include "quantize/limits.h"
#include "quantize/scratch.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace dibprep {

namespace {

struct Entry {
    std::uint32_t weight;
    std::uint32_t node;
};

// Of the children that these bits tell.
constexpr std::uint32_t FirstChild(std::uint32_t node, std::uint32_t bits) {
    return 8 * node + 1 + static_cast<std::uint32_t>(__builtin_ctz(bits));
}

struct Tree {
    CCube2* nodes;
    std::uint32_t depth;
    std::size_t found = 0;
    unsigned int colours = 0;

    // Counts the nodes below this one and their colours; false when the tree is not of the kind that
    // filling makes without default colours.
    bool Look(std::uint32_t node, std::uint32_t level) { // NOLINT(misc-no-recursion): a call per level
        const CCube2& cube = nodes[node];
        if (cube.m_dwFixed || cube.m_dwWeight == 0 || (level >= depth && cube.m_byChild))
            return false;
        ++found;
        colours += cube.m_dwPixels != 0;
        for (std::uint32_t left = cube.m_byChild; left != 0; left &= left - 1) {
            const std::uint32_t child = FirstChild(node, left);
            if (nodes[child].m_dwWeight > cube.m_dwWeight || !Look(child, level + 1))
                return false;
        }
        return true;
    }

    void Collect(std::uint32_t node, Entry*& next) const { // NOLINT(misc-no-recursion): a call per level
        *next++ = {nodes[node].m_dwWeight, node};
        for (std::uint32_t left = nodes[node].m_byChild; left != 0; left &= left - 1)
            Collect(FirstChild(node, left), next);
    }
};

// By weight: four passes of one byte each, from the lowest (radix sort, H. Hollerith). A byte that is
// the same in all weights costs no pass.
Entry* Sort(Entry* entries, Entry* other, std::size_t count) {
    for (int shift = 0; shift < 32; shift += 8) {
        std::size_t place[256] = {};
        for (std::size_t i = 0; i < count; ++i)
            ++place[entries[i].weight >> shift & 0xFF];
        if (place[entries[0].weight >> shift & 0xFF] == count)
            continue;
        std::size_t sum = 0;
        for (std::size_t& p : place)
            sum += std::exchange(p, sum);
        for (std::size_t i = 0; i < count; ++i)
            other[place[entries[i].weight >> shift & 0xFF]++] = entries[i];
        std::swap(entries, other);
    }
    return entries;
}

} // namespace

bool FastReduceColors(CNiGoRo2& quantiser, unsigned int& left) {
    if (CurrentTier() == Tier::Scalar)
        return false;
    Tree tree{quantiser.m_pCube, quantiser.m_wDepth};
    const std::uint32_t whole = tree.nodes[0].m_dwWeight;
    if (whole == 0xFFFFFFFFu || !tree.Look(0, 0))
        return false;
    const unsigned int target = quantiser.m_dwMaxColors - quantiser.m_dwDefaultColors;
    const auto tooMany = [target](unsigned int colours) { return colours > target || colours > MostRecords; };

    unsigned int colours = tree.colours;
    if (tooMany(colours)) {
        const Scratch<Entry> memory(2 * tree.found, Scratch<Entry>::Fill::None);
        if (!memory)
            return false;
        Entry* end = memory.get();
        tree.Collect(0, end);
        const Entry* const entries = Sort(memory.get(), end, tree.found);
        for (std::size_t i = 0; i < tree.found && tooMany(colours);) {
            const std::uint32_t weight = entries[i].weight;
            if (weight == whole) {
                // Everything that is left hangs on the root by this weight alone.
                quantiser.CutBranches(0, weight);
                unsigned int ignored = weight;
                colours = quantiser.CountColors(0, ignored, 0);
                break;
            }
            for (; i < tree.found && entries[i].weight == weight; ++i) {
                const std::uint32_t node = entries[i].node;
                CCube2& parent = tree.nodes[(node - 1) / 8];
                if (parent.m_dwWeight == weight)
                    continue;
                unsigned int ignored = weight;
                colours -= quantiser.CountColors(node, ignored, 0) + (parent.m_dwPixels != 0);
                quantiser.Cut(node, &parent);
                colours += parent.m_dwPixels != 0;
                parent.m_byChild &= static_cast<unsigned char>(~(1u << (node - 1) % 8));
            }
        }
    }
    quantiser.m_nColors = static_cast<int>(colours);
    left = colours;
    return true;
}

} // namespace dibprep
