// What the converting commands share: read a page, write a page, say what was done.
#pragma once

#include "tools/command.h"
#include "tools/formats.h"
#include "tools/input_file.h"
#include "tools/output_file.h"
#include "tools/page.h"

#include <chrono>
#include <memory>
#include <string>

namespace dibprep::tool {

Positional InputPositional();
Positional OutputPositional();
Option InputDpiOption();
Option MaxPixelsOption();
Option ForceOption();

/*
 * One conversion from the argument IN to the argument OUT. The output name is claimed before the
 * input is read, so that nobody waits for a result that cannot be written.
 */
class Job {
public:
    explicit Job(const Arguments& arguments);

    const InputFile& Input() const { return *m_input; }
    const std::string& InputName() const { return m_input->Name(); }
    std::uint64_t MaxPixels() const { return m_maxPixels; }

    // The page, with --input-dpi in place of its own resolution when that was given.
    Page Read();
    // Leaves with ExitBadInput unless the page records a resolution on both axes.
    void RequireResolution(const Page& page) const;
    // Leaves with ExitLimit when a result of this size is beyond --max-pixels, or with ExitUsage
    // when it is empty.
    void CheckResultSize(std::uint64_t width, std::uint64_t height) const;
    // Writes the page and says in one line what it is and was.
    void Write(const Page& page, const std::string& note = "");
    // Fails with ExitBadInput and the name of the input.
    [[noreturn]] void BadInput(const std::string& what) const;
    [[noreturn]] void BeyondLimit(const std::string& what) const;

private:
    std::chrono::steady_clock::time_point m_begin;
    const Arguments& m_arguments;
    std::uint64_t m_maxPixels;
    std::unique_ptr<OutputFile> m_output;
    std::unique_ptr<InputFile> m_input;
    const Format* m_format;
    std::string m_before; // the input in words
};

// "1653 x 2338 pixels, 24 bits, 200 dpi"
std::string PageText(const Page& page);

} // namespace dibprep::tool
