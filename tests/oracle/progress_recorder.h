// The progress callback of the comparisons: keeps what it is told and stops at a chosen call. The
// library's callback carries no address, so there is one recorder per program.
#pragma once

#include <vector>

namespace oracle {

struct ProgressRecorder {
    int stopAtCall = 0;
    std::vector<int> percents;
};
inline ProgressRecorder progressRecorder;

inline int RecordProgress(unsigned short percent) {
    progressRecorder.percents.push_back(percent);
    return static_cast<int>(progressRecorder.percents.size()) != progressRecorder.stopAtCall;
}

using ProgressFunction = int (*)(unsigned short);

// Starts a new record; null where no callback is wanted (a negative call number).
inline ProgressFunction StartRecording(int stopAtCall) {
    progressRecorder.stopAtCall = stopAtCall;
    progressRecorder.percents.clear();
    return stopAtCall < 0 ? nullptr : RecordProgress;
}

} // namespace oracle
