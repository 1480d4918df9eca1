// The lines of --report.
#include "tools/report.h"

#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace dibprep::tool {

namespace {

using Json = nlohmann::ordered_json;

// File names are bytes; those that are no UTF-8 come out with replacement characters.
std::string Line(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

Json Describe(const PageFacts& page) {
    Json json = {{"width", page.width}, {"height", page.height}, {"bits", page.bits}, {"dpi", nullptr}};
    if (page.xPixelsPerMetre > 0 && page.yPixelsPerMetre > 0)
        json["dpi"] = Json::array({DotsPerInch(page.xPixelsPerMetre), DotsPerInch(page.yPixelsPerMetre)});
    return json;
}

const char* StatusName(PageResult::Status status) {
    switch (status) {
    case PageResult::Status::Done:
        return "done";
    case PageResult::Status::Skipped:
        return "skipped";
    case PageResult::Status::Failed:
        return "failed";
    case PageResult::Status::Died:
        return "died";
    default:
        return "stopped";
    }
}

double Rounded(double value, double steps) { return std::round(value * steps) / steps; }

} // namespace

Report::Report(const std::string& path) : m_path(path) {
    if (path.empty())
        return;
    m_file = open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (m_file < 0 && errno == EACCES)
        m_file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC); // a device, say, that cannot be read
    if (m_file < 0)
        throw ToolError(ExitInputOutput, path + ": the report cannot be written: " + std::strerror(errno) + ".");
    // A call that was killed may have left half a line.
    struct stat status;
    char last = '\n';
    if (fstat(m_file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
        pread(m_file, &last, 1, status.st_size - 1) == 1 && last != '\n')
        WriteLine("\n");
}

Report::~Report() {
    if (m_file >= 0)
        close(m_file);
}

void Report::WriteLine(const std::string& line) {
    // Whole lines at a time: several calls may append to one report.
    std::size_t at = 0;
    while (m_file >= 0 && at < line.size()) {
        const ssize_t written = write(m_file, line.data() + at, line.size() - at);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0) {
            m_error = m_path + ": the report cannot be written: " + std::strerror(errno) + ".";
            return;
        }
        at += static_cast<std::size_t>(written);
    }
}

void Report::Add(const PageTask& task, const PageResult& result) {
    if (m_file < 0)
        return;
    Json json = {{"input", task.input}, {"output", task.output}, {"status", StatusName(result.status)}};
    if (result.status == PageResult::Status::Failed)
        json["code"] = result.code;
    if (result.signal != 0)
        json["signal"] = result.signal;
    if (!result.message.empty())
        json["message"] = result.message;
    if (result.conversion) {
        const Conversion& conversion = *result.conversion;
        json["input_bytes"] = conversion.inputBytes;
        json["output_bytes"] = conversion.outputBytes;
        json["pages"] = Json::array();
        for (const ConvertedPage& page : conversion.pages) {
            Json each = {{"before", Describe(page.before)}, {"after", Describe(page.after)}};
            if (!page.notes.empty())
                each["notes"] = page.notes;
            json["pages"].push_back(each);
        }
    }
    if (result.status != PageResult::Status::Skipped) {
        json["milliseconds"] = Rounded(result.seconds * 1000, 10);
        json["peak_memory"] = result.peakMemory;
    }
    WriteLine(Line(json));
}

void Report::Add(const BatchSummary& summary) {
    if (m_file < 0)
        return;
    Json json = {{"pages", summary.pages},
                 {"done", summary.done},
                 {"skipped", summary.skipped},
                 {"failed", summary.failed},
                 {"left", summary.Left()}};
    json["seconds"] = Rounded(summary.seconds, 1000);
    json["pages_per_second"] =
        summary.seconds > 0 ? Rounded(static_cast<double>(summary.done) / summary.seconds, 100) : 0.0;
    json["peak_memory"] = summary.peakMemory;
    json["stopped_by"] = summary.stopSignal == 0 ? Json() : Json(summary.stopSignal);
    WriteLine(Line(Json{{"summary", json}}));
}

} // namespace dibprep::tool
