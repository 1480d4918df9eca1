// Progress callbacks that stop at a chosen call and look at what they are told.
#pragma once

#include "fuzz/fuzz_input.h"

namespace fuzz {

// Calls until the work is stopped; 0: never. For all callbacks below, set anew for every call.
inline int callsUntilStop = 0;
inline int lastReported = -1;

inline void PlanStop(unsigned calls) {
    callsUntilStop = static_cast<int>(calls);
    lastReported = -1;
}

inline int GoesOn() { return callsUntilStop == 0 || --callsUntilStop != 0; }

// The pipeline's: 0 to 99, rising.
inline int Percent(unsigned short percent) {
    Require(percent <= 99 && percent > lastReported, "percentages do not rise from 0 to 99");
    lastReported = percent;
    return GoesOn();
}

// The resampler's: rows finished, rows.
inline int Rows(int finished, int rows) {
    Require(finished >= 1 && finished <= rows && finished > lastReported, "finished rows are counted wrongly");
    lastReported = finished;
    return GoesOn();
}

} // namespace fuzz
