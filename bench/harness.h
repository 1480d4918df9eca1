// What every benchmark is written against: works, and the contestants that take turns at them. Two
// backends play the rounds: Google Benchmark in 64 bits, a small timer in 32 (play_google.cpp,
// play_timer.cpp). Neither a work nor a contestant knows which.
//
// Times are the calling thread's processor time, so that other programs on the machine count less.
// In every round each contestant is called once, in the order of the list; before each timed call 96
// MB of other memory are written, so that neither input nor output is in a cache. Minimum and median
// of the rounds are reported, and which memory the result went to.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

enum class Memory {
    Touched, // written before: what a kernel takes
    Fresh,   // a new block of the host layer, freed within the time: what an entry takes
    Own      // what another library allocates for itself, from memory that its process has touched
};

struct Contestant {
    std::string name;
    Memory memory = Memory::Touched;
    std::function<void()> run;
    // Called once after the first run: what is wrong with the outcome, or nothing.
    std::function<std::string()> complaint = nullptr;
    std::vector<double> milliseconds = {};
};

struct Work {
    std::string name;
    std::vector<Contestant> contestants;
    // How many calls are timed as one; their time is divided. More than one: caches are left warm.
    int callsAtOnce = 1;
    // What the contestants work on, for as long as they do.
    std::vector<std::function<void()>> keep = {};
};

// The work is made when its turn comes and released after it: all of them at once would not fit 32 bits.
void Register(const std::string& name, std::function<Work()> make);

// Plays all works whose names contain `part` and prints a line for each contestant, separated by
// tabs: work, contestant, memory, minimum and median in milliseconds, rounds, complaint.
void PlayAll(int rounds, const std::string& part);

// The backend: one more time for each of these contestants.
void PlayRound(const Work& work, const std::vector<Contestant*>& contestants);
// A line about the backend.
std::string NameOfBackend();

void LeaveCaches();

} // namespace bench
