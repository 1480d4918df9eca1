// The overall progress line.
#include "tools/overall_line.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace dibprep::tool {

namespace {

constexpr int BarWidth = 20;
constexpr std::chrono::milliseconds Pause(100);

// "0:07", "1:02:03"
std::string TimeText(double seconds) {
    const auto whole = static_cast<unsigned long>(std::lround(seconds));
    char text[40];
    if (whole < 3600)
        std::snprintf(text, sizeof text, "%lu:%02lu", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lu:%02lu:%02lu", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

} // namespace

OverallLine::OverallLine(std::size_t pages, bool wanted)
    : m_visible(wanted && isatty(STDERR_FILENO) == 1), m_pages(pages), m_begin(Clock::now()), m_last(m_begin) {}

void OverallLine::Count(std::size_t done, std::size_t skipped, std::size_t failed) {
    m_done = done;
    m_skipped = skipped;
    m_failed = failed;
}

void OverallLine::Show() {
    const Clock::time_point now = Clock::now();
    if (!m_visible || m_pages == 0 || (m_shown && now - m_last < Pause))
        return;
    m_last = now;
    m_shown = true;
    const std::size_t finished = m_done + m_skipped + m_failed;
    std::string bar(BarWidth, '.');
    const std::size_t filled = finished * BarWidth / m_pages;
    bar.replace(0, filled, filled, '#');
    std::string text = "[" + bar + "] " + std::to_string(finished) + " of " + std::to_string(m_pages);
    // Pages that were skipped took no time and say nothing about those to come.
    const double seconds = std::chrono::duration<double>(now - m_begin).count();
    const auto worked = static_cast<double>(m_done + m_failed);
    if (worked > 0 && seconds > 0) {
        char rate[60];
        std::snprintf(rate, sizeof rate, ", %.1f pages/s, ", worked / seconds);
        text += rate + TimeText(static_cast<double>(m_pages - finished) * seconds / worked) + " left";
    }
    if (m_failed > 0)
        text += ", " + std::to_string(m_failed) + " failed";
    std::fprintf(stderr, "\r%s\033[K", text.c_str());
    std::fflush(stderr);
}

void OverallLine::Clear() {
    if (m_shown)
        std::fputs("\r\033[K", stderr);
    m_shown = false;
}

} // namespace dibprep::tool
