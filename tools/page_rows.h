// The rows of a page as most file formats hold them: from the top, samples in the order red, green, blue,
// alpha, packed from the high bit down, no padding but to the whole byte.
#pragma once

#include "tools/page.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace dibprep::tool {

// What a format can hold beside gray and colours of 8 bits.
struct RowLimits {
    bool tables = true; // colour tables, and grays of 4 bits
    bool blackAndWhite = true;
    bool sixteenBits = true;
    bool alpha = true;
};

enum class RowKind { BlackAndWhite, Gray, Table, Colour };

class PageRows {
public:
    // The page must outlive the rows, and stay as it is.
    PageRows(const Page& page, const RowLimits& limits);

    RowKind Kind() const { return m_kind; }
    int BitsPerSample() const { return m_bits; } // 1, 4, 8 or 16
    int Samples() const { return m_samples; }    // of a pixel: 1, 3, or 4 with alpha
    bool HasAlpha() const { return m_samples == 4; }
    unsigned Colours() const { return m_colours; } // of a table: beyond every index in use
    std::size_t RowBytes() const { return m_row.size(); }

    /*
     * Row y from the top, good until the next call. Black and white: a 1 is white; samples of 16 bits
     * have their high byte first. Bits behind the last pixel are 0.
     */
    const std::vector<unsigned char>& Row(int y);

private:
    void Classify(const RowLimits& limits);
    void ClassifyTable(const RowLimits& limits);
    void CopyPacked(const unsigned char* from);
    void LookUp(const unsigned char* from);
    void CopyBytes(const unsigned char* from);
    void CopyWords(const unsigned char* from);

    const Page* m_page;
    std::optional<Page> m_own; // the page in plain form, where it was not
    RowKind m_kind = RowKind::Colour;
    int m_bits = 8;
    int m_samples = 3;
    unsigned m_colours = 0;
    bool m_lookUp = false;  // a table that the format cannot hold
    bool m_invert = false;  // black and white with index 0 white
    bool m_onWhite = false; // alpha that the format cannot hold
    std::vector<unsigned char> m_row;
};

} // namespace dibprep::tool
