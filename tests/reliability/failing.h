// Every entry that allocates, as one list: how a call is set up, what it answers. The tests let each
// of its allocations, locks and C++ allocations fail in turn.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace failing {

// One call on a fresh memory layer. `prepare` makes the blocks that the caller owns, unfailed; `call`
// answers in words: statuses, and whether there is a block.
struct Entry {
    std::string name;
    std::function<void()> prepare;
    std::function<std::string()> call;
};

// For pages of this size.
std::vector<Entry> Entries(int width = 8, int height = 8);

// C++ allocations of the last call that returned.
int NewsOfCall();
// The bytes of the blocks that it gave.
const std::vector<std::vector<std::uint8_t>>& BlocksOfCall();

// A test's name for it.
inline std::string NameOf(const testing::TestParamInfo<Entry>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

inline void PrintTo(const Entry& entry, std::ostream* out) { *out << entry.name; }

} // namespace failing
