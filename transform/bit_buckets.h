// Which columns of a 1-bit row come out set, for all column fractions at once.
//
// For given samples and a given row fraction a pixel's level runs straight from that of its left side at the
// column fraction 0 to that of its right side at 1, so that it meets the threshold at one fraction only, and only
// if one side is set by itself and the other is not. The columns are put into buckets by their fractions, and rows
// of bits mark the columns of the first so many buckets: such a row, or what it leaves out, has the outcomes of
// all columns. Of a bucket the least and the greatest fraction are known: where few fractions occur, a bucket
// holds one, and the meeting point lies beside it. Where it does not, there are two rules, one that sets only
// pixels that are surely set, and one that sets all that may be. What they differ in is for the line builder's
// arithmetic. That is less than 10^-9 levels away from the straight line; the rules leave 10^-6 to each side.
#pragma once

#include "dibprep/transform.h"
#include "transform/bit_rows.h"
#include "transform/scratch.h"

namespace dibprep {

struct BitRules {
    BitRule sure;
    BitRule possible;
    bool same = false; // nothing is left open
};

class BitBuckets {
public:
    // Sorts the columns, whose fractions are at least 0 and below 1.
    void Read(const CPosition* columns, std::size_t pixels);
    // Room for the rows, then, with zeroed memory, the rows.
    void Take(ScratchParts& scratch);
    void Fill(const CPosition* columns);

    // The rules of a row. Its fraction 0 means that the second row does not count. Thresholds are 1 to 255; a
    // pixel whose blackness is below becomes white, a set bit. A set sample has the blackness 255 if
    // `setIsBlack`, else 0; a clear one the other.
    void Choose(double fy, int threshold, bool setIsBlack, BitRules& rules) const;

private:
    static constexpr std::size_t MostBuckets = 256;

    std::uint32_t SurelyBelow(double fraction) const;
    std::uint32_t PossiblyBelow(double fraction) const;
    void PutCase(BitRule& rule, std::size_t which, double above, double below, double threshold, bool sure) const;
    BitRule RuleFor(double fy, double threshold, bool sure) const;

    std::size_t m_pixels = 0;
    double m_count = 0;
    std::size_t m_used = 0; // buckets that hold a column
    // A bucket, and one behind the last: used ones before it, and the range of its fractions.
    std::uint16_t m_before[MostBuckets + 1];
    double m_least[MostBuckets + 1];
    double m_greatest[MostBuckets + 1];
    std::uint8_t* m_rows = nullptr; // the columns of no, one, two, ... m_used buckets, unit by unit
};

} // namespace dibprep
