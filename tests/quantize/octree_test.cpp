// The octree node by node: making it, inserting, counting, cutting, writing the palette.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

class Octree : public MemoryTest {
protected:
    // A tree of this depth over a 24-bit header.
    CNiGoRo2& Tree(unsigned short depth) {
        m_dib = TrueColour(1, 1, {{0, 0, 0}});
        m_object = Quantiser(m_dib, 256, depth);
        EXPECT_EQ(m_object->InitOctree(), 1);
        return *m_object;
    }

private:
    Bytes m_dib;
    std::unique_ptr<CNiGoRo2> m_object;
};

void ExpectNode(const CCube2& node, unsigned red, unsigned green, unsigned blue, unsigned pixels, unsigned weight,
                int child, unsigned fixed) {
    EXPECT_EQ(node.m_dwRed, red);
    EXPECT_EQ(node.m_dwGreen, green);
    EXPECT_EQ(node.m_dwBlue, blue);
    EXPECT_EQ(node.m_dwPixels, pixels);
    EXPECT_EQ(node.m_dwWeight, weight);
    EXPECT_EQ(node.m_byChild, child);
    EXPECT_EQ(node.m_dwFixed, fixed);
}

TEST_F(Octree, IsMadeZeroed) {
    CNiGoRo2& q = Tree(5);
    for (int i = 0; i < 37449; ++i) {
        const CCube2& n = q.m_pCube[i];
        ASSERT_EQ(n.m_dwRed | n.m_dwGreen | n.m_dwBlue | n.m_dwPixels | n.m_dwWeight | n.m_byChild | n.m_dwFixed, 0u);
    }
}

TEST_F(Octree, IsNotMadeForEightBitsAndLess) {
    for (const int bits : {0, 1, 4, 8}) {
        Bytes dib = testdib::MakeDib(2, 2, bits);
        const auto q = Quantiser(dib);
        EXPECT_EQ(q->InitOctree(), 0) << bits;
        EXPECT_EQ(q->m_pCube, nullptr);
    }
    for (const int bits : {9, 16, 24, 32}) {
        Bytes dib = testdib::MakeDib(2, 2, bits);
        EXPECT_EQ(Quantiser(dib)->InitOctree(), 1) << bits;
    }
}

TEST_F(Octree, InsertWalksTheTopBitsOfEachChannel) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(255, 0, 0, 0);
    ExpectNode(q.m_pCube[0], 0, 0, 0, 0, 1, 1 << 1, 0);
    ExpectNode(q.m_pCube[2], 0, 0, 0, 0, 1, 1 << 1, 0);
    ExpectNode(q.m_pCube[18], 255, 0, 0, 1, 1, 0, 0);
    q.InsertColor(200, 1, 2, 0); // 0xC8 shares both top bits with 255
    ExpectNode(q.m_pCube[18], 455, 1, 2, 2, 2, 0, 0);
    q.InsertColor(0, 0x80, 0xC0, 0);
    ExpectNode(q.m_pCube[0], 0, 0, 0, 0, 3, 1 << 1 | 1 << 6, 0);
    ExpectNode(q.m_pCube[7], 0, 0, 0, 0, 1, 1 << 4, 0);
    ExpectNode(q.m_pCube[8 * 7 + 1 + 4], 0, 0x80, 0xC0, 1, 1, 0, 0);
}

TEST_F(Octree, RedIsChildBitOneGreenTwoBlueFour) {
    CNiGoRo2& q = Tree(1);
    const Rgb corners[] = {{0, 0, 0},   {128, 0, 0},   {0, 128, 0},   {128, 128, 0},
                           {0, 0, 128}, {128, 0, 128}, {0, 128, 128}, {128, 128, 128}};
    for (const Rgb& c : corners)
        q.InsertColor(static_cast<unsigned char>(c[0]), static_cast<unsigned char>(c[1]),
                      static_cast<unsigned char>(c[2]), 0);
    EXPECT_EQ(q.m_pCube[0].m_byChild, 255);
    for (unsigned i = 0; i < 8; ++i)
        ExpectNode(q.m_pCube[1 + i], i & 1 ? 128 : 0, i & 2 ? 128 : 0, i & 4 ? 128 : 0, 1, 1, 0, 0);
}

TEST_F(Octree, DefaultColourWeighs65535OnItsPath) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(255, 0, 0, 7);
    ExpectNode(q.m_pCube[0], 0, 0, 0, 0, 65535, 1 << 1, 0);
    ExpectNode(q.m_pCube[2], 0, 0, 0, 0, 65535, 1 << 1, 0);
    ExpectNode(q.m_pCube[18], 255, 0, 0, 1, 65535, 0, 7);
    q.InsertColor(254, 3, 3, 0);
    ExpectNode(q.m_pCube[0], 0, 0, 0, 0, 65536, 1 << 1, 0);
    ExpectNode(q.m_pCube[18], 255, 0, 0, 1, 65536, 0, 7);
    q.InsertColor(253, 4, 4, 9);
    ExpectNode(q.m_pCube[2], 0, 0, 0, 0, 131071, 1 << 1, 0);
    ExpectNode(q.m_pCube[18], 255, 0, 0, 1, 65535, 0, 9);
}

TEST_F(Octree, DefaultColourIntoALeafWithSamplesIsAddedToThem) {
    CNiGoRo2& q = Tree(1);
    q.InsertColor(1, 2, 3, 0);
    q.InsertColor(10, 20, 30, 1);
    ExpectNode(q.m_pCube[1], 11, 22, 33, 2, 65535, 0, 1);
}

TEST_F(Octree, ALeafLosesTheChildrenThatItHad) {
    CNiGoRo2& q = Tree(1);
    q.m_pCube[1].m_byChild = 0xFF;
    q.InsertColor(1, 2, 3, 0);
    ExpectNode(q.m_pCube[1], 1, 2, 3, 1, 1, 0, 0);
}

TEST_F(Octree, CountsColoursAndTheSmallestWeight) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(0, 0, 0, 1);
    for (int i = 0; i < 5; ++i)
        q.InsertColor(255, 0, 0, 0);
    for (int i = 0; i < 3; ++i)
        q.InsertColor(0, 0, 255, 0);
    unsigned int smallest = 0xFFFFFFFF;
    EXPECT_EQ(q.CountColors(0, smallest, 0), 2u) << "without the default colour";
    EXPECT_EQ(smallest, 3u);
    EXPECT_EQ(q.CountColors(0, smallest, 1), 3u);
    smallest = 2;
    EXPECT_EQ(q.CountColors(2, smallest, 0), 1u) << "the red branch alone";
    EXPECT_EQ(smallest, 2u) << "nothing smaller";
    smallest = 0xFFFFFFFF;
    EXPECT_EQ(q.CountColors(2, smallest, 0), 1u);
    EXPECT_EQ(smallest, 5u);
    q.m_pCube[0].m_byChild = 0;
    smallest = 0xFFFFFFFF;
    EXPECT_EQ(q.CountColors(0, smallest, 1), 0u) << "children without their bit do not exist";
}

TEST_F(Octree, WeightZeroIsNoWeight) {
    CNiGoRo2& q = Tree(1);
    unsigned int smallest = 9;
    EXPECT_EQ(q.CountColors(0, smallest, 1), 0u);
    EXPECT_EQ(smallest, 9u);
}

TEST_F(Octree, TheSmallestWeightMayBeADefaultColoursOrThatOfANodeWithoutSamples) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(0, 0, 0, 1);
    for (int i = 0; i < 3; ++i)
        q.InsertColor(255, 0, 0, 0);
    q.m_pCube[0].m_dwWeight = 70000;
    q.m_pCube[2].m_dwWeight = 70001; // above the three red samples
    q.m_pCube[18].m_dwWeight = 70002;
    unsigned int smallest = 0xFFFFFFFF;
    EXPECT_EQ(q.CountColors(0, smallest, 0), 1u);
    EXPECT_EQ(smallest, 65535u) << "the default colour's, which is not counted";
    q.m_pCube[2].m_dwWeight = 7;
    EXPECT_EQ(q.CountColors(0, smallest, 0), 1u);
    EXPECT_EQ(smallest, 7u) << "the inner node's, which is no colour";
}

TEST_F(Octree, CutMergesAWholeSubtree) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(255, 0, 0, 0);
    q.InsertColor(255, 0, 0, 0);
    q.InsertColor(128, 64, 0, 0);
    q.Cut(2, &q.m_pCube[0]);
    EXPECT_EQ(q.m_pCube[0].m_dwRed, 638u);
    EXPECT_EQ(q.m_pCube[0].m_dwGreen, 64u);
    EXPECT_EQ(q.m_pCube[0].m_dwPixels, 3u);
    EXPECT_EQ(q.m_pCube[0].m_dwFixed, 0u);
    EXPECT_EQ(q.m_pCube[0].m_byChild, 1 << 1) << "the bit is its caller's";
    EXPECT_EQ(q.m_pCube[18].m_dwPixels, 2u) << "the merged nodes stay as they are";
    EXPECT_NE(q.m_pCube[2].m_byChild, 0);
}

TEST_F(Octree, ADefaultColourReplacesWhatWasSummedBeforeAndDropsWhatFollows) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(0, 0, 0, 0);   // child 0 of node 1
    q.InsertColor(64, 1, 2, 1);  // child 1: the default colour
    q.InsertColor(64, 64, 0, 0); // child 3
    q.Cut(1, &q.m_pCube[0]);
    EXPECT_EQ(q.m_pCube[0].m_dwRed, 64u);
    EXPECT_EQ(q.m_pCube[0].m_dwGreen, 1u);
    EXPECT_EQ(q.m_pCube[0].m_dwBlue, 2u);
    EXPECT_EQ(q.m_pCube[0].m_dwPixels, 1u);
    EXPECT_EQ(q.m_pCube[0].m_dwFixed, 1u);
}

TEST_F(Octree, OfTwoDefaultColoursTheFirstChildsIsTaken) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(64, 1, 2, 7); // child 1 of node 1
    q.InsertColor(0, 64, 3, 9); // child 2
    q.Cut(1, &q.m_pCube[0]);
    EXPECT_EQ(q.m_pCube[0].m_dwRed, 64u);
    EXPECT_EQ(q.m_pCube[0].m_dwGreen, 1u);
    EXPECT_EQ(q.m_pCube[0].m_dwBlue, 2u);
    EXPECT_EQ(q.m_pCube[0].m_dwPixels, 1u);
    EXPECT_EQ(q.m_pCube[0].m_dwFixed, 1u) << "marked with 1, whatever marked the leaf";
}

// Only a host that cuts by hand comes here: a node is never lighter than the default colours below it,
// so the reduction merges these into it first.
TEST_F(Octree, SamplesOfTheCutNodeItselfComeAfterItsChildren) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(64, 1, 2, 1);
    q.m_pCube[1].m_dwRed = 10;
    q.m_pCube[1].m_dwGreen = 20;
    q.m_pCube[1].m_dwBlue = 30;
    q.m_pCube[1].m_dwPixels = 4;
    q.Cut(1, &q.m_pCube[0]);
    ExpectNode(q.m_pCube[0], 74, 21, 32, 5, 65535, 1 << 0, 1);
}

TEST_F(Octree, NothingIsMergedIntoADefaultColour) {
    CNiGoRo2& q = Tree(1);
    q.InsertColor(255, 255, 255, 0);
    q.m_pCube[0].m_dwFixed = 3;
    q.Cut(8, &q.m_pCube[0]);
    EXPECT_EQ(q.m_pCube[0].m_dwPixels, 0u);
    EXPECT_EQ(q.m_pCube[0].m_dwFixed, 3u);
}

TEST_F(Octree, CutBranchesTakesTheHighestNodeOfAChain) {
    CNiGoRo2& q = Tree(3);
    q.InsertColor(255, 0, 0, 0); // a chain of weight 1
    q.InsertColor(0, 0, 0, 0);
    q.InsertColor(0, 0, 0, 0);
    EXPECT_EQ(q.CutBranches(0, 1), 0u);
    EXPECT_EQ(q.m_pCube[0].m_dwPixels, 1u) << "merged straight into the root";
    EXPECT_EQ(q.m_pCube[0].m_dwRed, 255u);
    EXPECT_EQ(q.m_pCube[0].m_byChild, 1);
    EXPECT_EQ(q.m_pCube[2].m_dwPixels, 0u);
}

TEST_F(Octree, CutBranchesMergesADeepNodeIntoItsOwnParent) {
    CNiGoRo2& q = Tree(3);
    q.InsertColor(255, 255, 255, 0); // nodes 8, 72 and 584
    for (int i = 0; i < 2; ++i)
        q.InsertColor(192, 192, 192, 0); // 577, beside it
    EXPECT_EQ(q.CutBranches(0, 1), 0u);
    ExpectNode(q.m_pCube[72], 255, 255, 255, 1, 3, 1 << 0, 0);
    ExpectNode(q.m_pCube[577], 384, 384, 384, 2, 2, 0, 0);
}

TEST_F(Octree, CutBranchesMergesAllNodesOfTheWeight) {
    CNiGoRo2& q = Tree(1);
    q.InsertColor(0, 0, 0, 0);
    q.InsertColor(255, 0, 0, 0);
    q.InsertColor(255, 0, 0, 0);
    q.InsertColor(0, 255, 0, 0);
    EXPECT_EQ(q.CutBranches(0, 1), 0u);
    ExpectNode(q.m_pCube[0], 0, 255, 0, 2, 4, 1 << 1, 0);
    EXPECT_EQ(q.CutBranches(2, 2), 1u) << "the node itself has the weight";
    EXPECT_EQ(q.m_pCube[0].m_dwRed, 510u);
    EXPECT_EQ(q.m_pCube[0].m_byChild, 1 << 1) << "its parent's bit is the caller's";
}

TEST_F(Octree, PaletteIsWrittenParentsFirstChildrenInOrder) {
    CNiGoRo2& q = Tree(2);
    q.InsertColor(255, 255, 255, 0);
    q.InsertColor(0, 0, 200, 0);
    q.InsertColor(3, 0, 0, 0);
    q.InsertColor(4, 0, 0, 0);
    q.m_pCube[1].m_dwPixels = 5; // an inner node that became a colour
    q.m_pCube[1].m_dwGreen = 504;
    q.m_Palette[0].m_byIndex = 77;
    q.m_Palette[0].m_rgb.rgbReserved = 88;
    unsigned int next = 0;
    q.CreateColorTableRec(0, next);
    EXPECT_EQ(next, 4u);
    q.m_nColors = 4;
    EXPECT_EQ(Palette(q), (std::vector<Rgb>{{0, 100, 0}, {3, 0, 0}, {0, 0, 200}, {255, 255, 255}}));
    EXPECT_EQ(Counts(q), (std::vector<unsigned>{5, 2, 1, 1}));
    EXPECT_EQ(q.m_pCube[1].m_dwRed, 0u);
    EXPECT_EQ(q.m_pCube[9].m_dwRed, 1u) << "a colour's node learns its palette index";
    EXPECT_EQ(q.m_pCube[72].m_dwRed, 3u);
    EXPECT_EQ(q.m_Palette[0].m_byIndex, 77) << "not written here";
    EXPECT_EQ(q.m_Palette[0].m_rgb.rgbReserved, 88) << "not written here";
}

TEST_F(Octree, PaletteKeepsTheLowEightBitsOfAnUndividedDefaultColour) {
    CNiGoRo2& q = Tree(1);
    q.InsertColor(100, 0, 0, 0);
    q.m_pCube[1].m_dwFixed = 1;
    q.m_pCube[1].m_dwRed = 300;
    q.m_pCube[1].m_dwPixels = 3;
    unsigned int next = 0;
    q.CreateColorTableRec(0, next);
    EXPECT_EQ(Colour(q.m_Palette[0]), (Rgb{44, 0, 0})) << "300 is not divided by 3";
    EXPECT_EQ(q.m_Palette[0].m_dwCount, 3u);
}

TEST_F(Octree, PaletteStartsWhereItIsTold) {
    CNiGoRo2& q = Tree(1);
    q.InsertColor(9, 8, 7, 0);
    unsigned int next = 255;
    q.CreateColorTableRec(0, next);
    EXPECT_EQ(next, 256u);
    EXPECT_EQ(Colour(q.m_Palette[255]), (Rgb{9, 8, 7}));
}

} // namespace
