// Progress on the terminal, and the way out when a signal asks the tool to stop.
#pragma once

#include <string>

namespace dibprep::tool {

/*
 * From here on SIGINT, SIGTERM and SIGHUP are remembered instead of ending the program: the next
 * progress callback or ThrowIfStopped() acts on them. A second one ends the program at once, without
 * a temporary file left.
 */
void CatchSignals();
// The signal that came, or 0.
int StopSignal();
// Leaves with Stopped when a signal has come.
void ThrowIfStopped();
// The file that the second signal removes; null for none. The name is copied.
void RemoveWhenKilled(const char* path);

// Shows a bar on standard error while it lives, provided that this is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(const std::string& label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Callbacks for the library, which takes plain functions: they serve the bar that lives, and
    // ask the library to stop once a signal has come.
    static int OnPercent(unsigned short percent);
    static int OnRows(int finished, int rows);

private:
    void Show(int percent);

    std::string m_label;
    bool m_visible;
    int m_shown = -1;
};

} // namespace dibprep::tool
