// One line about all pages of a call, on a terminal only: how many, how fast, how long yet.
#pragma once

#include <chrono>
#include <cstddef>

namespace dibprep::tool {

class OverallLine {
public:
    // Shows nothing unless `wanted` and standard error is a terminal.
    OverallLine(std::size_t pages, bool wanted);

    void Count(std::size_t done, std::size_t skipped, std::size_t failed);
    // Draws the line, at most some times a second.
    void Show();
    // Takes the line away, so that other text can be written.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    bool m_visible;
    bool m_shown = false;
    std::size_t m_pages;
    std::size_t m_done = 0;
    std::size_t m_skipped = 0;
    std::size_t m_failed = 0;
    Clock::time_point m_begin;
    Clock::time_point m_last;
};

} // namespace dibprep::tool
