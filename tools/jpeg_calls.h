// Calls of libjpeg, whose errors jump: the jump is kept inside one function, and leaves as an exception.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <jpeglib.h>
#include <string>
#include <vector>

namespace dibprep::tool {

// The library's error manager, and what its handlers leave behind.
struct JpegTrouble {
    jpeg_error_mgr manager; // first: the library hands out its address
    std::jmp_buf jump;
    std::string error;
    std::vector<std::string> warnings;
    bool damaged = false;      // a warning that means lost pixels
    std::exception_ptr thrown; // by our own reading or writing
};

// Makes `trouble` the error manager; what jpeg_std_error gives is replaced where it would print or exit.
jpeg_error_mgr* BeginJpeg(JpegTrouble& trouble);
// Leaves the calls under way.
[[noreturn]] void JumpOut(jpeg_common_struct* common);

/*
 * Makes the calls; 0 where the library has given up. The jump skips the frames of `calls` and of the
 * library only, so what is made there must need no destructor.
 */
template <class Calls>
bool TryJpeg(JpegTrouble& trouble, const Calls& calls) {
    if (setjmp(trouble.jump) != 0) // NOLINT(cert-err52-cpp): the way out of its C
        return false;
    calls();
    return true;
}

// Runs what may throw inside a callback of the library: the exception waits, and the library gives up.
template <class Work>
void GuardJpeg(jpeg_common_struct* common, const Work& work) {
    auto* trouble = reinterpret_cast<JpegTrouble*>(common->err);
    try {
        work();
        return;
    } catch (...) {
        trouble->thrown = std::current_exception();
    }
    JumpOut(common); // outside the handler, which the jump would leave open
}

} // namespace dibprep::tool
