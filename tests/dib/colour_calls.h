// The packed-colour functions of this program count their calls; CreatePalette keeps its record.
#pragma once

#include "tests/support/dib_builder.h"

namespace colourcalls {

struct Counts {
    int rgb;
    int red;
    int green;
    int blue;
};

// Since the last call.
Counts TakeCounts();

// The next CreatePalette fails when told so. The record as the last call got it: 4 bytes and 4 per
// entry; empty when there was none. The palette that the test's CreatePalette answers.
void FailNextPalette();
testdib::Bytes TakePalette();
extern void* const Palette;

} // namespace colourcalls
