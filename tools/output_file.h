// A file that is written: it appears under its name complete, or not at all.
#pragma once

#include <cstddef>
#include <string>

namespace dibprep::tool {

class OutputFile {
public:
    /*
     * Refuses a name that is taken, unless `replace`. Nothing is made yet, so that a command can
     * ask before its work and write after it.
     */
    OutputFile(const std::string& path, bool replace);
    // Removes the temporary file when Commit was not reached.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& Name() const { return m_path; }
    // Makes the temporary file beside the target at the first call.
    void Write(const void* bytes, std::size_t count);
    /*
     * Brings the bytes to the disk and gives the file its name. Without `replace` a file that has
     * taken the name meanwhile is kept, and this fails.
     */
    void Commit();

private:
    void Open();
    void Discard();

    std::string m_path;   // as the person wrote it
    std::string m_target; // behind symbolic links
    std::string m_temporary;
    bool m_replace;
    int m_file = -1;
};

} // namespace dibprep::tool
