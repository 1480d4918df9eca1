// Every road through the library, as functions from a prepared picture to the bytes that come out.
#pragma once

#include "tests/support/dib_builder.h"

#include <functional>
#include <string>
#include <vector>

namespace modes {

using testdib::Bytes;

// One picture on one road. `run` gives the result block, empty for none, and leaves no block behind.
struct Trip {
    std::string name;
    std::function<Bytes()> run;
};

// Roads of integers alone: the resampler, the quantiser, run-length expansion, depth, orientation,
// size queries.
std::vector<Trip> IntegerTrips();
// The pipeline where all fractions are short binary ones: 300 to 200 dpi and the like.
std::vector<Trip> ShortFractionTrips();
// The pipeline at other ratios: doubles.
std::vector<Trip> OtherFractionTrips();

// Runs every trip without and with `Mode` objects, one for each of `values`, and names the first few
// trips whose bytes differ.
template <class Mode, class Value>
std::string Differences(const std::vector<Trip>& trips, const std::vector<Value>& values) {
    std::string found;
    int count = 0;
    for (const Trip& trip : trips) {
        const Bytes expected = trip.run();
        if (expected.empty())
            return trip.name + " made nothing";
        for (const Value& value : values) {
            Bytes actual;
            {
                const Mode mode(value);
                actual = trip.run();
                if (!mode.IsSet())
                    return trip.name + " changed the mode";
            }
            if (actual != expected && ++count <= 5)
                found += trip.name + " in mode " + std::to_string(value) + "; ";
        }
    }
    return found;
}

} // namespace modes
