// A TIFF file as libtiff has it open: its callbacks and its messages.
#include "tools/tiff_handle.h"

#include "tools/progress.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace dibprep::tool {

namespace {

constexpr std::size_t MostWarnings = 20; // a damaged file repeats itself without end
constexpr std::size_t PieceSize = std::size_t{1} << 20;

std::string Message(const char* format, va_list arguments) {
    char text[500];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::string message = text;
    while (!message.empty() && (message.back() == '.' || message.back() == '\n' || message.back() == ' '))
        message.pop_back();
    return message;
}

// Warnings that are errors here: lines that are not there and become white, pixels that are left out, and
// tags that lie behind the end of the file.
bool MeansLoss(const std::string& message) {
    const auto losses = {"Premature EOF", "Discarding", "IO error during reading"};
    return std::any_of(losses.begin(), losses.end(),
                       [&](const char* words) { return message.find(words) != std::string::npos; });
}

} // namespace

struct TiffHandle::Callbacks {
    static TiffHandle& Self(thandle_t handle) { return *static_cast<TiffHandle*>(handle); }

    // Nothing may be thrown through the library.
    template <class Work>
    static tmsize_t Move(thandle_t handle, const Work& work) {
        TiffHandle& self = Self(handle);
        try {
            const std::size_t count = work(self);
            self.m_at += count;
            return static_cast<tmsize_t>(count);
        } catch (...) {
            self.m_thrown = std::current_exception();
            return -1;
        }
    }
    static tmsize_t Read(thandle_t handle, void* to, tmsize_t bytes) {
        return Move(handle,
                    [=](TiffHandle& self) { return self.ReadAt(self.m_at, to, static_cast<std::size_t>(bytes)); });
    }
    static tmsize_t Write(thandle_t handle, void* from, tmsize_t bytes) {
        return Move(handle,
                    [=](TiffHandle& self) { return self.WriteAt(self.m_at, from, static_cast<std::size_t>(bytes)); });
    }
    static toff_t Seek(thandle_t handle, toff_t offset, int from) {
        TiffHandle& self = Self(handle);
        const std::uint64_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? self.m_at : self.Size();
        return self.m_at = base + offset;
    }
    static toff_t Size(thandle_t handle) { return Self(handle).Size(); }
    static int Close(thandle_t) { return 0; }
    static int Map(thandle_t, void**, toff_t*) { return 0; }
    static void Unmap(thandle_t, void*, toff_t) {}

    // Some messages of the library belong to no file.
    static void Error(thandle_t handle, const char*, const char* format, va_list arguments) {
        if (!handle)
            return;
        TiffHandle& self = Self(handle);
        if (self.m_error.empty())
            self.m_error = Message(format, arguments);
    }
    static void Warning(thandle_t handle, const char*, const char* format, va_list arguments) {
        if (!handle)
            return;
        TiffHandle& self = Self(handle);
        const std::string message = Message(format, arguments);
        if (self.m_error.empty() && MeansLoss(message))
            self.m_error = message;
        const auto end = self.m_warnings.end();
        if (self.m_warnings.size() < MostWarnings && std::find(self.m_warnings.begin(), end, message) == end)
            self.m_warnings.push_back(message);
    }
};

void TiffHandle::Open(const std::string& name, const char* mode) {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandlerExt(Callbacks::Error);
    TIFFSetWarningHandlerExt(Callbacks::Warning);
    m_tiff = TIFFClientOpen(name.c_str(), mode, static_cast<TiffHandle*>(this), Callbacks::Read, Callbacks::Write,
                            Callbacks::Seek, Callbacks::Close, Callbacks::Size, Callbacks::Map, Callbacks::Unmap);
}

void TiffHandle::Close() {
    if (m_tiff)
        TIFFClose(m_tiff);
    m_tiff = nullptr;
}

TiffHandle::~TiffHandle() = default;

void TiffHandle::Rethrow() {
    if (m_thrown)
        std::rethrow_exception(std::exchange(m_thrown, nullptr));
}

TiffInput::TiffInput(const InputFile& file) : m_file(file) {
    Open(file.Name(), "rm"); // m: no mapping into memory
    Rethrow();
    if (!get())
        Damaged("its directory cannot be read");
}

void TiffInput::Damaged(const std::string& what) {
    Rethrow();
    throw ToolError(ExitBadInput, m_file.Name() + ": " + what + (Error().empty() ? "" : " (" + Error() + ")") +
                                      ". The file is damaged or was cut short; fetch it again.");
}

std::size_t TiffInput::ReadAt(std::uint64_t at, void* to, std::size_t bytes) {
    const std::uint64_t left = at < Size() ? Size() - at : 0;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, left));
    m_file.ReadAt(at, to, count);
    return count;
}

TiffOutput::TiffOutput(OutputFile& file) : m_file(file), m_temporary(std::tmpfile()) {
    if (!m_temporary)
        throw ToolError(ExitInputOutput,
                        file.Name() + ": no temporary file can be made for it: " + std::strerror(errno) + ".");
    Open(file.Name(), "wlm"); // l: low byte first
    if (!get()) {
        std::fclose(m_temporary);
        throw ToolError(ExitLimit, file.Name() + ": cannot be written as TIFF (" + Error() + ").");
    }
}

TiffOutput::~TiffOutput() {
    Close();
    std::fclose(m_temporary);
}

void TiffOutput::Check(bool good) {
    Rethrow();
    if (good)
        return;
    throw ToolError(ExitLimit, m_file.Name() + ": cannot be written as TIFF" +
                                   (Error().empty() ? "" : " (" + Error() + ")") +
                                   ". Choose another format with --format.");
}

void TiffOutput::Finish() {
    ClearError();
    Close();
    Check(Error().empty());
    std::vector<std::uint8_t> piece(PieceSize);
    for (std::uint64_t at = 0; at < m_size;) {
        const std::size_t count = ReadAt(at, piece.data(), piece.size());
        m_file.Write(piece.data(), count);
        at += count;
    }
}

std::size_t TiffOutput::ReadAt(std::uint64_t at, void* to, std::size_t bytes) {
    ssize_t count;
    do
        count = pread(fileno(m_temporary), to, bytes, static_cast<off_t>(at));
    while (count < 0 && errno == EINTR);
    if (count < 0 || (count == 0 && at < m_size))
        throw ToolError(ExitInputOutput, m_file.Name() + ": its temporary file cannot be read.");
    return static_cast<std::size_t>(count);
}

std::size_t TiffOutput::WriteAt(std::uint64_t at, const void* from, std::size_t bytes) {
    ThrowIfStopped();
    for (std::size_t done = 0; done < bytes;) {
        const ssize_t count = pwrite(fileno(m_temporary), static_cast<const char*>(from) + done, bytes - done,
                                     static_cast<off_t>(at + done));
        if (count < 0 && errno != EINTR)
            throw ToolError(ExitInputOutput,
                            m_file.Name() + ": its temporary file cannot be written: " + std::strerror(errno) + ".");
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    m_size = std::max(m_size, at + bytes);
    return bytes;
}

} // namespace dibprep::tool
