// dibprep, the command-line host: exceptions become messages and exit codes.
#include "tools/cli.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

int main(int argc, char** argv) {
    using namespace dibprep::tool;
    CatchSignals();
    try {
        return RunCommandLine(argc, argv);
    } catch (const ToolError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return error.code();
    } catch (const Stopped&) {
        std::fprintf(stderr, "Stopped. No file was written.\n");
        return ExitSignalBase + StopSignal();
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "Memory ran out. Use the 64-bit build, or a smaller picture.\n");
        return ExitLimit;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dibprep: an unexpected failure: %s\n", error.what());
        return ExitLimit;
    }
}
