// Headers whose other words say what no page says: sizes of the header, tables, planes, image sizes,
// compression codes, bit counts, masks.
#include "tests/reliability/hostile_cases.h"

using namespace hostile;

namespace {

class HostileHeaders : public testing::TestWithParam<Case> {};

TEST_P(HostileHeaders, Answer) { Check(GetParam()); }

const Case Cases[] = {
    {"SizeWord0", {Size(0)}, {{"1 4g 8g 16 24 32", "0 0 0/0 0 0 +0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 +0 - - - -"}}},
    {"SizeWord11", {Size(11)}, {{"1 4g 8g 16 24 32", "0 0 0/0 0 0 +0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 +0 - - - -"}}},
    {"SizeWord12", {Size(12)}, {{"1 4g 8g 16 24 32", "0 0 0/0 0 0 +0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 +0 - - - -"}}},
    {"SizeWord13", {Size(13)}, {{"1 4g 8g 16 24 32", "0 0 0/0 0 0 +0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 +0 - - - -"}}},
    {"SizeWord39", {Size(39)}, {{"1 4g 8g 16 24 32", "0 0 0/0 0 0 +0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 +0 - - - -"}}},
    {"SizeWord41", {Size(41)},
     {{"1 4g 8g", "0 0 0/0 0 0 -0 - - - -"}, {"4c 8c", "0 0 0/1 0 0 -0 - - - -"},
      {"16 24 32", "0 0 0/0 0 0 -0 - - - ."}}},
    {"SizeWordFFFFFFFF", {Size(0xFFFFFFFF)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 . . . -"}, {"4c 8c", "0 0 0/1 0 0 +0 . . . -"},
      {"16 24 32", "0 0 0/0 0 0 -0 . . . ."}}},
    {"ColoursUsed0", {ColoursUsed(0)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"ColoursUsed257", {ColoursUsed(257)},
     {{"1 4g 8g", "0 0 0/0 0 0 -0 . . . -"}, {"4c 8c", "0 0 0/1 0 0 -0 . . . -"},
      {"16 24 32", "0 0 0/0 0 0 -0 . . . ."}}},
    {"ColoursUsed100000", {ColoursUsed(100000)},
     {{"1 4g 8g", "0 0 0/0 0 0 -0 . . . -"}, {"4c 8c", "0 0 0/1 0 0 -0 . . . -"},
      {"16 24 32", "0 0 0/0 0 0 -0 . . . ."}}},
    {"ColoursUsedOneAndTwoToThe30", {ColoursUsed((1u << 30) + 1)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 -0 . . . ."}}},
    {"ColoursUsedSixteenAndTwoToThe31", {ColoursUsed((1u << 31) + 16)},
     {{"1", "0 0 0/0 0 0 -0 . . . -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"}, {"4g 8g", "0 0 0/0 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 -0 . . . ."}}},
    {"ColoursUsedFFFFFFFF", {ColoursUsed(0xFFFFFFFF)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 . . . -"}, {"4c 8c", "0 0 0/1 0 0 +0 . . . -"},
      {"16 24 32", "0 0 0/0 0 0 +0 . . . ."}}},
    {"ImageSize0", {ImageSize(0)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"ImageSize1", {ImageSize(1)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"ImageSizeOf2GB", {ImageSize(0x80000000)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"ImageSizeOf3GB", {ImageSize(3000000000u)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"ImageSizeOf4GB", {ImageSize(0xFFFFFFFF)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"Planes0", {Planes(0)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
    {"Planes5000", {Planes(5000)},
     {{"1 4g 8g", "0 0 0/0 0 0 +0 - + + -"}, {"4c 8c", "0 0 0/1 0 0 +0 - + + -"},
      {"16 24 32", "0 0 0/0 0 0 +0 - + + +"}}},
};

INSTANTIATE_TEST_SUITE_P(Header, HostileHeaders, testing::ValuesIn(Cases), NameOf<Case>);

} // namespace
