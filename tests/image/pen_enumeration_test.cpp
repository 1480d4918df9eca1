// What GetBaseColors asks of the host, and what it makes of the host's answer. This program's own
// EnumObjects stands in for the host's.
#include "dibprep/colour.h"

#include "dibprep/host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

struct Enumeration {
    std::vector<tagLOGPEN> pens;
    bool overridesAnswer = false;
    int answer = 0;

    int calls = 0;
    void* context = nullptr;
    int objectType = 0;
    std::vector<int> callbackAnswers;
};

Enumeration enumeration;

class GetBaseColorsCall : public testing::Test {
protected:
    GetBaseColorsCall() { enumeration = Enumeration(); }
};

} // namespace

// Hands out pens at odd addresses.
int EnumObjects(void* deviceContext, int objectType, int (*callback)(void*, intptr_t), intptr_t state) {
    ++enumeration.calls;
    enumeration.context = deviceContext;
    enumeration.objectType = objectType;
    int answer = 1;
    for (const tagLOGPEN& pen : enumeration.pens) {
        alignas(8) unsigned char record[sizeof pen + 1];
        std::memcpy(record + 1, &pen, sizeof pen);
        answer = callback(record + 1, state);
        enumeration.callbackAnswers.push_back(answer);
        if (answer == 0)
            break;
    }
    return enumeration.overridesAnswer ? enumeration.answer : answer;
}

namespace {

TEST_F(GetBaseColorsCall, EnumeratesThePensOfTheContextOnce) {
    int context = 0;
    GetBaseColors(&context, nullptr);
    EXPECT_EQ(enumeration.calls, 1);
    EXPECT_EQ(enumeration.context, &context);
    EXPECT_EQ(enumeration.objectType, 1);
}

TEST_F(GetBaseColorsCall, PassesTheContextOnAsItIs) {
    EXPECT_EQ(GetBaseColors(nullptr, nullptr), 0u);
    EXPECT_EQ(enumeration.calls, 1);
    EXPECT_EQ(enumeration.context, nullptr);
}

TEST_F(GetBaseColorsCall, CallbackLetsTheEnumerationGoOn) {
    enumeration.pens = {{0, {1, 0}, 5}, {0, {1, 0}, 5}, {1, {1, 0}, 6}, {0, {1, 0}, 6}, {2, {1, 0}, 5}};
    unsigned int colours[5] = {};
    EXPECT_EQ(GetBaseColors(nullptr, colours), 2u);
    EXPECT_EQ(enumeration.callbackAnswers, (std::vector<int>{1, 2, 1, 1, 2}));
    EXPECT_EQ(colours[0], 5u);
    EXPECT_EQ(colours[1], 6u);
}

TEST_F(GetBaseColorsCall, WidthOfAPenIsNotLookedAt) {
    enumeration.pens = {{0, {0, 0}, 5}, {0, {-1, 7}, 5}};
    EXPECT_EQ(GetBaseColors(nullptr, nullptr), 2u);
}

TEST_F(GetBaseColorsCall, MinusOneFromTheHostGivesMinusOneWhateverWasCounted) {
    enumeration.pens = {{0, {1, 0}, 5}};
    enumeration.overridesAnswer = true;
    enumeration.answer = -1;
    unsigned int colours[1] = {};
    EXPECT_EQ(GetBaseColors(nullptr, nullptr), 4294967295u);
    EXPECT_EQ(GetBaseColors(nullptr, colours), 4294967295u);
    EXPECT_EQ(colours[0], 5u);
}

TEST_F(GetBaseColorsCall, EveryOtherAnswerOfTheHostGivesTheCount) {
    enumeration.pens = {{0, {1, 0}, 5}};
    enumeration.overridesAnswer = true;
    for (const int answer : {0, 1, 2, -2}) {
        enumeration.answer = answer;
        EXPECT_EQ(GetBaseColors(nullptr, nullptr), 1u) << answer;
    }
}

} // namespace
