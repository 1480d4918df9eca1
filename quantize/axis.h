// A cell of the search cube along one axis, and distances from it.
#pragma once

#include <algorithm>
#include <cstdlib>

namespace dibprep {

constexpr int SearchCells = 8;

constexpr int Square(int value) { return value * value; }

// The half-width is that of the lower half, by decision: the top cell's box therefore ends at 254.
struct CellAxis {
    int centre;
    int halfWidth;
};

constexpr CellAxis AxisOf(int cell) {
    const int lower = cell * 32;
    const int upper = cell == SearchCells - 1 ? 255 : lower + 32;
    const int centre = (lower + upper) / 2;
    return {centre, centre - lower};
}

// Squared distance from the far side of the cell's box to the value.
inline int Farthest(const CellAxis& axis, int value) { return Square(std::abs(axis.centre - value) + axis.halfWidth); }

// Squared gap between the cell's box and the value.
inline int Gap(const CellAxis& axis, int value) {
    return Square(std::max(0, std::abs(axis.centre - value) - axis.halfWidth));
}

} // namespace dibprep
