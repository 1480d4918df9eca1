// The lists of the two search cubes.
#pragma once

#include "dibprep/quantize.h"

#include <algorithm>
#include <cstddef>
#include <memory>

namespace dibprep {

constexpr int ListBlock = 32;

// Appends a record; the list grows by 32. The longer list is made before the old one is touched:
// when that fails (std::bad_alloc) the cell is as before.
inline void Append(CCubeCell& cell, const CColorTrans2& entry) {
    if (cell.m_nCount % ListBlock == 0) {
        auto longer = std::make_unique<CColorTrans2[]>(static_cast<std::size_t>(cell.m_nCount) + ListBlock);
        std::copy_n(cell.m_pList, cell.m_nCount, longer.get());
        delete[] cell.m_pList;
        cell.m_pList = longer.release();
    }
    cell.m_pList[cell.m_nCount++] = entry;
}

inline void Release(CCubeCell& cell) {
    delete[] cell.m_pList;
    cell = CCubeCell{0, nullptr};
}

} // namespace dibprep
