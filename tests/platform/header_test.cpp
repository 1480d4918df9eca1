// The plain headers compile as C and the functions work from there.
#include <gtest/gtest.h>

extern "C" int UseHostLayerFromC(void);

TEST(HostHeaders, WorkFromC) { EXPECT_EQ(UseHostLayerFromC(), 0); }
