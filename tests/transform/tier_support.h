// What the tests of the fast road share: pictures, one run through the entry at a forced tier, and
// the same run through an object of the test's own, whose rows the line builders make.
#pragma once

#include "dibprep/transform.h"
#include "memory/x86/cpu_tier.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tiertest {

using Bytes = std::vector<std::uint8_t>;

enum class Picture { Random, FewLevels, Flat, White, Black, Stripes, Lines, Levels, Margins };

struct Page {
    int bits;
    int width;
    int height;
    int dpiX;
    int dpiY;
    Picture picture = Picture::Random;
    bool ownGrays = false;     // 8 bits: a gray table that is not the identity
    bool clearIsWhite = false; // 1 bit
};

Bytes MakePage(const Page& page, std::uint32_t start);

struct Outcome {
    unsigned int status = 0;
    Bytes block; // the whole destination
    std::vector<int> percents;
    int hostCalls = 0;
};

// What the callback does besides recording; null means no callback at all.
using Callback = int (*)(unsigned short);
extern std::vector<int> percentsSeen;
extern std::uint8_t* sourceBytes; // the locked source while a run is on
extern std::size_t sourceSize;
int Record(unsigned short percent);

struct Call {
    Bytes source;
    int dpi = 200;
    int threshold = 128;
    Callback callback = nullptr;
    std::uint8_t fill = 0; // of the destination before the run
};

// LinearTransformMain with kernels of at most `tier`.
Outcome RunEntry(const Call& call, dibprep::Tier tier);
// An object of the test's own.
Outcome RunLineBuilders(const Call& call);

// Builds the rows of the picture with PipelineRows itself, last row first, so that a store behind a
// row's end stays visible. "" when they equal the line builders' and `tier` was the one that ran.
std::string CompareRows(const Call& call, dibprep::Tier tier);

// "" when the entry equals the object in status, bytes and percentages.
std::string CompareEntry(const Call& call, dibprep::Tier tier);

} // namespace tiertest
