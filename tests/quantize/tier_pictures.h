// Pictures and objects for the comparisons of the quantiser's forms.
#pragma once

#include "dibprep/quantize.h"
#include "tests/support/dib_builder.h"
#include "tests/support/tiers.h"

#include <memory>
#include <string>
#include <vector>

namespace tiertest {

using testdib::Bytes;
using testdib::Random;
using testtiers::FastTiersHere;
using testtiers::ForcedTier;

enum class Kind { Noise, Gradient, FewColours, Photo, Runs, Flat, Narrow };
constexpr Kind AllKinds[] = {Kind::Noise, Kind::Gradient, Kind::FewColours, Kind::Photo,
                             Kind::Runs,  Kind::Flat,     Kind::Narrow};
std::string NameOf(Kind kind);

// A DIB of 16 or 24 bits.
Bytes Picture(Kind kind, int width, int height, int bits, std::uint64_t start);

// Random records with indices in order, `spread` values per channel, so that few make many ties; the
// reserved bytes and counts are random too.
std::vector<CColorTrans2> Records(int count, int spread, Random& random);

void SetPalette(CNiGoRo2& quantiser, const std::vector<CColorTrans2>& records);

// Everything that is not a pointer of both palettes, cubes and lists: "" or what differs.
std::string DifferenceOfTrees(const CNiGoRo2& a, const CNiGoRo2& b);
std::string DifferenceOfSearches(const CNiGoRo2& a, const CNiGoRo2& b);

} // namespace tiertest
