// Every entry that allocates, as one list: how a call is set up, what it answers. The tests let each
// of its allocations, locks and C++ allocations fail in turn.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace failing {

// One call on a fresh memory layer. `prepare` makes the blocks that the caller owns, unfailed; `call`
// answers in words.
struct Entry {
    std::string name;
    std::function<void()> prepare;
    std::function<std::string()> call;
};

const std::vector<Entry>& Entries();

// C++ allocations of the last call that returned.
int NewsOfCall();

} // namespace failing
