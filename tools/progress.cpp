// Progress on the terminal, and signals.
#include "tools/progress.h"

#include "tools/tool_error.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace dibprep::tool {

namespace {

constexpr int BarWidth = 40;
constexpr int StopSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t g_signal = 0;
volatile std::sig_atomic_t g_signalCount = 0;
volatile std::sig_atomic_t g_remember = 0;
volatile std::sig_atomic_t g_silent = 0;
volatile std::sig_atomic_t g_written = 0;
volatile std::sig_atomic_t g_barShown = 0;
// Read by the signal handler, so a plain array. Written only while the flag below is 0.
char g_removePath[4096];
volatile std::sig_atomic_t g_removeSet = 0;

ProgressBar* g_bar = nullptr;
bool g_barHidden = false;

void Say(const char* text) {
    // Nothing can be done about a standard error that takes no text.
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0)
        return;
}

// Only what is allowed in the middle of anything: unlink, write and _exit.
extern "C" void OnSignal(int signal) {
    if (g_remember) {
        g_signal = signal;
        g_signalCount = g_signalCount + 1;
        return;
    }
    // A child whose file has its name has only to say so: then its parent counts right.
    if (g_silent && g_written)
        return;
    if (g_removeSet)
        unlink(g_removePath);
    if (!g_silent) {
        if (g_barShown)
            Say("\r\033[K");
        Say(g_written ? "Stopped. The file was complete already.\n" : "Stopped. No file was written.\n");
    }
    _exit(ExitSignalBase + signal);
}

} // namespace

void CatchSignals() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = OnSignal;
    // One handler at a time: none interrupts another.
    sigemptyset(&action.sa_mask);
    for (const int signal : StopSignals)
        sigaddset(&action.sa_mask, signal);
    for (const int signal : StopSignals) {
        struct sigaction before;
        // A signal that the caller chose to ignore (nohup) stays ignored.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN)
            continue;
        sigaction(signal, &action, nullptr);
    }
    // A full pipe on standard error or a file limit must come back as an error, not end the tool.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void RememberSignals(bool remember) { g_remember = remember ? 1 : 0; }

void BeSilent() {
    g_silent = 1;
    ProgressBar::Hide();
}

int StopSignal() { return g_signal; }

int StopSignalCount() { return g_signalCount; }

void ThrowIfStopped() {
    if (g_signal != 0)
        throw Stopped();
}

void RemoveWhenKilled(const char* path) {
    g_removeSet = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst); // the handler sees no half-written name
    const std::size_t size = path ? std::strlen(path) + 1 : sizeof g_removePath + 1;
    if (size > sizeof g_removePath)
        return;
    std::memcpy(g_removePath, path, size);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    g_removeSet = 1;
}

void ResultIsWritten() { g_written = 1; }

SignalsHeld::SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : StopSignals)
        sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &m_before);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

ProgressBar::ProgressBar(std::string label)
    : m_label(std::move(label)), m_visible(!g_barHidden && isatty(STDERR_FILENO) == 1) {
    g_bar = this;
}

ProgressBar::~ProgressBar() {
    g_bar = nullptr;
    g_barShown = 0;
    if (m_visible && m_shown >= 0)
        std::fprintf(stderr, "\r\033[K");
}

void ProgressBar::Hide() { g_barHidden = true; }

void ProgressBar::Show(int percent) {
    if (!m_visible || percent == m_shown)
        return;
    m_shown = percent;
    g_barShown = 1;
    char bar[BarWidth + 1];
    const int filled = percent * BarWidth / 100;
    for (int i = 0; i < BarWidth; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[BarWidth] = 0;
    std::fprintf(stderr, "\r%s [%s] %3d %%", m_label.c_str(), bar, percent);
    std::fflush(stderr);
}

int ProgressBar::OnPercent(unsigned short percent) {
    if (g_bar)
        g_bar->Show(percent);
    return g_signal == 0;
}

int ProgressBar::OnRows(int finished, int rows) {
    return OnPercent(static_cast<unsigned short>(static_cast<long long>(finished) * 100 / rows));
}

} // namespace dibprep::tool
