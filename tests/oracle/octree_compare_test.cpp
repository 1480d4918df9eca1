// The octree step by step: after every step each node of the library's array is compared with the
// slow version's linked nodes.
#include "dibprep.h"
#include "quantize_fixture.h"
#include "random_cases.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace oracle;

using OctreeCompare = RandomCaseTest;

unsigned char Byte(int value) { return static_cast<unsigned char>(value); }

void InsertBoth(Pair& pair, const Colour& colour, int fixed) {
    pair.fast.InsertColor(Byte(colour.red), Byte(colour.green), Byte(colour.blue), fixed);
    pair.slow.InsertColor(colour.red, colour.green, colour.blue, static_cast<std::uint32_t>(fixed));
}

// Every node that exists, with its number in the library's array.
void CollectNodes(Node& node, unsigned number, std::vector<std::pair<Node*, unsigned>>& nodes) {
    nodes.emplace_back(&node, number);
    for (unsigned i = 0; i < 8; ++i)
        if ((node.children >> i & 1) != 0)
            CollectNodes(*node.child[i], 8 * number + 1 + i, nodes);
}

std::pair<Node*, unsigned> RandomNode(Random& random, Pair& pair) {
    std::vector<std::pair<Node*, unsigned>> nodes;
    CollectNodes(*pair.slow.root, 0, nodes);
    return nodes[random.Next() % nodes.size()];
}

void CompareCounts(const std::pair<Node*, unsigned>& node, Pair& pair) {
    for (const int all : {0, 1}) {
        unsigned fastLeast = 0xFFFFFFFF;
        std::uint32_t slowLeast = 0xFFFFFFFF;
        EXPECT_EQ(pair.fast.CountColors(node.second, fastLeast, all),
                  pair.slow.CountColors(*node.first, slowLeast, all != 0));
        EXPECT_EQ(fastLeast, slowLeast);
    }
}

Bytes AnySource() { return testdib::MakeDib(1, 1, 24); }

TEST_F(OctreeCompare, TreesFilledFromPicturesReduceToTheSameNodes) {
    ForEachCase(160, 40, [](Random& random) {
        const Bytes dib = RandomQuantizerSource(random, 16, 16);
        const unsigned depth = random.OneIn(12) ? 5 : static_cast<unsigned>(random.Range(0, 4));
        const unsigned maxColors =
            random.OneIn(3) ? RandomMaxColors(random) : static_cast<unsigned>(random.Range(1, 30));
        SCOPED_TRACE("depth " + std::to_string(depth) + ", at most " + std::to_string(maxColors) + " colours, " +
                     std::to_string(testdib::U16(dib, 14)) + " bits");
        Pair pair(dib, maxColors, depth);
        if (random.OneIn(3))
            pair.SetDefaultColors(RandomDefaultColors(random, random.OneIn(4) ? 300 : 8));
        const bool made = pair.slow.InitOctree();
        ASSERT_EQ(pair.fast.InitOctree(), made ? 1 : 0);
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        if (!made)
            return;
        pair.slow.InsertDefaultColors();
        pair.fast.InsertDefaultColors();
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        pair.slow.FillTree();
        pair.fast.FillTree();
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        CompareCounts(RandomNode(random, pair), pair);
        ASSERT_EQ(pair.fast.ReduceColors(), pair.slow.ReduceColors());
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        std::uint32_t slowNext = 0;
        unsigned fastNext = 0;
        pair.slow.CreateColorTableRec(*pair.slow.root, slowNext);
        pair.fast.CreateColorTableRec(0, fastNext);
        EXPECT_EQ(fastNext, slowNext);
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        pair.CompareFields();
    });
}

TEST_F(OctreeCompare, SingleStepsInAnyOrderLeaveTheSameNodes) {
    ForEachCase(120, 41, [](Random& random) {
        const unsigned depth = static_cast<unsigned>(random.Range(1, random.OneIn(10) ? 5 : 3));
        Pair pair(AnySource(), static_cast<unsigned>(random.Range(0, 20)), depth);
        ASSERT_TRUE(pair.slow.InitOctree());
        ASSERT_EQ(pair.fast.InitOctree(), 1);
        const bool fixedColours = random.OneIn(2);
        std::string steps;
        for (int step = 0; step < 20; ++step) {
            switch (random.Range(0, 4)) {
            case 0:
            case 1:
                steps += " insert";
                for (int i = random.Range(1, 30); i > 0; --i) {
                    const int fixed = fixedColours && random.OneIn(10) ? random.Range(1, 3) : 0;
                    InsertBoth(pair, RandomSearch(random, {}, 0), fixed);
                }
                break;
            case 2: {
                const auto node = RandomNode(random, pair);
                if (node.second == 0)
                    break;
                steps += " cut " + std::to_string(node.second);
                const unsigned parent = (node.second - 1) / 8;
                pair.slow.Cut(*node.first, *node.first->parent);
                pair.fast.Cut(node.second, &pair.fast.m_pCube[parent]);
                break;
            }
            case 3: {
                const auto node = RandomNode(random, pair);
                const std::uint32_t weight = RandomNode(random, pair).first->weight;
                // Nothing is above the root to take it.
                if (node.second == 0 && node.first->weight == weight)
                    break;
                steps += " cut branches of weight " + std::to_string(weight) + " below " + std::to_string(node.second);
                const bool merged = pair.slow.CutBranches(*node.first, weight);
                EXPECT_EQ(pair.fast.CutBranches(node.second, weight), merged ? 1u : 0u);
                break;
            }
            default:
                steps += " count";
                CompareCounts(RandomNode(random, pair), pair);
            }
            SCOPED_TRACE("depth " + std::to_string(depth) + ":" + steps);
            ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        }
        SCOPED_TRACE("depth " + std::to_string(depth) + ":" + steps + " reduce");
        ASSERT_EQ(pair.fast.ReduceColors(), pair.slow.ReduceColors());
        ASSERT_NO_FATAL_FAILURE(pair.CompareNodes());
        EXPECT_EQ(pair.fast.m_nColors, pair.slow.colors);
    });
}

TEST_F(OctreeCompare, TreesThatAreTooLargeOrNotWantedAreRefusedAlike) {
    for (const unsigned depth : {9u, 10u, 21u, 22u, 31u, 65535u}) {
        Pair pair(AnySource(), 256, depth);
        EXPECT_FALSE(pair.slow.InitOctree());
        EXPECT_EQ(pair.fast.InitOctree(), 0) << depth;
        EXPECT_EQ(pair.fast.m_pCube, nullptr);
    }
    for (const int bits : {1, 4, 8}) {
        Pair pair(testdib::MakeDib(3, 3, bits), 256, 5);
        EXPECT_FALSE(pair.slow.InitOctree());
        EXPECT_EQ(pair.fast.InitOctree(), 0) << bits;
    }
}

} // namespace
