// dibprep, the command-line host: exceptions become messages and exit codes.
#include "tools/cli.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <cstdio>

int main(int argc, char** argv) {
    using namespace dibprep::tool;
    CatchSignals();
    try {
        return RunCommandLine(argc, argv);
    } catch (...) {
        const Failure failure = CurrentFailure();
        std::fprintf(stderr, "%s\n", failure.message.c_str());
        return failure.code;
    }
}
