// Packed colours to gray: three rules for 16 levels and three for 256.
#include "dibprep/colour.h"

#include "dibprep/host.h"

#include <algorithm>

namespace {

// The 16 levels are the multiples of 17: 0, 17 ... 255.
constexpr unsigned int LevelStep = 17;

struct Channels {
    explicit Channels(unsigned int colour)
        : red(GetRValue(colour)), green(GetGValue(colour)), blue(GetBValue(colour)) {}
    unsigned int red;
    unsigned int green;
    unsigned int blue;
};

unsigned int Average(const Channels& c) { return (c.red + c.green + c.blue) / 3; }

unsigned int MidRange(const Channels& c) {
    return (std::max({c.red, c.green, c.blue}) + std::min({c.red, c.green, c.blue})) >> 1;
}

// 30, 59 and 11 hundredths, half rounded up.
unsigned int Luminance(const Channels& c) {
    const unsigned int sum = 30 * c.red + 59 * c.green + 11 * c.blue;
    return sum / 100 + (sum % 100 >= 50 ? 1 : 0);
}

// 16, 38 and 8 sixty-fourths: 62 of 64, so every gray comes out slightly darker and white as 247.
// By decision: they are not to be made to add up to one.
unsigned int ShiftLuminance(const Channels& c) { return (16 * c.red + 38 * c.green + 8 * c.blue) >> 6; }

// The highest of the 16 levels that is not above v. A colour next to white whose luminance rounds
// up to 255 gets 255, as white does.
unsigned int LevelBelow(unsigned int v) { return v / LevelStep * LevelStep; }

unsigned int Gray(unsigned int v) {
    const auto level = static_cast<unsigned char>(v);
    return RGB(level, level, level);
}

} // namespace

unsigned int ColorToMono16Easy(unsigned int colour) { return Gray(LevelBelow(Average(Channels(colour)))); }

unsigned int ColorToMono16MinMax(unsigned int colour) { return Gray(LevelBelow(MidRange(Channels(colour)))); }

unsigned int ColorToMono16(unsigned int colour) { return Gray(LevelBelow(Luminance(Channels(colour)))); }

unsigned int ColorToMono256Easy(unsigned int colour) { return Gray(Average(Channels(colour))); }

unsigned int ColorToMono256MinMax(unsigned int colour) { return Gray(MidRange(Channels(colour))); }

unsigned int ColorToMono256(unsigned int colour) { return Gray(ShiftLuminance(Channels(colour))); }
