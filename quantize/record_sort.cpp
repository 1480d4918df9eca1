// The sort of compare.cpp, word for word the same outcome, with what makes it slow taken away.
#include "quantize/record_sort.h"

#include <utility>

namespace dibprep {

// Its partition swaps each word that is less than the pivot with the first of those that are not: seen
// from these, their front goes to the back. So words that are less go to `m_less` in their order, and
// each place behind takes either the word that stands there or the front of the queue. Neither needs a
// branch, which in a sort is guessed wrong every other time.
//
// A few words of which no two are equal have one order only, whatever swaps make it. And where the
// pivot is no more than all words are at least (`least`), no word is less: the pivot comes first, and
// the words need not be looked at. Many equal ones would otherwise each cost a pass over all.
// NOLINTNEXTLINE(misc-no-recursion): the shorter part, so that calls are logarithmically many
void RecordOrder::SortPart(std::uint32_t* v, int n, std::uint32_t least, int few) {
    while (n > 2) {
        if (n <= few && (v[n >> 1] & ~NumberMask) != least) {
            if (m_kernels.sortFew(v, n))
                return;
            few = n / 2; // two are equal; parts of the words may yet do without them
        }
        std::swap(v[0], v[n >> 1]);
        const std::uint32_t pivot = v[0] & ~NumberMask; // records of equal rank are not less
        if (pivot == least) {
            ++v;
            --n;
            continue;
        }
        std::uint32_t front = 1;
        std::uint32_t* const end = v + n;
        for (std::uint32_t* at = v + 1; at != end; ++at) {
            const std::uint32_t word = *at;
            const std::uint32_t first = v[front];
            const std::uint32_t isLess = 0u - (word < pivot); // all bits or none
            m_less[front] = word;
            *at = word ^ ((word ^ first) & isLess);
            front -= isLess;
        }
        const int last = static_cast<int>(front) - 1;
        for (int i = 1; i <= last; ++i)
            v[i] = m_less[i];
        std::swap(v[0], v[last]);
        std::uint32_t* const upper = v + front;
        const int upperCount = n - 1 - last;
        if (last < upperCount) {
            SortPart(v, last, least, few);
            v = upper;
            n = upperCount;
            least = pivot;
        } else {
            SortPart(upper, upperCount, pivot, few);
            n = last;
        }
    }
    // Two words: the second becomes the pivot, and comes first unless the other is less.
    if (n == 2 && v[0] >= (v[1] & ~NumberMask))
        std::swap(v[0], v[1]);
}

} // namespace dibprep
