// The kernels in AVX2.
#include "quantize/kernels.h"

#include <algorithm>
#include <cstdint>

#include <immintrin.h>

#define DIBPREP_AVX2 __attribute__((target("avx2")))

namespace dibprep {

namespace {

// KeyOf for eight pixels. The parts of the cell's number, and those of the place in the cell, do not
// overlap, so multiply-and-add joins them: bytes to pairs, pairs to the whole.
DIBPREP_AVX2 inline __m256i KeysOf8(__m256i bgr) {
    const __m256i top = _mm256_and_si256(_mm256_srli_epi32(bgr, 3), _mm256_set1_epi32(0x1F1F1F));
    const __m256i low = _mm256_and_si256(bgr, _mm256_set1_epi32(0x070707));
    // blue + 32 * green in the lower word, red in the upper one.
    const __m256i topPairs = _mm256_maddubs_epi16(top, _mm256_set1_epi32(0x012001));
    const __m256i lowPairs = _mm256_maddubs_epi16(low, _mm256_set1_epi32(0x010801));
    const __m256i cell = _mm256_madd_epi16(topPairs, _mm256_set1_epi32(1024 << 16 | 1));
    const __m256i place = _mm256_madd_epi16(lowPairs, _mm256_set1_epi32(64 << 16 | 1));
    return _mm256_or_si256(_mm256_slli_epi32(cell, LowBits), place);
}

// Between two calls the caller works on the keys for a while, and the processor stops fetching ahead;
// so what comes two calls later is asked for here. Beyond the picture that does nothing.
constexpr std::uintptr_t FetchAhead = 2 * 3 * ChunkPixels;

DIBPREP_AVX2 inline void Fetch(const unsigned char* pixels) {
    const std::uintptr_t ahead = reinterpret_cast<std::uintptr_t>(pixels) + FetchAhead;
    _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);
}

DIBPREP_AVX2 inline __m128i Load16(const unsigned char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

DIBPREP_AVX2 inline __m256i Load32(const unsigned char* at) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

// The keys of eight pixels, four of them in the low twelve bytes of each part.
DIBPREP_AVX2 inline void PutKeys8(__m128i lower, __m128i upper, std::uint32_t* keys) {
    const __m256i spread =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(lower), upper, 1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(keys), KeysOf8(_mm256_shuffle_epi8(bytes, spread)));
}

DIBPREP_AVX2 void Keys(const unsigned char* pixels, int count, std::uint32_t* keys) {
    int i = 0;
    // The upper 16-byte load for eight pixels reaches four bytes beyond them.
    for (; i + 10 <= count; i += 8, pixels += 24) {
        Fetch(pixels);
        PutKeys8(Load16(pixels), Load16(pixels + 12), keys + i);
    }
    ScalarQuantizeKernels.keys(pixels, count - i, keys + i);
}

// Every byte of the block is the one three bytes on. Two steps of 32 bytes, which overlap, are the 45
// that have such a successor.
DIBPREP_AVX2 inline bool OfOneColour(const unsigned char* block) {
    const __m256i begin = _mm256_cmpeq_epi8(Load32(block), Load32(block + 3));
    const __m256i end = _mm256_cmpeq_epi8(Load32(block + BlockBytes - 35), Load32(block + BlockBytes - 32));
    return _mm256_movemask_epi8(_mm256_and_si256(begin, end)) == -1;
}

// The first block is compared with itself three bytes on. A block behind it is compared with the first
// one, byte by byte, as it starts a whole number of pixels later.
DIBPREP_AVX2 int SameBlocks(const unsigned char* pixels, int blocks) {
    if (blocks <= 0 || !OfOneColour(pixels))
        return 0;
    const __m256i begin = Load32(pixels);
    const __m128i end = Load16(pixels + 32);
    for (int i = 1; i < blocks; ++i) {
        pixels += BlockBytes;
        Fetch(pixels);
        const int differs = ~_mm256_movemask_epi8(_mm256_cmpeq_epi8(begin, Load32(pixels)));
        const int differsAtEnd = _mm_movemask_epi8(_mm_cmpeq_epi8(end, Load16(pixels + 32))) ^ 0xFFFF;
        if ((differs | differsAtEnd) != 0)
            return i;
    }
    return blocks;
}

DIBPREP_AVX2 int MixedBlocks(const unsigned char* pixels, int blocks, std::uint32_t* keys) {
    for (int i = 0; i < blocks; ++i, pixels += BlockBytes, keys += BlockPixels) {
        Fetch(pixels);
        if (OfOneColour(pixels))
            return i;
        PutKeys8(Load16(pixels), Load16(pixels + 12), keys);
        // The block's last twelve bytes, without looking behind it.
        PutKeys8(Load16(pixels + 24), _mm_srli_si128(Load16(pixels + 32), 4), keys + 8);
    }
    return blocks;
}

DIBPREP_AVX2 inline __m256i Load(const std::uint32_t* at) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

DIBPREP_AVX2 inline __m256i All(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }

DIBPREP_AVX2 inline __m128i LeastOf(__m256i words) {
    __m128i least = _mm_min_epu32(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    least = _mm_min_epu32(least, _mm_shuffle_epi32(least, 0x4E));
    return _mm_min_epu32(least, _mm_shuffle_epi32(least, 0xB1));
}

// The colours of eight records, of which each is twelve bytes long.
DIBPREP_AVX2 inline __m256i ColoursOf8(const CColorTrans2* records) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(records);
    // In three registers they happen to lie in lanes that differ: 0 3 6, 1 4 7, 2 5.
    const __m256i first6 = _mm256_blend_epi32(Load32(bytes), Load32(bytes + 32), 0x92);
    const __m256i mixed = _mm256_blend_epi32(first6, Load32(bytes + 64), 0x24);
    return _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5));
}

// In pairs of words: blue and red, green and nothing.
struct CellEnds {
    __m256i lower[2];
    __m256i upper[2];
};

DIBPREP_AVX2 inline __m256i SumOfSquares(__m256i blueRed, __m256i green) {
    return _mm256_add_epi32(_mm256_madd_epi16(blueRed, blueRed), _mm256_madd_epi16(green, green));
}

// The squared distances of eight colours from the nearest corner of a cell, into `nearest`, and from
// the farthest.
DIBPREP_AVX2 inline __m256i Distances(const CColorTrans2* records, const CellEnds& ends, std::uint32_t* nearest) {
    const __m256i colours = ColoursOf8(records);
    const __m256i values[2] = {_mm256_and_si256(colours, _mm256_set1_epi32(0xFF00FF)),
                               _mm256_and_si256(_mm256_srli_epi32(colours, 8), _mm256_set1_epi32(0xFF))};
    __m256i near[2];
    __m256i far[2];
    for (int i = 0; i < 2; ++i) {
        const __m256i below = _mm256_sub_epi16(ends.lower[i], values[i]);
        const __m256i above = _mm256_sub_epi16(values[i], ends.upper[i]);
        near[i] = _mm256_max_epi16(_mm256_max_epi16(below, above), _mm256_setzero_si256());
        far[i] =
            _mm256_max_epi16(_mm256_sub_epi16(ends.upper[i], values[i]), _mm256_sub_epi16(values[i], ends.lower[i]));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(nearest), SumOfSquares(near[0], near[1]));
    return SumOfSquares(far[0], far[1]);
}

DIBPREP_AVX2 int Pick(const CColorTrans2* records, int count, std::uint32_t cell, std::uint16_t* picked) {
    const std::uint32_t key = cell << LowBits;
    const CellEnds ends = {
        {_mm256_set1_epi32(RedOf(key) << 16 | BlueOf(key)), _mm256_set1_epi32(GreenOf(key))},
        {_mm256_set1_epi32((RedOf(key) + 7) << 16 | (BlueOf(key) + 7)), _mm256_set1_epi32(GreenOf(key) + 7)}};
    std::uint32_t nearest[MostListed];
    __m256i least = _mm256_set1_epi32(0x7FFFFFFF);
    int i = 0;
    for (; i + 8 <= count; i += 8)
        least = _mm256_min_epu32(least, Distances(records + i, ends, nearest + i));
    if (i < count) {
        // The last ones; the first of them stands for what is missing.
        CColorTrans2 rest[8];
        for (int k = 0; k < 8; ++k)
            rest[k] = records[i + k < count ? i + k : i];
        least = _mm256_min_epu32(least, Distances(rest, ends, nearest + i));
    }
    const __m256i all = _mm256_broadcastd_epi32(LeastOf(least));
    int found = 0;
    for (i = 0; i < count; i += 8) {
        const __m256i farther =
            _mm256_cmpgt_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(nearest + i)), all);
        const unsigned int unused = count - i < 8 ? 0xFFu << (count - i) : 0;
        auto set = ~(static_cast<unsigned int>(_mm256_movemask_ps(_mm256_castsi256_ps(farther))) | unused) & 0xFF;
        for (; set != 0; set &= set - 1) {
            if (found == CellScores::Most)
                return found + 1;
            picked[found++] = static_cast<std::uint16_t>(i + __builtin_ctz(set));
        }
    }
    return found;
}

// What a search in a list compares with.
struct Wanted {
    __m256i blueRed;
    __m256i green;
    __m256i start;
    __m256i last;
};

// The scores of eight colours: the squared distance, then the place in the order that decides. What pads
// the list is beyond its end: such colours get the largest score.
DIBPREP_AVX2 inline __m256i ListScores(const ListedColours& list, int first, const Wanted& wanted) {
    const __m256i place = _mm256_add_epi32(_mm256_set1_epi32(first), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    const __m256i sum = SumOfSquares(_mm256_sub_epi16(Load(list.blueRed + first), wanted.blueRed),
                                     _mm256_sub_epi16(Load(list.green + first), wanted.green));
    const __m256i behind = _mm256_cmpgt_epi32(place, wanted.start);
    const __m256i order = _mm256_blendv_epi8(_mm256_sub_epi32(wanted.start, place), place, behind);
    const __m256i score = _mm256_or_si256(_mm256_slli_epi32(sum, 8), order);
    return _mm256_or_si256(score, _mm256_cmpgt_epi32(place, wanted.last));
}

// From the start outwards, eight at a time. The list is in order of blue: where the blue of the next
// colour is farther off than the nearest one so far, all beyond it are.
DIBPREP_AVX2 int Search(const ListedColours& list, const unsigned char* pixel) {
    const int start = list.start[pixel[0]];
    const Wanted wanted = {_mm256_set1_epi32(pixel[2] << 16 | pixel[0]), _mm256_set1_epi32(pixel[1]),
                           _mm256_set1_epi32(start), _mm256_set1_epi32(list.count - 1)};
    const auto blueOff = [&list, pixel](int i) {
        const int distance = static_cast<int>(list.blueRed[i] & 0xFF) - pixel[0];
        return static_cast<std::uint32_t>(distance * distance);
    };
    const int first = start & ~7;
    auto best = static_cast<std::uint32_t>(_mm_cvtsi128_si32(LeastOf(ListScores(list, first, wanted))));
    for (int i = first - 8; i >= 0 && blueOff(i + 7) <= best >> 8; i -= 8)
        best = std::min(best, static_cast<std::uint32_t>(_mm_cvtsi128_si32(LeastOf(ListScores(list, i, wanted)))));
    for (int i = first + 8; i < list.count && blueOff(i) <= best >> 8; i += 8)
        best = std::min(best, static_cast<std::uint32_t>(_mm_cvtsi128_si32(LeastOf(ListScores(list, i, wanted)))));
    const int order = static_cast<int>(best & 0xFF);
    return order <= start ? start - order : order;
}

// One step of a sorting network: each word meets the one at `met`, and in the lanes of Larger the
// larger of both stays.
template <int Larger>
DIBPREP_AVX2 inline __m256i Meet(__m256i words, __m256i met) {
    return _mm256_blend_epi32(_mm256_min_epu32(words, met), _mm256_max_epu32(words, met), Larger);
}

DIBPREP_AVX2 inline __m256i Reversed(__m256i words) {
    return _mm256_permute4x64_epi64(_mm256_shuffle_epi32(words, 0x1B), 0x4E);
}

// Of halves that are bitonic (they rise, then fall, or the other way round).
DIBPREP_AVX2 inline __m256i SortBitonic4(__m256i words) {
    words = Meet<0xCC>(words, _mm256_shuffle_epi32(words, 0x4E));
    return Meet<0xAA>(words, _mm256_shuffle_epi32(words, 0xB1));
}

DIBPREP_AVX2 inline __m256i SortBitonic8(__m256i words) {
    return SortBitonic4(Meet<0xF0>(words, _mm256_permute4x64_epi64(words, 0x4E)));
}

// K. E. Batcher's bitonic sort, 1968.
DIBPREP_AVX2 inline __m256i Sorted8(__m256i words) {
    words = Meet<0xAA>(words, _mm256_shuffle_epi32(words, 0xB1));
    words = Meet<0xCC>(words, _mm256_shuffle_epi32(words, 0x1B));
    words = Meet<0xAA>(words, _mm256_shuffle_epi32(words, 0xB1));
    return SortBitonic4(Meet<0xF0>(words, Reversed(words)));
}

// Unused lanes hold words that are larger than all others and differ.
DIBPREP_AVX2 bool SortFew(std::uint32_t* words, int count) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i limit = _mm256_set1_epi32(count);
    const __m256i used0 = _mm256_cmpgt_epi32(limit, lanes);
    const __m256i used1 = _mm256_cmpgt_epi32(limit, _mm256_add_epi32(lanes, _mm256_set1_epi32(8)));
    const __m256i fill0 = _mm256_or_si256(_mm256_set1_epi32(-0x2000), _mm256_slli_epi32(lanes, 8));
    const __m256i fill1 = _mm256_or_si256(_mm256_set1_epi32(-0x1000), _mm256_slli_epi32(lanes, 8));
    auto* const at = reinterpret_cast<__m256i*>(words);
    const __m256i given0 = _mm256_loadu_si256(at);
    const __m256i given1 = _mm256_loadu_si256(at + 1);
    const __m256i low = Sorted8(_mm256_blendv_epi8(fill0, given0, used0));
    const __m256i high = Reversed(Sorted8(_mm256_blendv_epi8(fill1, given1, used1)));
    const __m256i sorted0 = SortBitonic8(_mm256_min_epu32(low, high));
    const __m256i sorted1 = SortBitonic8(_mm256_max_epu32(low, high));
    // Each word and the next one. The last has none: 0 stands there, which it is only when all are.
    const __m256i rotate = _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0);
    const __m256i turned1 = _mm256_permutevar8x32_epi32(sorted1, rotate);
    const __m256i next0 = _mm256_blend_epi32(_mm256_permutevar8x32_epi32(sorted0, rotate), turned1, 0x80);
    const __m256i next1 = _mm256_blend_epi32(turned1, _mm256_setzero_si256(), 0x80);
    const __m256i same0 = _mm256_cmpeq_epi32(_mm256_srli_epi32(sorted0, 8), _mm256_srli_epi32(next0, 8));
    const __m256i same1 = _mm256_cmpeq_epi32(_mm256_srli_epi32(sorted1, 8), _mm256_srli_epi32(next1, 8));
    if (_mm256_movemask_epi8(_mm256_or_si256(same0, same1)) != 0)
        return false;
    _mm256_storeu_si256(at, _mm256_blendv_epi8(given0, sorted0, used0));
    _mm256_storeu_si256(at + 1, _mm256_blendv_epi8(given1, sorted1, used1));
    return true;
}

// Four rows (one red, four greens) of eight blues at a time stay in registers.
DIBPREP_AVX2 void Nearest(const CellScores& scores, unsigned char* indices) {
    const __m256i index = _mm256_set1_epi32(0xFF);
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (int r = 0; r < 8; ++r) {
        for (int g = 0; g < 8; g += 4, indices += 32) {
            __m256i row0 = _mm256_set1_epi32(0x7FFFFFFF);
            __m256i row1 = row0;
            __m256i row2 = row0;
            __m256i row3 = row0;
            for (int i = 0; i < scores.count; ++i) {
                const __m256i base = _mm256_add_epi32(Load(scores.blue[i]), All(scores.red[i][r]));
                const std::uint32_t* const green = scores.green[i] + g;
                row0 = _mm256_min_epi32(row0, _mm256_add_epi32(base, All(green[0])));
                row1 = _mm256_min_epi32(row1, _mm256_add_epi32(base, All(green[1])));
                row2 = _mm256_min_epi32(row2, _mm256_add_epi32(base, All(green[2])));
                row3 = _mm256_min_epi32(row3, _mm256_add_epi32(base, All(green[3])));
            }
            const __m256i words01 = _mm256_packs_epi32(_mm256_and_si256(row0, index), _mm256_and_si256(row1, index));
            const __m256i words23 = _mm256_packs_epi32(_mm256_and_si256(row2, index), _mm256_and_si256(row3, index));
            // Packing works in each half by itself: four bytes of every row in either.
            const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words01, words23), inOrder);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(indices), bytes);
        }
    }
}

} // namespace

const QuantizeKernels Avx2QuantizeKernels = {Tier::Avx2, Keys, SameBlocks, MixedBlocks, Pick, SortFew, Search, Nearest};

} // namespace dibprep
