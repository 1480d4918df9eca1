// A folder of its own for tests that read and write files, removed with what it holds.
#pragma once

#include "tests/support/dib_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace transformtest {

class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dibprep-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            ADD_FAILURE() << "no temporary folder " << pattern;
        m_path = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path(const std::string& name) const { return m_path + "/" + name; }

    std::string Write(const std::string& name, const testdib::Bytes& bytes) const {
        std::ofstream file(Path(name), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        EXPECT_TRUE(file.good());
        return Path(name);
    }

    testdib::Bytes Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        EXPECT_TRUE(file.good()) << name;
        return testdib::Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

private:
    std::string m_path;
};

// A DIB as a BMP file: 14 bytes in front of it. What they say is never looked at.
inline testdib::Bytes AsFile(const testdib::Bytes& dib) {
    testdib::Bytes file(14 + dib.size(), 0x77);
    std::copy(dib.begin(), dib.end(), file.begin() + 14);
    return file;
}

} // namespace transformtest
