// Records of conversions, and their words.
#include "tools/conversion.h"

#include "tools/resolution.h"

#include <cstdio>

namespace dibprep::tool {

namespace {

void Print(const Conversion& conversion) { std::fputs(ConversionText(conversion).c_str(), stderr); }

void (*g_announcer)(const Conversion&) = Print;

} // namespace

PageFacts FactsOf(const Page& page) {
    return {page.Width(), page.Height(), page.Bits(), page.PixelsPerMetreX(), page.PixelsPerMetreY()};
}

std::string PageText(const PageFacts& page) {
    return SizeText(static_cast<unsigned>(page.width), static_cast<unsigned>(page.height)) + ", " +
           std::to_string(page.bits) + (page.bits == 1 ? " bit, " : " bits, ") +
           ResolutionText(page.xPixelsPerMetre, page.yPixelsPerMetre);
}

std::string ConversionText(const Conversion& conversion) {
    std::string text;
    int number = conversion.firstPage;
    for (const ConvertedPage& page : conversion.pages) {
        char seconds[40];
        std::snprintf(seconds, sizeof seconds, "%.2f s", page.seconds);
        const std::string name =
            conversion.output + (conversion.firstPage == 0 ? ": " : ": page " + std::to_string(number++) + ": ");
        text += name + PageText(page.after) + " (before: " + PageText(page.before) + "); " + seconds + ".\n";
        for (const std::string& note : page.notes)
            text += name + note + '\n';
    }
    return text;
}

void Announce(const Conversion& conversion) { g_announcer(conversion); }

void SetAnnouncer(void (*announcer)(const Conversion&)) { g_announcer = announcer; }

} // namespace dibprep::tool
