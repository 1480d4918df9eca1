// The comparators of palette records and the two sorts. The sort is not stable; the order in which
// it leaves ties decides colour-table order and nearest-colour ties, so its swaps are fixed.
#include "dibprep/quantize.h"

#include <utility>

namespace {

int SquaredDistance(const tagRGBQUAD& a, const tagRGBQUAD& b) {
    const int red = a.rgbRed - b.rgbRed;
    const int green = a.rgbGreen - b.rgbGreen;
    const int blue = a.rgbBlue - b.rgbBlue;
    return red * red + green * green + blue * blue;
}

// Quicksort with the middle element as pivot (C. A. R. Hoare, 1961, in N. Lomuto's one-pass form).
// Both parts are sorted alike and independently, so the shorter one can always be the recursion:
// the stack stays logarithmic.
template <typename Less>
void SortRecords(CColorTrans2* v, int n, Less less) { // NOLINT(misc-no-recursion): see above
    while (n > 1) {
        std::swap(v[0], v[n >> 1]);
        int last = 0;
        for (int i = 1; i < n; ++i) {
            if (less(v[i], v[0]))
                std::swap(v[++last], v[i]);
        }
        std::swap(v[0], v[last]);
        CColorTrans2* const upper = v + last + 1;
        const int upperCount = n - last - 1;
        if (last < upperCount) {
            SortRecords(v, last, less);
            v = upper;
            n = upperCount;
        } else {
            SortRecords(upper, upperCount, less);
            n = last;
        }
    }
}

} // namespace

int CompareColor(CColorTrans2 a, CColorTrans2 b, tagRGBQUAD ref) {
    return SquaredDistance(a.m_rgb, ref) - SquaredDistance(b.m_rgb, ref);
}

int CompareBlue(CColorTrans2 a, CColorTrans2 b) { return a.m_rgb.rgbBlue - b.m_rgb.rgbBlue; }

int CompareDenom(CColorTrans2 a, CColorTrans2 b) { return static_cast<int>(a.m_dwCount - b.m_dwCount); }

void Qsort(CColorTrans2* v, int n, int (*cmp)(CColorTrans2, CColorTrans2)) {
    SortRecords(v, n, [cmp](const CColorTrans2& a, const CColorTrans2& b) { return cmp(a, b) < 0; });
}

void Qsort(CColorTrans2* v, tagRGBQUAD ref, int n, int (*cmp)(CColorTrans2, CColorTrans2, tagRGBQUAD)) {
    SortRecords(v, n, [cmp, ref](const CColorTrans2& a, const CColorTrans2& b) { return cmp(a, b, ref) < 0; });
}
