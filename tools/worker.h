// One page, converted in a process of its own: whatever happens to that process, it happens to that
// page alone, and its memory goes back whole.
#pragma once

#include "tools/batch_plan.h"
#include "tools/command.h"
#include "tools/conversion.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace dibprep::tool {

// How it ended.
struct PageResult {
    enum class Status { Done, Skipped, Failed, Died, Stopped };
    Status status = Status::Skipped;
    int code = 0;   // failed: what the tool would exit with
    int signal = 0; // died
    std::string message;
    std::optional<Conversion> conversion;
    double seconds = 0;
    std::uint64_t peakMemory = 0; // bytes, of the whole process
};

class Worker {
public:
    /*
     * Starts the process. `mask` is the signal mask that it works with. Without a process to be had,
     * Started() is false and StartError() an error number.
     */
    Worker(const Command& command, const Arguments& arguments, const PageTask& task, const sigset_t& mask);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    bool Started() const { return m_process > 0; }
    int StartError() const { return m_startError; }
    const PageTask& Task() const { return m_task; }
    // Readable when the process has something to say or has ended.
    int Pipe() const { return m_pipe; }
    // Takes what it says; false once it has ended.
    bool Receive();
    // After Receive() gave false: collects the process and removes what a killed one left behind.
    PageResult Finish();
    void Send(int signal) const;

private:
    void Handle(char kind, const std::string& content);

    PageTask m_task;
    std::chrono::steady_clock::time_point m_begin;
    pid_t m_process = -1;
    int m_startError = 0;
    int m_pipe = -1;
    std::string m_received; // no whole record yet
    std::string m_temporary;
    PageResult m_result;
    bool m_toldFailure = false;
};

} // namespace dibprep::tool
