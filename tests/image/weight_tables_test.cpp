// The two exported weight tables.
#include "dibprep/image.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<int> Values(const unsigned short (&table)[5][5]) {
    return std::vector<int>(&table[0][0], &table[0][0] + 25);
}

TEST(WeightTables, A) {
    EXPECT_EQ(Values(WEIGHT_TABLE_A),
              (std::vector<int>{1, 2, 3, 2, 1, 2, 5, 7, 5, 2, 3, 7, 0, 7, 3, 2, 4, 7, 4, 2, 1, 2, 3, 2, 1}));
    EXPECT_EQ(sizeof WEIGHT_TABLE_A, 50u);
}

TEST(WeightTables, B) {
    EXPECT_EQ(Values(WEIGHT_TABLE_B),
              (std::vector<int>{1, 3, 2, 3, 1, 3, 7, 5, 7, 3, 2, 5, 0, 5, 2, 3, 7, 5, 7, 3, 1, 3, 2, 3, 1}));
    EXPECT_EQ(sizeof WEIGHT_TABLE_B, 50u);
}

} // namespace
