// A TIFF file as libtiff has it open, over a file that is read or a temporary one that is written.
#pragma once

#include "tools/input_file.h"
#include "tools/output_file.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <tiffio.h>
#include <vector>

namespace dibprep::tool {

class TiffHandle {
public:
    virtual ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    TIFF* get() const { return m_tiff; }
    const std::vector<std::string>& Warnings() const { return m_warnings; }
    // The library's words about its first error since the last ClearError; empty: none.
    const std::string& Error() const { return m_error; }
    void ClearError() { m_error.clear(); }
    // Throws what a callback has caught. To be called after every call of the library.
    void Rethrow();

protected:
    TiffHandle() = default;
    // To be called by the constructors below: the library reads at once.
    void Open(const std::string& name, const char* mode);
    void Close();

    virtual std::size_t ReadAt(std::uint64_t at, void* to, std::size_t bytes) = 0;
    virtual std::size_t WriteAt(std::uint64_t at, const void* from, std::size_t bytes) = 0;
    virtual std::uint64_t Size() const = 0;

private:
    struct Callbacks;

    TIFF* m_tiff = nullptr;
    std::uint64_t m_at = 0;
    std::string m_error;
    std::vector<std::string> m_warnings;
    std::exception_ptr m_thrown;
};

class TiffInput : public TiffHandle {
public:
    // Leaves with ExitBadInput when the first directory cannot be read.
    explicit TiffInput(const InputFile& file);
    ~TiffInput() override { Close(); }

    [[noreturn]] void Damaged(const std::string& what);

private:
    std::size_t ReadAt(std::uint64_t at, void* to, std::size_t bytes) override;
    std::size_t WriteAt(std::uint64_t, const void*, std::size_t) override { return 0; }
    std::uint64_t Size() const override { return m_file.Size(); }

    const InputFile& m_file;
};

/*
 * The library goes back in the file that it writes, from each page to the one before it, and the output
 * file only goes on: the pages gather in a temporary file without a name, so that memory stays flat
 * however many they are.
 */
class TiffOutput : public TiffHandle {
public:
    explicit TiffOutput(OutputFile& file);
    ~TiffOutput() override;

    // Leaves with the library's words when it has failed.
    void Check(bool good);
    // Everything into the output file.
    void Finish();

private:
    std::size_t ReadAt(std::uint64_t at, void* to, std::size_t bytes) override;
    std::size_t WriteAt(std::uint64_t at, const void* from, std::size_t bytes) override;
    std::uint64_t Size() const override { return m_size; }

    OutputFile& m_file;
    std::FILE* m_temporary = nullptr;
    std::uint64_t m_size = 0;
};

} // namespace dibprep::tool
