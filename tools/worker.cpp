// Worker processes: what the child does, and what its parent hears of it.
#include "tools/worker.h"

#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dibprep::tool {

namespace {

/*
 * A record on the pipe: its kind, the length of its content in 4 bytes, the content. File names are
 * bytes, so they travel as they are; numbers travel as JSON.
 */
constexpr char Temporary = 'T'; // the name of a file to remove when this process is killed
constexpr char Finished = 'C';  // a conversion
constexpr char Failed = 'F';    // an exit code in one byte, and a message
constexpr std::size_t RecordHead = 1 + sizeof(std::uint32_t);

int g_toParent = -1; // in the child

void Tell(char kind, const std::string& content) {
    const auto length = static_cast<std::uint32_t>(content.size());
    std::string record(RecordHead, kind);
    std::memcpy(&record[1], &length, sizeof length);
    record += content;
    for (std::size_t at = 0; at < record.size();) {
        const ssize_t written = write(g_toParent, record.data() + at, record.size() - at);
        if (written < 0 && errno != EINTR)
            _exit(ExitInputOutput); // nobody listens any more
        at += static_cast<std::size_t>(written < 0 ? 0 : written);
    }
}

void TellTemporary(const char* path) { Tell(Temporary, path); }

nlohmann::json ToJson(const PageFacts& page) {
    return nlohmann::json::array({page.width, page.height, page.bits, page.xPixelsPerMetre, page.yPixelsPerMetre});
}

PageFacts FactsFrom(const nlohmann::json& json) { return {json[0], json[1], json[2], json[3], json[4]}; }

void TellConversion(const Conversion& conversion) {
    nlohmann::json json = {conversion.firstPage, conversion.inputBytes, conversion.outputBytes};
    for (const ConvertedPage& page : conversion.pages)
        json.push_back({ToJson(page.before), ToJson(page.after), page.seconds, page.notes});
    Tell(Finished, json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

Conversion ConversionFrom(const std::string& text, const std::string& output) {
    const nlohmann::json json = nlohmann::json::parse(text);
    Conversion conversion = {output, json[0], {}, json[1], json[2]};
    for (std::size_t i = 3; i < json.size(); ++i)
        conversion.pages.push_back({FactsFrom(json[i][0]), FactsFrom(json[i][1]), json[i][2], json[i][3]});
    return conversion;
}

// When memory runs out the kernel looks for a process to end: better one page than the whole batch.
void OfferItselfFirst() {
    const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return;
    if (write(file, "500", 3) < 0)
        errno = 0; // it stays as likely as the others
    close(file);
}

[[noreturn]] void Work(const Command& command, Arguments arguments, const PageTask& task, const sigset_t& mask,
                       pid_t parent) {
    RememberSignals(false);
    BeSilent();
    // A parent that is killed takes its children along.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    if (getppid() != parent)
        _exit(ExitSignalBase + SIGTERM);
    OfferItselfFirst();
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0)
        dup2(nothing, STDIN_FILENO);
    SetAnnouncer(TellConversion);
    TellTemporaryNames(TellTemporary);
    int code = ExitDone;
    try {
        arguments.Set("IN", task.input);
        arguments.Set("OUT", task.output);
        command.run(arguments);
    } catch (...) {
        const Failure failure = CurrentFailure();
        code = failure.code;
        Tell(Failed, std::string(1, static_cast<char>(failure.code)) + failure.message);
    }
    // Not exit: what the parent had in its buffers is the parent's to write.
    _exit(code);
}

std::string DeathText(int signal) {
    if (signal == SIGKILL)
        return "its process was killed (SIGKILL), as happens when memory runs out. Use fewer --jobs, or give it "
               "more memory.";
    return "its process was ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ").";
}

} // namespace

Worker::Worker(const Command& command, const Arguments& arguments, const PageTask& task, const sigset_t& mask)
    : m_task(task), m_begin(std::chrono::steady_clock::now()) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        m_startError = errno;
        return;
    }
    const pid_t parent = getpid();
    m_process = fork();
    if (m_process == 0) {
        g_toParent = ends[1];
        Work(command, arguments, task, mask, parent);
    }
    m_startError = m_process < 0 ? errno : 0;
    close(ends[1]);
    if (m_process < 0)
        close(ends[0]);
    else
        m_pipe = ends[0];
}

Worker::~Worker() {
    if (m_pipe >= 0)
        close(m_pipe);
}

void Worker::Handle(char kind, const std::string& content) {
    if (kind == Temporary)
        m_temporary = content;
    else if (kind == Finished)
        m_result.conversion = ConversionFrom(content, m_task.output);
    else if (kind == Failed && !content.empty()) {
        m_toldFailure = true;
        m_result.code = static_cast<unsigned char>(content[0]);
        m_result.message = content.substr(1);
    }
}

bool Worker::Receive() {
    char piece[4096];
    const ssize_t count = read(m_pipe, piece, sizeof piece);
    if (count < 0)
        return errno == EINTR || errno == EAGAIN;
    if (count == 0)
        return false;
    m_received.append(piece, static_cast<std::size_t>(count));
    while (m_received.size() >= RecordHead) {
        std::uint32_t length;
        std::memcpy(&length, &m_received[1], sizeof length);
        if (m_received.size() - RecordHead < length)
            break;
        Handle(m_received[0], m_received.substr(RecordHead, length));
        m_received.erase(0, RecordHead + length);
    }
    return true;
}

PageResult Worker::Finish() {
    int status = 0;
    struct rusage usage;
    std::memset(&usage, 0, sizeof usage);
    while (wait4(m_process, &status, 0, &usage) < 0 && errno == EINTR)
        continue;
    m_process = -1;
    m_result.peakMemory = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    m_result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_begin).count();
    const int exited = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    // It speaks of a conversion when the result has its name: what happens afterwards changes nothing.
    if (m_result.conversion) {
        m_result.status = PageResult::Status::Done;
    } else if (WIFSIGNALED(status)) {
        m_result.status = PageResult::Status::Died;
        m_result.signal = WTERMSIG(status);
        m_result.message = m_task.input + ": " + DeathText(m_result.signal);
        if (!m_temporary.empty())
            unlink(m_temporary.c_str()); // gone already where the work was complete
    } else if (exited > ExitSignalBase && !m_toldFailure) {
        m_result.status = PageResult::Status::Stopped;
        m_result.signal = exited - ExitSignalBase;
        m_result.message = m_task.input + ": was stopped by signal " + std::to_string(m_result.signal) + ".";
    } else {
        m_result.status = PageResult::Status::Failed;
        if (!m_toldFailure) {
            m_result.code = exited;
            m_result.message =
                m_task.input + ": its process ended with code " + std::to_string(exited) + " and without a word.";
        }
    }
    return m_result;
}

void Worker::Send(int signal) const {
    if (m_process > 0)
        kill(m_process, signal);
}

} // namespace dibprep::tool
