// A file that is written: it appears under its name complete, or not at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace dibprep::tool {

class OutputFile {
public:
    /*
     * Refuses a name that is taken, unless `replace`. Nothing is made yet, so that a command can
     * ask before its work and write after it. "-" is the standard output.
     */
    OutputFile(const std::string& path, bool replace);
    // Removes the temporary file when Commit was not reached.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // As the person wrote it, or "standard output".
    const std::string& Name() const { return m_path; }
    std::uint64_t Size() const { return m_size; }
    // Makes the temporary file at the first call.
    void Write(const void* bytes, std::size_t count);
    /*
     * Brings the bytes to the disk and gives the file its name. Without `replace` a file that has
     * taken the name meanwhile is kept, and this fails.
     */
    void Commit();

private:
    void Open();
    void Discard();
    int GiveName();

    std::string m_path;
    std::string m_target;    // behind symbolic links
    std::string m_temporary; // empty while the file has no name at all
    bool m_replace;
    bool m_standard = false; // the standard output
    int m_file = -1;
    std::uint64_t m_size = 0;
};

// Called with the name of each temporary file as soon as it exists, for a parent that tidies up.
void TellTemporaryNames(void (*tell)(const char* path));

} // namespace dibprep::tool
