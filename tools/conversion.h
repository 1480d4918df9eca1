// What one conversion did: the record behind the lines on the terminal and behind --report.
#pragma once

#include "tools/page.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dibprep::tool {

// A page in numbers.
struct PageFacts {
    int width = 0;
    int height = 0;
    int bits = 0;
    std::int32_t xPixelsPerMetre = 0; // 0: no resolution
    std::int32_t yPixelsPerMetre = 0;
};

PageFacts FactsOf(const Page& page);
// "1653 x 2338 pixels, 24 bits, 200 dpi"
std::string PageText(const PageFacts& page);

// One page of a file.
struct ConvertedPage {
    PageFacts before;
    PageFacts after;
    double seconds = 0;
    std::vector<std::string> notes; // what else the person should know
};

// One file, all of whose pages are in the result.
struct Conversion {
    std::string output; // the name of the result as the person wrote it
    int firstPage = 0;  // the number of the first one, where the input holds several; 0 otherwise
    std::vector<ConvertedPage> pages;
    std::uint64_t inputBytes = 0;
    std::uint64_t outputBytes = 0;
};

// One line for each page, and one more for each note.
std::string ConversionText(const Conversion& conversion);

/*
 * Where finished conversions are told. Standard: their text on standard error. A batch's worker sends
 * them to its parent, --quiet drops them.
 */
void Announce(const Conversion& conversion);
void SetAnnouncer(void (*announcer)(const Conversion&));

} // namespace dibprep::tool
