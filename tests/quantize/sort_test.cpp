// The comparators and both sorts. The sorts are not stable, and the order in which they leave ties
// is part of every result.
#include "tests/quantize/quantize_support.h"

namespace {

using namespace quantizetest;

std::vector<int> Order(const std::vector<CColorTrans2>& v) {
    std::vector<int> order;
    for (const CColorTrans2& record : v)
        order.push_back(record.m_byIndex);
    return order;
}

std::vector<CColorTrans2> WithCounts(const std::vector<unsigned>& counts) {
    std::vector<CColorTrans2> v;
    for (const unsigned count : counts)
        v.push_back(Record(0, 0, 0, count, static_cast<int>(v.size())));
    return v;
}

TEST(Comparators, BlueDifference) {
    EXPECT_EQ(CompareBlue(Record(9, 9, 200), Record(1, 1, 50)), 150);
    EXPECT_EQ(CompareBlue(Record(0, 0, 0), Record(0, 0, 255)), -255);
    EXPECT_EQ(CompareBlue(Record(1, 2, 7), Record(3, 4, 7)), 0);
}

TEST(Comparators, CountDifferenceIsASigned32BitWord) {
    EXPECT_EQ(CompareDenom(Record(0, 0, 0, 5), Record(0, 0, 0, 3)), 2);
    EXPECT_EQ(CompareDenom(Record(0, 0, 0, 3), Record(0, 0, 0, 5)), -2);
    EXPECT_EQ(CompareDenom(Record(0, 0, 0, 0xFFFFFFFF), Record(0, 0, 0, 0)), -1);
    EXPECT_EQ(CompareDenom(Record(0, 0, 0, 0), Record(0, 0, 0, 0x80000001)), 2147483647);
    EXPECT_EQ(CompareDenom(Record(0, 0, 0, 0x80000000), Record(0, 0, 0, 0)), -2147483647 - 1);
}

TEST(Comparators, DifferenceOfSquaredDistances) {
    EXPECT_EQ(CompareColor(Record(0, 0, 0), Record(1, 2, 3), Quad(0, 0, 0)), -14);
    EXPECT_EQ(CompareColor(Record(255, 255, 255), Record(0, 0, 0), Quad(0, 0, 0)), 195075);
    EXPECT_EQ(CompareColor(Record(10, 20, 30), Record(30, 20, 10), Quad(20, 20, 20)), 0);
    EXPECT_EQ(CompareColor(Record(1, 0, 0), Record(0, 0, 5), Quad(0, 0, 0, 200)), -24) << "reserved bytes do not count";
}

TEST(SortByComparator, OrdersWholeRecords) {
    std::vector<CColorTrans2> v{Record(1, 2, 3, 30, 5), Record(4, 5, 6, 10, 6), Record(7, 8, 9, 20, 7)};
    v[0].m_rgb.rgbReserved = 99;
    Qsort(v.data(), 3, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{6, 7, 5}));
    EXPECT_EQ(Colour(v[0]), (Rgb{4, 5, 6}));
    EXPECT_EQ(Colour(v[2]), (Rgb{1, 2, 3}));
    EXPECT_EQ(v[2].m_rgb.rgbReserved, 99);
    EXPECT_EQ(v[2].m_dwCount, 30u);
}

TEST(SortByComparator, EqualRecordsChangePlacesInAFixedWay) {
    std::vector<CColorTrans2> v = WithCounts({5, 5});
    Qsort(v.data(), 2, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{1, 0}));
    v = WithCounts({5, 5, 5, 5, 5});
    Qsort(v.data(), 5, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{2, 3, 1, 4, 0}));
    v = WithCounts({5, 5, 5, 5, 5, 5, 5, 5});
    Qsort(v.data(), 8, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{4, 0, 5, 2, 6, 1, 7, 3}));
}

TEST(SortByComparator, TiesAmongOthers) {
    std::vector<CColorTrans2> v = WithCounts({3, 1, 3, 1, 2, 1, 3});
    Qsort(v.data(), 7, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{3, 1, 5, 4, 0, 6, 2}));
    v.clear();
    for (const int blue : {200, 10, 10, 200, 10, 50})
        v.push_back(Record(0, 0, blue, 0, static_cast<int>(v.size())));
    Qsort(v.data(), 6, CompareBlue);
    EXPECT_EQ(Order(v), (std::vector<int>{2, 1, 4, 5, 3, 0}));
}

TEST(SortByComparator, NoneOrOneIsLeftAlone) {
    std::vector<CColorTrans2> v = WithCounts({2, 1});
    Qsort(v.data(), 1, CompareDenom);
    Qsort(v.data(), 0, CompareDenom);
    Qsort(v.data(), -3, CompareDenom);
    Qsort(nullptr, 0, CompareDenom);
    EXPECT_EQ(Order(v), (std::vector<int>{0, 1}));
}

TEST(SortByComparator, LongOrderedRunsDoNotExhaustTheStack) {
    std::vector<CColorTrans2> v;
    for (int i = 0; i < 200000; ++i)
        v.push_back(Record(0, 0, 0, static_cast<unsigned>(200000 - i), i & 255));
    Qsort(v.data(), static_cast<int>(v.size()), CompareDenom);
    for (std::size_t i = 0; i < v.size(); ++i)
        ASSERT_EQ(v[i].m_dwCount, i + 1);
}

TEST(SortByReference, OrdersByDistanceWithFixedTies) {
    std::vector<CColorTrans2> v;
    for (const Rgb& c : {Rgb{10, 0, 0}, Rgb{0, 10, 0}, Rgb{0, 0, 10}, Rgb{5, 0, 0}, Rgb{0, 5, 0}})
        v.push_back(Record(c[0], c[1], c[2], 0, static_cast<int>(v.size())));
    Qsort(v.data(), Quad(0, 0, 0), 5, CompareColor);
    EXPECT_EQ(Order(v), (std::vector<int>{3, 4, 2, 0, 1}));
}

int seenBlue = -1;
int NoteReference(CColorTrans2 a, CColorTrans2 b, tagRGBQUAD reference) {
    seenBlue = reference.rgbBlue;
    return a.m_rgb.rgbRed - b.m_rgb.rgbRed;
}

TEST(SortByReference, HandsTheReferenceToTheComparator) {
    std::vector<CColorTrans2> v{Record(9, 0, 0), Record(3, 0, 0), Record(6, 0, 0)};
    Qsort(v.data(), Quad(1, 2, 77), 3, NoteReference);
    EXPECT_EQ(seenBlue, 77);
    EXPECT_EQ(v[0].m_rgb.rgbRed, 3);
    EXPECT_EQ(v[2].m_rgb.rgbRed, 9);
}

} // namespace
