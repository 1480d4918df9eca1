// Fuzz target: both size queries and both pre-conversions. Input: conditions (3 bytes; flag 5: the
// source is a file), transfer mode (1), dpi (2), the block or file.
#include "fuzz/file_in_memory.h"

namespace {

using namespace fuzz;

void PreConvert(const SourceBlock& source, unsigned int (*convert)(void*, void**)) {
    void* made = source.handle();
    const unsigned int answer = convert(source.handle(), &made);
    Require(answer == (made ? 1u : 0u), "a pre-conversion answers one thing and gives another");
    source.RequireUnchanged();
    RequireBalance(made ? 2 : 1);
    FreeBlock(made);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const auto mode = static_cast<unsigned short>(input.U8());
    const auto dpi = static_cast<unsigned short>(input.U16());
    const Bytes bytes = input.Rest();
    if (bytes.empty())
        return 0; // a block of no bytes is a promise of any size
    conditions.Prepare();
    const SourceBlock source(bytes);
    conditions.PlanFailures();

    if (conditions.Flag(5)) {
        const FileInMemory file(bytes);
        unsigned int wanted = 1;
        GetTransformImageMemorySize(static_cast<unsigned short>(mode | TRANSFER_SOURCE_FILE), file.Path(), dpi,
                                    &wanted);
        RequireBalance(1);
    } else {
        void* handle = source.handle();
        unsigned int wanted = 1;
        const auto memory = static_cast<unsigned short>(mode & ~TRANSFER_SOURCE_FILE);
        const unsigned int answer = GetTransformImageMemorySize(memory, &handle, dpi, &wanted);
        Require(answer == DIBPREP_OK || answer == DIBPREP_BAD_SOURCE || answer == DIBPREP_NO_RESOLUTION,
                "an undocumented status");
        Require(answer == DIBPREP_OK ? wanted >= 1078 : wanted == 0, "a size that does not go with its status");
        unsigned int most = 1;
        const unsigned int second = GetBufferSize(handle, dpi, &most);
        Require(second == DIBPREP_OK || (second == DIBPREP_LOCK_FAILED && most == 1), "GetBufferSize failed wrongly");
        Require(conditions.MayFail() || answer != DIBPREP_OK || second != DIBPREP_OK || most >= wanted,
                "the size for a whole conversion is below the transform's");
        source.RequireUnchanged();
        RequireBalance(1);
    }
    PreConvert(source, ConvertImage);
    PreConvert(source, ConvertImage2);
    testhost::Reset();
    return 0;
}
