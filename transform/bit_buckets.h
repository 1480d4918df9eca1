// Which columns of a 1-bit row come out white, for all column fractions at once.
//
// For given samples and a given row fraction a pixel's blackness runs straight from its value P at
// the column fraction 0 to its value R at 1, so that it meets the threshold at one fraction only. The
// columns are put into buckets by their fractions, and rows of bits mark the columns of the first so
// many buckets: such a row, or what it leaves out, has the outcomes of all columns but those whose
// bucket the meeting point lies in. Those stay open, and the line builder's arithmetic decides them.
// It is less than 10^-9 away from the straight line; everything within 10^-6 of the threshold is open.
#pragma once

#include "dibprep/transform.h"
#include "transform/row_kernels.h"
#include "transform/scratch.h"

namespace dibprep {

class BitBuckets {
public:
    // False when there is no memory.
    bool Prepare(const CPosition* columns, std::size_t pixels, std::size_t planeBytes);

    bool IsReady() const { return m_count > 0; }

    // The choices of a row for the 16 combinations of samples. A set sample has the blackness 255 if
    // `setIsBlack`, else 0; a clear one the other.
    void Choose(double fy, int threshold, bool setIsBlack, BitChoice choices[16]) const;

private:
    const std::uint8_t* Columns(std::size_t buckets) const { return m_rows + buckets * m_planeBytes; }
    BitChoice ChoiceBetween(double left, double right, int threshold) const;

    Scratch m_scratch;
    std::size_t m_planeBytes = 0;
    std::size_t m_count = 0;
    std::uint8_t* m_rows = nullptr; // the columns of no, one, two, ... m_count buckets
};

} // namespace dibprep
