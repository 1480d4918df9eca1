// Which pixels of a 1-bit row are set, by a rule, for any length of register. The file that includes this has
// DIBPREP_TIER and, for its registers, BitVector and the functions LoadBits, AllBits (of a repeated word), And, Or,
// Without (the first one's bits that the second has not), Turn, SetBits and SetSomeBits (of the first bytes).
#pragma once

#include "transform/row_kernels.h"

namespace dibprep {
namespace {

// The samples of the pixels of a register.
struct BitSamples {
    BitVector left;
    BitVector right;
};

DIBPREP_TIER inline BitSamples LoadSamples(const std::uint8_t* row) {
    return {LoadBits(row), LoadBits(row + BitRightSamples)};
}

// Set left of a right side that is not: the columns for all, for the first or the second of two samples, for both.
template <BitForm Form>
DIBPREP_TIER inline BitVector Falling(const BitRule& rule, const std::uint8_t* columns, BitVector one,
                                      BitVector other) {
    BitVector set = And(one, LoadBits(columns + rule.falling[1]));
    set = Or(set, And(other, LoadBits(columns + rule.falling[2])));
    if (Form != BitForm::Both)
        set = Or(set, And(And(one, other), LoadBits(columns + rule.falling[3])));
    return Form == BitForm::Any ? set : Or(set, LoadBits(columns + rule.falling[0]));
}

// Likewise the pixels of `side` that are set right of a left side that is not.
template <BitForm Form>
DIBPREP_TIER inline BitVector Rising(const BitRule& rule, const std::uint8_t* columns, BitVector side, BitVector one,
                                     BitVector other) {
    BitVector set = Without(one, LoadBits(columns + rule.rising[1]));
    set = Or(set, Without(other, LoadBits(columns + rule.rising[2])));
    if (Form != BitForm::Both)
        set = Or(set, Without(And(one, other), LoadBits(columns + rule.rising[3])));
    return Form == BitForm::Any ? And(side, set) : Without(side, Without(LoadBits(columns + rule.rising[0]), set));
}

// Set are: where both sides are set, all; where the left one is, the falling columns; where the right one is, the
// rising ones. What the columns say where both sides are set does not matter.
template <BitForm Form>
DIBPREP_TIER inline BitVector PickBits(const BitRule& rule, const std::uint8_t* columns, const std::uint8_t* upper,
                                       const std::uint8_t* lower) {
    const BitSamples first = LoadSamples(upper);
    if (Form == BitForm::Alone)
        return Or(And(first.left, Or(first.right, LoadBits(columns + rule.falling[0]))),
                  Without(first.right, LoadBits(columns + rule.rising[0])));
    const BitSamples second = LoadSamples(lower);
    if (Form == BitForm::Dominant) {
        const BitVector falling = Falling<Form>(rule, columns, second.right, second.left);
        const BitVector rising = Rising<Form>(rule, columns, first.right, second.right, second.left);
        return Or(And(first.left, Or(first.right, falling)), rising);
    }
    if (Form == BitForm::Any) {
        const BitVector left = Or(first.left, second.left);
        const BitVector right = Or(first.right, second.right);
        const BitVector falling = Falling<Form>(rule, columns, first.left, second.left);
        return Or(And(left, Or(right, falling)), Rising<Form>(rule, columns, right, first.right, second.right));
    }
    const BitVector left = And(first.left, second.left);
    const BitVector right = And(first.right, second.right);
    const BitVector falling = Falling<Form>(rule, columns, first.right, second.right);
    return Or(And(left, Or(right, falling)), Rising<Form>(rule, columns, right, first.left, second.left));
}

template <BitForm Form>
DIBPREP_TIER inline void PickUnits(const BitRule& rule, const std::uint8_t* upper, const std::uint8_t* lower,
                                   std::size_t pixels, std::uint8_t* out) {
    constexpr std::size_t AtOnce = sizeof(BitVector) * 8;
    const BitVector flip = AllBits(rule.flip);
    const std::uint8_t* columns = rule.columns;
    while (pixels > 0) {
        std::size_t left = pixels < BitUnitPixels ? pixels : BitUnitPixels;
        pixels -= left;
        for (std::size_t at = 0; left > 0; at += sizeof(BitVector)) {
            const BitVector picked = Turn(PickBits<Form>(rule, columns + at, upper + at, lower + at), flip);
            if (left < AtOnce) {
                SetSomeBits(out + at, picked, left);
                break;
            }
            SetBits(out + at, picked);
            left -= AtOnce;
        }
        upper += BitRowsUnit;
        lower += BitRowsUnit;
        columns += rule.columnsUnit;
        out += BitUnit;
    }
}

DIBPREP_TIER void PickRow(const BitRule& rule, const std::uint8_t* upper, const std::uint8_t* lower, std::size_t pixels,
                          std::uint8_t* out) {
    switch (rule.form) {
    case BitForm::Alone:
        PickUnits<BitForm::Alone>(rule, upper, lower, pixels, out);
        break;
    case BitForm::Dominant:
        PickUnits<BitForm::Dominant>(rule, upper, lower, pixels, out);
        break;
    case BitForm::Any:
        PickUnits<BitForm::Any>(rule, upper, lower, pixels, out);
        break;
    case BitForm::Both:
        PickUnits<BitForm::Both>(rule, upper, lower, pixels, out);
        break;
    }
}

} // namespace
} // namespace dibprep
