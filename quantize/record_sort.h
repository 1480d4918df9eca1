// The order in which the sort of compare.cpp leaves palette records, worked out on words.
#pragma once

#include "quantize/kernels.h"
#include "quantize/limits.h"

#include <cstdint>

namespace dibprep {

// A record's word: what it is sorted by, then its number.
constexpr int NumberBits = 8;
constexpr std::uint32_t NumberMask = MostRecords - 1;

// The words of the records of a palette, in an order that goes on from sort to sort.
class RecordOrder {
public:
    explicit RecordOrder(const QuantizeKernels& kernels) : m_kernels(kernels) {}

    std::uint32_t& operator[](int i) { return m_words[i]; }
    std::uint32_t Number(int i) const { return m_words[i] & NumberMask; }

    // Sorts the first `count` words as Qsort sorts records: the same swaps, seen from outside.
    void Sort(int count) { SortPart(m_words, count, 0, FewWords); }

private:
    void SortPart(std::uint32_t* v, int n, std::uint32_t least, int few);

    const QuantizeKernels& m_kernels;
    std::uint32_t m_words[MostRecords + FewWords]; // the kernel rewrites some words behind the last
    std::uint32_t m_less[MostRecords];
};

} // namespace dibprep
