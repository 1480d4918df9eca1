// The mixing stage with AVX-512: 64 slots at a time, the 16 of a register from one wide window. Byte permutations
// look at six bits of each pick: where there is none, a byte of the window that has no weight.
#include "bilinear/row_table.h"
#include "memory/x86/avx512.h"

#include <array>

namespace dibprep {
namespace {

DIBPREP_AVX512 inline __m512i Load(const void* at) { return _mm512_loadu_si512(at); }

// The weights (w, 16 * w) of q and p.
struct Weights {
    __m512i upper;
    __m512i lower;
};

DIBPREP_AVX512 inline Weights WeightsOf(int fy) {
    return {_mm512_set1_epi32((1024 - fy) * (1 + (16 << 16))), _mm512_set1_epi32(fy * (1 + (16 << 16)))};
}

// A register of slots from one source row.
DIBPREP_AVX512 inline __m512i Across(const unsigned char* row, const WindowPicks& window, __m512i picks,
                                     __m512i weights) {
    return _mm512_maddubs_epi16(_mm512_permutexvar_epi8(picks, Load(row + window.base[0])), weights);
}

DIBPREP_AVX512 inline __m512i Down(__m512i upper, __m512i lower, const Weights& weights) {
    return _mm512_srli_epi32(
        _mm512_add_epi32(_mm512_madd_epi16(upper, weights.upper), _mm512_madd_epi16(lower, weights.lower)), 20);
}

// Slots of two output rows; of one, the second stays as it is.
struct Outcome {
    __m512i rows[2];
};

template <Group Rows, int Register>
DIBPREP_AVX512 inline Outcome Mixed(const Sources& sources, const WindowPicks* windows, const std::int8_t* slotWeights,
                                    const Weights& first, const Weights& second) {
    constexpr int Second = SecondUpperOf(Rows);
    const WindowPicks& window = windows[Register];
    const __m512i picks = Load(window.picks);
    const __m512i weights = Load(slotWeights + Register * WideWindowBytes);
    const __m512i row0 = Across(sources.rows[0], window, picks, weights);
    const __m512i row1 = Across(sources.rows[1], window, picks, weights);
    Outcome outcome;
    outcome.rows[0] = outcome.rows[1] = Down(row0, row1, first);
    if (Rows == Group::Same) {
        outcome.rows[1] = Down(row0, row1, second);
    } else if (Rows != Group::One) {
        const __m512i upper = Rows == Group::Chain ? row1 : Across(sources.rows[Second], window, picks, weights);
        outcome.rows[1] = Down(upper, Across(sources.rows[Second + 1], window, picks, weights), second);
    }
    return outcome;
}

// 64 slots of each output row, in the order that packing leaves them in.
template <Group Rows>
DIBPREP_AVX512 inline Outcome Step(const Sources& sources, const WindowPicks* windows, const std::int8_t* weights,
                                   const Weights& first, const Weights& second) {
    const Outcome a = Mixed<Rows, 0>(sources, windows, weights, first, second);
    const Outcome b = Mixed<Rows, 1>(sources, windows, weights, first, second);
    const Outcome ab = {{_mm512_packs_epi32(a.rows[0], b.rows[0]), _mm512_packs_epi32(a.rows[1], b.rows[1])}};
    const Outcome c = Mixed<Rows, 2>(sources, windows, weights, first, second);
    const Outcome d = Mixed<Rows, 3>(sources, windows, weights, first, second);
    return {{_mm512_packus_epi16(ab.rows[0], _mm512_packs_epi32(c.rows[0], d.rows[0])),
             _mm512_packus_epi16(ab.rows[1], _mm512_packs_epi32(c.rows[1], d.rows[1]))}};
}

// Where a slot of the step is then: each quarter has four of all registers.
constexpr int PlaceOf(int slot) { return slot % 16 / 4 * 16 + slot / 16 * 4 + slot % 4; }

// ---- storing ----------------------------------------------------------------------------------

// Where the slots are of which 64 output bytes are made.
struct alignas(64) Order {
    std::uint8_t places[64];
};

// The slot of an output byte.
template <Storing Form>
constexpr int SlotOf(int byte) {
    return Form == StoreThrice ? byte / 3 : Form == StoreThreeOfFour ? byte / 3 * 4 + byte % 3 : byte;
}

// Of all output bytes of a step. Behind them, any place.
template <Storing Form>
constexpr auto OrdersOfStep() {
    std::array<Order, Form == StoreThrice ? 3 : 1> orders = {};
    int byte = 0;
    for (Order& order : orders)
        for (std::uint8_t& place : order.places)
            place = static_cast<std::uint8_t>(PlaceOf(SlotOf<Form>(byte++) % 64));
    return orders;
}

template <Storing Form>
constexpr auto Orders = OrdersOfStep<Form>();

// The output bytes of a step, of which `left` are still to be written in the row. Where there is room for all
// 64 of a register, those that are none of the step are written over by the next one.
template <Storing Form>
DIBPREP_AVX512 inline void StoreStep(unsigned char* out, __m512i slots, std::ptrdiff_t left) {
    for (const Order& order : Orders<Form>) {
        const __m512i bytes = _mm512_permutexvar_epi8(Load(order.places), slots);
        if (left >= 64)
            _mm512_storeu_si512(out, bytes);
        else if (left > 0)
            _mm512_mask_storeu_epi8(out, Lanes64(static_cast<std::size_t>(left)), bytes);
        out += 64;
        left -= 64;
    }
}

template <Group Rows, Storing Form>
DIBPREP_AVX512 void MixRows(const MixPlan& plan, const MixTask& task) {
    constexpr std::ptrdiff_t Bytes = Form == StoreThrice ? 192 : Form == StoreThreeOfFour ? 48 : 64;
    const Sources sources = task.sources;
    const Weights first = WeightsOf(task.fy[0]);
    const Weights second = WeightsOf(task.fy[1]);
    unsigned char* out[] = {task.out[0], task.out[1]};
    const WindowPicks* windows = plan.widePicks;
    const std::int8_t* weights = plan.wideWeights;
    for (std::ptrdiff_t left = task.bytes; left > 0; left -= Bytes) {
        // A step is rarely wider than two lines of the caches.
        for (int i = 0; i < SourceRowsOf(Rows); ++i)
            for (int half = 0; half < RegistersPerStep; half += 2)
                _mm_prefetch(reinterpret_cast<const char*>(sources.ahead[i] +
                                                           static_cast<std::uintptr_t>(windows[half].base[0])),
                             _MM_HINT_T1);
        const Outcome bytes = Step<Rows>(sources, windows, weights, first, second);
        for (int i = 0; i < OutputRowsOf(Rows); ++i) {
            StoreStep<Form>(out[i], bytes.rows[i], left);
            out[i] += Bytes;
        }
        windows += RegistersPerStep;
        weights += RegistersPerStep * WideWindowBytes;
    }
}

template <Storing Form>
void Mix(const MixPlan& plan, const MixTask& task) {
    switch (task.group) {
    case Group::One:
        return MixRows<Group::One, Form>(plan, task);
    case Group::Same:
        return MixRows<Group::Same, Form>(plan, task);
    case Group::Chain:
        return MixRows<Group::Chain, Form>(plan, task);
    case Group::Apart:
        return MixRows<Group::Apart, Form>(plan, task);
    }
}

} // namespace

void AddAvx512Rows(RowTable& table) {
    table.mixWide[StoreAll] = Mix<StoreAll>;
    table.mixWide[StoreThreeOfFour] = Mix<StoreThreeOfFour>;
    table.mixWide[StoreThrice] = Mix<StoreThrice>;
}

} // namespace dibprep
