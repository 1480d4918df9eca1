// Fuzz target: the pipeline entry with any block. Input: conditions (3 bytes; flag 5: a callback),
// dpi (2), threshold (2, signed), call at which the callback stops (1), the block.
#include "fuzz/progress.h"

namespace {

using namespace fuzz;

// What the entry may leave behind: the 24-bit copy of a colour table, always; the 8-bit copy of
// 4-bit gray, where the result could not be had.
int MostIntermediates(const Bytes& dib) {
    const unsigned bits = U16At(dib, 14);
    return bits == 4 || bits == 8 ? 1 : 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const auto dpi = static_cast<unsigned short>(input.U16());
    const int threshold = input.I16();
    const unsigned stop = input.U8();
    const Bytes dib = input.Rest();
    if (dib.empty())
        return 0; // a block of no bytes is a promise of any size
    conditions.Prepare();
    const SourceBlock source(dib);

    unsigned int most = 0;
    const bool hasSize = GetBufferSize(source.handle(), dpi, &most) == DIBPREP_OK;
    if (U16At(dib, 14) == 1 && most > MostOneBitBytes)
        return 0;
    testhost::ResetCounters();
    conditions.PlanFailures();
    PlanStop(stop);
    void* result = source.handle(); // must be overwritten
    const int status =
        ConvertResolution(source.handle(), &result, conditions.Flag(5) ? Percent : nullptr, dpi, threshold);
    Conditions::TakeFailuresBack();

    Require(status == DIBPREP_OK || status == DIBPREP_ABORTED || status == DIBPREP_NO_MEMORY ||
                status == DIBPREP_BAD_SOURCE || status == DIBPREP_BAD_OUTPUT || status == DIBPREP_NO_RESOLUTION,
            "an undocumented status");
    Require(result != source.handle(), "the result is the source");
    Require(!result || status == DIBPREP_OK, "a failed call gave a result");
    if (result) {
        Require(testhost::IsLive(result), "the result is no block");
        Require(testhost::Size(result) >= 40, "the result has no room for a header");
        Require(!hasSize || testhost::Size(result) <= most, "the result is larger than the query said");
    }
    source.RequireUnchanged();
    const int left = testhost::LiveBlocks() - 1 - (result ? 1 : 0);
    Require(left >= 0 && left <= MostIntermediates(dib), "an undocumented block is left");
    RequireBalance(1 + (result ? 1 : 0) + left);
    testhost::Reset();
    return 0;
}
