// Calls of libpng, whose errors jump: the jump is kept inside one function, and leaves as an exception.
#pragma once

#include <csetjmp>
#include <exception>
#include <png.h>
#include <string>
#include <vector>

namespace dibprep::tool {

// What the library's handlers leave behind, reached through png_get_error_ptr.
struct PngTrouble {
    std::string error;
    std::vector<std::string> warnings;
    std::exception_ptr thrown; // by our own reading or writing
};

[[noreturn]] void OnPngError(png_structp png, png_const_charp message);
void OnPngWarning(png_structp png, png_const_charp message);

/*
 * Makes the calls; 0 where the library has given up. The jump skips the frames of `calls` and of the
 * library only, so what is made there must need no destructor.
 */
template <class Calls>
bool TryPng(png_structp png, const Calls& calls) {
    if (setjmp(png_jmpbuf(png)) != 0) // NOLINT(cert-err52-cpp): the way out of its C
        return false;
    calls();
    return true;
}

// Runs what may throw inside a callback of the library: the exception waits, and the library gives up.
template <class Work>
void GuardPng(png_structp png, const Work& work) {
    auto* trouble = static_cast<PngTrouble*>(png_get_error_ptr(png));
    try {
        work();
        return;
    } catch (...) {
        trouble->thrown = std::current_exception();
    }
    png_error(png, "stopped"); // outside the handler, which the jump would leave open
}

} // namespace dibprep::tool
