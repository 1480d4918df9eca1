// The frame of the tables of damaged headers: each row is a test of its own, which gives the same
// change to a sound page of every kind.
#pragma once

#include "tests/reliability/hostile.h"

#include <gtest/gtest.h>

#include <sstream>

namespace hostile {

// What the entries answer for pages of these kinds (separated by blanks).
struct Expected {
    const char* kinds;
    const char* answers;
};

struct Case {
    const char* name;
    std::vector<Edit> edits;
    std::vector<Expected> expected;
    int width = 8;
    int height = 8;
    unsigned short dpi = Dpi;
};

inline void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

// A test's name is its row's.
template <typename Row>
std::string NameOf(const testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

inline void Check(const Case& row) {
    std::size_t checked = 0;
    for (const Expected& expected : row.expected) {
        std::istringstream kinds(expected.kinds);
        for (std::string kind; kinds >> kind; ++checked) {
            SCOPED_TRACE("kind " + kind);
            EXPECT_EQ(Answers(Edited(Page(kind, row.width, row.height), row.edits), row.dpi), expected.answers);
        }
    }
    EXPECT_EQ(checked, Kinds.size()) << "every kind has its line";
}

} // namespace hostile
