// --report: one JSON object a line for each page, and a summary behind them.
#pragma once

#include "tools/worker.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace dibprep::tool {

// What became of all the pages of a call.
struct BatchSummary {
    std::size_t pages = 0; // in this call, or in this shard of it
    std::size_t done = 0;
    std::size_t skipped = 0;
    std::size_t failed = 0; // died ones among them
    double seconds = 0;
    std::uint64_t peakMemory = 0; // bytes, of the largest worker
    int stopSignal = 0;

    std::size_t Left() const { return pages - done - skipped - failed; }
};

class Report {
public:
    // Opens the file for appending, so that a call that is repeated goes on with it. No name: no report.
    explicit Report(const std::string& path);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    void Add(const PageTask& task, const PageResult& result);
    void Add(const BatchSummary& summary);
    // Empty, or why lines are missing. Conversions go on without a report.
    const std::string& Error() const { return m_error; }

private:
    void WriteLine(const std::string& line);

    std::string m_path;
    int m_file = -1;
    std::string m_error;
};

} // namespace dibprep::tool
