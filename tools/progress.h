// Progress on the terminal, and the way out when a signal asks the tool to stop.
#pragma once

#include <csignal>
#include <string>

namespace dibprep::tool {

/*
 * From here on SIGINT, SIGTERM and SIGHUP end the program at once, in the middle of whatever it does:
 * the temporary file is removed, one line says so, and the exit code is 128 plus the signal's number.
 */
void CatchSignals();
/*
 * For a program that has children to look after: signals are only counted from here on, and
 * StopSignal() tells. RememberSignals(false) goes back.
 */
void RememberSignals(bool remember);
// For a child: stops are silent, and bars stay away; the parent does the talking.
void BeSilent();
// The signal that came, or 0, and how many did.
int StopSignal();
int StopSignalCount();
// Leaves with Stopped when a signal has come and was remembered.
void ThrowIfStopped();

// The file that a signal removes; null for none. The name is copied.
void RemoveWhenKilled(const char* path);
// From here on the file that was asked for is there, so that a stop does not say otherwise.
void ResultIsWritten();

// Keeps the three signals waiting while it lives, where a file and what is known about it change together.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    // The mask from before, for waiting with it.
    const sigset_t& Before() const { return m_before; }

private:
    sigset_t m_before;
};

// Shows a bar on standard error while it lives, provided that this is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(std::string label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // No bar from here on.
    static void Hide();
    // Callbacks for the library, which takes plain functions: they serve the bar that lives.
    static int OnPercent(unsigned short percent);
    static int OnRows(int finished, int rows);

private:
    void Show(int percent);

    std::string m_label;
    bool m_visible;
    int m_shown = -1;
};

} // namespace dibprep::tool
