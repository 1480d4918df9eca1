// One look at all columns of an image.
#include "transform/columns.h"

#include <algorithm>

namespace dibprep {

ColumnFacts ReadColumns(const CLinearTransformMem& engine) {
    ColumnFacts facts;
    facts.copies = true;
    double known = -1; // neighbours often have the same fraction; most images have few
    std::size_t x = 0;
    for (const CPosition& at : engine.positions) {
        if (at.x1 >= engine.srcWidth || at.x0 > at.x1 || !(at.fraction >= 0 && at.fraction < 1))
            return {};
        facts.copies = facts.copies && at.x0 == x && Weightless(at);
        ++x;
        if (facts.fractionBits == NotShort || at.x0 == at.x1 || at.fraction == known)
            continue;
        known = at.fraction;
        const unsigned int bits = ShortFractionBits(at.fraction, ColumnBits);
        facts.fractionBits = bits == NotShort ? NotShort : std::max(facts.fractionBits, bits);
    }
    facts.usable = engine.outWidth > 0 && x == engine.outWidth;
    return facts;
}

} // namespace dibprep
