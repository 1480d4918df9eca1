// Fuzz target: LinearTransformMain from a block or a file into a block or a file. Input: conditions (3
// bytes; flag 5: a callback), transfer mode (1), dpi (2), threshold (2), call at which the callback
// stops (1), size of the destination block (2; 65535: as the query says), the DIB, in front of which
// a file has 14 more bytes.
#include "fuzz/file_in_memory.h"
#include "fuzz/progress.h"

#include <memory>

using namespace fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const auto mode = static_cast<unsigned short>(input.U8());
    const auto dpi = static_cast<unsigned short>(input.U16());
    const int threshold = input.I16();
    const unsigned stop = input.U8();
    std::size_t room = input.U16() + 1u; // never a block of no bytes
    const Bytes bytes = input.Rest();
    if (bytes.empty())
        return 0; // a block of no bytes is a promise of any size
    conditions.Prepare();
    const SourceBlock source(bytes);
    const FileInMemory sourceFile((mode & TRANSFER_SOURCE_FILE) != 0 ? bytes : Bytes());
    void* sourceHandle = source.handle();
    const void* const from = (mode & TRANSFER_SOURCE_FILE) != 0 ? static_cast<const void*>(sourceFile.Path())
                                                                : static_cast<const void*>(&sourceHandle);

    unsigned int wanted = 0;
    const unsigned int answer = GetTransformImageMemorySize(mode, from, dpi, &wanted);
    const unsigned bits = U16At(bytes, (mode & TRANSFER_SOURCE_FILE) != 0 ? 28 : 14);
    if (answer == DIBPREP_OK && wanted > (bits == 1 ? MostOneBitBytes : std::uint64_t{LargestBlock}))
        return 0;
    if (room == 65536)
        room = wanted;
    const std::unique_ptr<FileInMemory> resultFile =
        (mode & TRANSFER_DESTINATION_FILE) != 0 ? std::make_unique<FileInMemory>(Bytes()) : nullptr;
    void* destination = testhost::MakeBlock(Bytes(room));
    void* const destinationBefore = destination;
    void* const to = resultFile ? const_cast<char*>(resultFile->Path()) : static_cast<void*>(&destination);

    testhost::ResetCounters();
    conditions.PlanFailures();
    PlanStop(stop);
    const unsigned int status =
        LinearTransformMain(mode, from, to, conditions.Flag(5) ? Percent : nullptr, dpi, threshold);
    Conditions::TakeFailuresBack();

    Require(status == DIBPREP_OK || status == DIBPREP_ABORTED || status == DIBPREP_NO_MEMORY ||
                status == DIBPREP_BAD_SOURCE || status == DIBPREP_BAD_OUTPUT || status == DIBPREP_NO_RESOLUTION,
            "an undocumented status");
    Require(destination == destinationBefore, "the handle of the destination was changed");
    source.RequireUnchanged();
    RequireBalance(2);
    testhost::Reset();
    return 0;
}
