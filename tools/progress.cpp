// Progress on the terminal, and signals.
#include "tools/progress.h"

#include "tools/tool_error.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace dibprep::tool {

namespace {

constexpr int BarWidth = 40;

volatile std::sig_atomic_t g_signal = 0;
// Read by the signal handler, so a plain array. Written only while the flag below is 0.
char g_removePath[4096];
volatile std::sig_atomic_t g_removeSet = 0;

ProgressBar* g_bar = nullptr;

extern "C" void OnSignal(int signal) {
    if (g_signal != 0) {
        if (g_removeSet)
            unlink(g_removePath);
        _exit(ExitSignalBase + signal);
    }
    g_signal = signal;
}

} // namespace

void CatchSignals() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
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

int StopSignal() { return g_signal; }

void ThrowIfStopped() {
    if (g_signal != 0)
        throw Stopped();
}

void RemoveWhenKilled(const char* path) {
    g_removeSet = 0;
    if (!path || std::strlen(path) >= sizeof g_removePath)
        return;
    std::strcpy(g_removePath, path);
    g_removeSet = 1;
}

ProgressBar::ProgressBar(const std::string& label) : m_label(label), m_visible(isatty(STDERR_FILENO) == 1) {
    g_bar = this;
}

ProgressBar::~ProgressBar() {
    g_bar = nullptr;
    if (m_visible && m_shown >= 0)
        std::fprintf(stderr, "\r\033[K");
}

void ProgressBar::Show(int percent) {
    if (!m_visible || percent == m_shown)
        return;
    m_shown = percent;
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
