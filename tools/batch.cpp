// Many pages in one call: worker processes, their results, and the way out on a signal.
#include "tools/batch.h"

#include "tools/batch_plan.h"
#include "tools/overall_line.h"
#include "tools/progress.h"
#include "tools/report.h"
#include "tools/tool_error.h"
#include "tools/worker.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <list>
#include <poll.h>
#include <sched.h>
#include <vector>

namespace dibprep::tool {

namespace {

using Clock = std::chrono::steady_clock;

// Workers end at once when they are asked to; one that hangs in the system gets this long.
constexpr std::chrono::seconds Grace(5);
constexpr long WaitNanoseconds = 250000000; // between two looks at the clock

std::size_t Processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    const int count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
    return static_cast<std::size_t>(std::max(count, 1));
}

// The first note of a conversion with the name of the result, or nothing.
std::string FirstNote(const Conversion& conversion) {
    for (const ConvertedPage& page : conversion.pages)
        if (!page.notes.empty())
            return conversion.output + ": " + page.notes.front();
    return "";
}

class Batch {
public:
    Batch(const Command& command, const Arguments& arguments, std::vector<PageTask> tasks)
        : m_command(command), m_arguments(arguments), m_tasks(std::move(tasks)),
          m_jobs(arguments.Number("--jobs") == 0 ? Processors() : static_cast<std::size_t>(arguments.Number("--jobs"))),
          m_report(arguments.Has("--report") ? arguments.Text("--report") : ""),
          m_line(m_tasks.size(), !arguments.Has("--quiet")), m_begin(Clock::now()) {
        m_summary.pages = m_tasks.size();
    }

    int Run();

private:
    void Start(const sigset_t& mask);
    bool StartOne(const PageTask& task, const sigset_t& mask);
    void Wait(const sigset_t& mask);
    void Stop();
    void Record(const PageTask& task, PageResult result);
    void Say(const std::string& text);
    void AddNote(const std::string& note);
    std::string SummaryText() const;

    const Command& m_command;
    const Arguments& m_arguments;
    std::vector<PageTask> m_tasks;
    std::size_t m_next = 0;
    std::size_t m_jobs;
    Report m_report;
    OverallLine m_line;
    Clock::time_point m_begin;
    BatchSummary m_summary;
    std::size_t m_notes = 0; // results with something more to say
    std::string m_firstNote;
    std::list<Worker> m_workers;
    int m_signalsSeen = 0;
    Clock::time_point m_stopBegin;
};

void Batch::Say(const std::string& text) {
    m_line.Clear();
    std::fputs((text + '\n').c_str(), stderr);
}

void Batch::Record(const PageTask& task, PageResult result) {
    using Status = PageResult::Status;
    // Another call that works on the same pages was faster. What it wrote is complete.
    if (result.status == Status::Failed && m_arguments.Has("--skip-existing") && ResultExists(task.output)) {
        result = PageResult();
        result.status = Status::Skipped;
    }
    m_summary.peakMemory = std::max(m_summary.peakMemory, result.peakMemory);
    const bool verbose = m_arguments.Has("--verbose");
    switch (result.status) {
    case Status::Done:
        ++m_summary.done;
        if (verbose) {
            std::string text = ConversionText(*result.conversion);
            text.pop_back();
            Say(text);
        }
        AddNote(FirstNote(*result.conversion));
        break;
    case Status::Skipped:
        ++m_summary.skipped;
        if (verbose)
            Say(task.input + ": skipped; " + task.output + " is there already.");
        break;
    case Status::Stopped:
        if (StopSignal() != 0)
            break; // it is among the pages that are left
        result.status = Status::Died;
        [[fallthrough]];
    default:
        ++m_summary.failed;
        Say(result.message);
    }
    m_report.Add(task, result);
    m_line.Count(m_summary.done, m_summary.skipped, m_summary.failed);
}

void Batch::AddNote(const std::string& note) {
    if (note.empty())
        return;
    if (m_notes++ == 0)
        m_firstNote = note;
}

// False when no process was to be had but some are at work: try again once one of them has ended.
bool Batch::StartOne(const PageTask& task, const sigset_t& mask) {
    m_workers.emplace_back(m_command, m_arguments, task, mask);
    const int error = m_workers.back().StartError();
    if (m_workers.back().Started())
        return true;
    m_workers.pop_back();
    if (!m_workers.empty())
        return false;
    PageResult result;
    result.status = PageResult::Status::Failed;
    result.code = ExitLimit;
    result.message = task.input + ": no process can be started: " + std::strerror(error) + ".";
    Record(task, result);
    return true;
}

void Batch::Start(const sigset_t& mask) {
    while (StopSignal() == 0 && m_next < m_tasks.size() && m_workers.size() < m_jobs) {
        const PageTask& task = m_tasks[m_next];
        if (task.skipped || (m_arguments.Has("--skip-existing") && ResultExists(task.output)))
            Record(task, PageResult());
        else if (!StartOne(task, mask))
            return;
        ++m_next;
    }
}

// Until a worker says something, a signal comes, or a moment has passed.
void Batch::Wait(const sigset_t& mask) {
    std::vector<pollfd> files;
    for (const Worker& worker : m_workers)
        files.push_back({worker.Pipe(), POLLIN, 0});
    const timespec moment = {0, WaitNanoseconds};
    if (ppoll(files.data(), files.size(), &moment, &mask) <= 0)
        return;
    auto worker = m_workers.begin();
    for (const pollfd& file : files) {
        const auto current = worker++;
        if (file.revents == 0 || current->Receive())
            continue;
        const PageResult result = current->Finish();
        // A terminal's Ctrl-C reaches workers and parent alike, but in any order: give it a moment.
        if (result.status == PageResult::Status::Stopped && StopSignal() == 0)
            ppoll(nullptr, 0, &moment, &mask);
        Record(current->Task(), result);
        m_workers.erase(current);
    }
}

// The first signal asks the workers to stop; a second one, or too long a wait, ends them.
void Batch::Stop() {
    if (StopSignal() == 0)
        return;
    const int count = StopSignalCount();
    if (m_signalsSeen == 0) {
        m_summary.stopSignal = StopSignal();
        m_stopBegin = Clock::now();
        for (const Worker& worker : m_workers)
            worker.Send(SIGTERM);
    } else if (count > m_signalsSeen || Clock::now() - m_stopBegin > Grace) {
        for (const Worker& worker : m_workers)
            worker.Send(SIGKILL);
    }
    m_signalsSeen = count;
}

std::string Batch::SummaryText() const {
    const BatchSummary& s = m_summary;
    std::string text =
        std::to_string(s.done) + " of " + std::to_string(s.pages) + (s.pages == 1 ? " page" : " pages") + " done";
    if (s.skipped > 0)
        text += ", " + std::to_string(s.skipped) + " skipped";
    if (s.failed > 0)
        text += ", " + std::to_string(s.failed) + " failed";
    if (s.Left() > 0)
        text += ", " + std::to_string(s.Left()) + " left";
    char figures[120] = "";
    if (s.done > 0)
        std::snprintf(figures, sizeof figures, "; %.2f s, %.1f pages a second, up to %.0f MB for a page", s.seconds,
                      static_cast<double>(s.done) / std::max(s.seconds, 0.001),
                      static_cast<double>(s.peakMemory) / 1e6);
    text += figures + std::string(".");
    if (s.stopSignal != 0)
        text = "Stopped. " + text + " The same command with --skip-existing goes on.";
    return text;
}

int Batch::Run() {
    // Signals come in while this waits and nowhere else.
    RememberSignals(true);
    const SignalsHeld held;
    for (;;) {
        Start(held.Before());
        if (m_workers.empty())
            break; // none is left, or none may be started any more
        Wait(held.Before());
        Stop();
        m_line.Show();
    }
    Stop();
    m_summary.seconds = std::chrono::duration<double>(Clock::now() - m_begin).count();
    m_report.Add(m_summary);
    m_line.Clear();
    if (!m_report.Error().empty())
        Say(m_report.Error());
    if (m_notes > 0 && !m_arguments.Has("--quiet") && !m_arguments.Has("--verbose"))
        Say(m_firstNote + (m_notes == 1 ? ""
                                        : " (A note on one of " + std::to_string(m_notes) +
                                              " pages; --verbose and --report have them all.)"));
    if (!m_arguments.Has("--quiet") || m_summary.stopSignal != 0)
        Say(SummaryText());
    if (m_summary.stopSignal != 0)
        return ExitSignalBase + m_summary.stopSignal;
    if (m_summary.failed > 0)
        return ExitSome;
    return m_report.Error().empty() ? ExitDone : ExitInputOutput;
}

} // namespace

int RunBatch(const Command& command, const Arguments& arguments) {
    std::vector<PageTask> tasks = PlanPages(command, arguments);
    return Batch(command, arguments, std::move(tasks)).Run();
}

} // namespace dibprep::tool
