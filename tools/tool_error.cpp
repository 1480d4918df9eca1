// How a failure reaches the person: its exit code and its sentence.
#include "tools/tool_error.h"

#include "tools/progress.h"

#include <new>

namespace dibprep::tool {

Failure CurrentFailure() {
    try {
        throw;
    } catch (const ToolError& error) {
        return {error.code(), error.what()};
    } catch (const Stopped&) {
        return {ExitSignalBase + StopSignal(), "Stopped. No file was written."};
    } catch (const std::bad_alloc&) {
        return {ExitLimit, "Memory ran out. Use the 64-bit build, or a smaller picture."};
    } catch (const std::exception& error) {
        return {ExitLimit, std::string("dibprep: an unexpected failure: ") + error.what()};
    }
}

} // namespace dibprep::tool
