// What the row stages of 128-bit registers share. Each file that includes this gets the functions for
// its own tier, DIBPREP_TIER: in 32-bit builds the compiler takes none across tiers.
#pragma once

#include "bilinear/row_table.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace dibprep {
namespace {

DIBPREP_TIER inline __m128i Load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline __m128i LoadEight(const void* at) { return _mm_loadl_epi64(static_cast<const __m128i*>(at)); }
DIBPREP_TIER inline void Store(void* at, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(at), value); }

// The weights (w, 16 * w) of q and p.
struct Weights {
    __m128i upper;
    __m128i lower;
};

DIBPREP_TIER inline Weights WeightsOf(int fy) {
    return {_mm_set1_epi32((1024 - fy) * (1 + (16 << 16))), _mm_set1_epi32(fy * (1 + (16 << 16)))};
}

DIBPREP_TIER inline __m128i Down(__m128i upper, __m128i lower, const Weights& weights) {
    return _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(upper, weights.upper), _mm_madd_epi16(lower, weights.lower)),
                          20);
}

// Four slots of two output rows; of one, the second stays as it is.
struct Outcome {
    __m128i rows[2];
};

// The tier says how it takes four slots: a type that keeps what is known of the columns from its place in the
// plan, or from a few places, with a member Across for a source row.
template <Group Rows, class Four>
DIBPREP_TIER inline Outcome Mixed(const Sources& sources, const typename Four::Place* place, const Weights& first,
                                  const Weights& second) {
    constexpr int Second = SecondUpperOf(Rows);
    const Four four(place);
    const __m128i row0 = four.Across(sources.rows[0]);
    const __m128i row1 = four.Across(sources.rows[1]);
    Outcome outcome;
    outcome.rows[0] = outcome.rows[1] = Down(row0, row1, first);
    if (Rows == Group::Same) {
        outcome.rows[1] = Down(row0, row1, second);
    } else if (Rows != Group::One) {
        const __m128i upper = Rows == Group::Chain ? row1 : four.Across(sources.rows[Second]);
        outcome.rows[1] = Down(upper, four.Across(sources.rows[Second + 1]), second);
    }
    return outcome;
}

// 16 slots of each output row.
template <Group Rows, class Four>
DIBPREP_TIER inline Outcome Step(const Sources& sources, const typename Four::Place* place, const Weights& first,
                                 const Weights& second) {
    const Outcome a = Mixed<Rows, Four>(sources, place, first, second);
    const Outcome b = Mixed<Rows, Four>(sources, place + Four::Places, first, second);
    const Outcome ab = {{_mm_packs_epi32(a.rows[0], b.rows[0]), _mm_packs_epi32(a.rows[1], b.rows[1])}};
    const Outcome c = Mixed<Rows, Four>(sources, place + 2 * Four::Places, first, second);
    const Outcome d = Mixed<Rows, Four>(sources, place + 3 * Four::Places, first, second);
    return {{_mm_packus_epi16(ab.rows[0], _mm_packs_epi32(c.rows[0], d.rows[0])),
             _mm_packus_epi16(ab.rows[1], _mm_packs_epi32(c.rows[1], d.rows[1]))}};
}

// The form puts the output bytes of 16 slots, `Bytes`, and perhaps more, `Written` in all.
template <class Four, class Form, Group Rows>
DIBPREP_TIER void MixRows(const MixPlan& plan, const MixTask& task) {
    const Sources sources = task.sources;
    const Weights first = WeightsOf(task.fy[0]);
    const Weights second = WeightsOf(task.fy[1]);
    unsigned char* out[] = {task.out[0], task.out[1]};
    const typename Four::Place* place = Four::First(plan);
    for (std::ptrdiff_t left = task.bytes; left > 0; left -= Form::Bytes, place += RegistersPerStep * Four::Places) {
        for (int i = 0; i < SourceRowsOf(Rows); ++i)
            _mm_prefetch(
                reinterpret_cast<const char*>(sources.ahead[i] + static_cast<std::uintptr_t>(Four::Offset(place))),
                _MM_HINT_T1);
        const Outcome bytes = Step<Rows, Four>(sources, place, first, second);
        for (int i = 0; i < OutputRowsOf(Rows); ++i) {
            unsigned char rest[Form::Written];
            Form::Put(left < Form::Written ? rest : out[i], bytes.rows[i]);
            if (left < Form::Written)
                std::memcpy(out[i], rest, static_cast<std::size_t>(left < Form::Bytes ? left : Form::Bytes));
            out[i] += Form::Bytes;
        }
    }
}

template <class Four, class Form>
void Mix(const MixPlan& plan, const MixTask& task) {
    switch (task.group) {
    case Group::One:
        return MixRows<Four, Form, Group::One>(plan, task);
    case Group::Same:
        return MixRows<Four, Form, Group::Same>(plan, task);
    case Group::Chain:
        return MixRows<Four, Form, Group::Chain>(plan, task);
    case Group::Apart:
        return MixRows<Four, Form, Group::Apart>(plan, task);
    }
}

struct All {
    static constexpr std::ptrdiff_t Bytes = 16;
    static constexpr std::ptrdiff_t Written = 16;
    DIBPREP_TIER static void Put(unsigned char* out, __m128i bytes) { Store(out, bytes); }
};

} // namespace
} // namespace dibprep
