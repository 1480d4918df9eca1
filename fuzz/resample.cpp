// Fuzz target: the resampler's entry with any block. Input: conditions (3 bytes), wanted resolutions (4
// and 4), the block.
#include "fuzz/fuzz_input.h"

using namespace fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const std::uint32_t xRes = input.U32();
    const std::uint32_t yRes = input.U32();
    const Bytes dib = input.Rest();
    if (dib.empty())
        return 0; // a block of no bytes is a promise of any size
    conditions.Prepare();
    const SourceBlock source(dib);
    conditions.PlanFailures();

    constexpr unsigned short Untouched = 0x5A5A;
    unsigned short status = Untouched;
    void* const result = ConvertResolution2(source.handle(), xRes, yRes, &status);
    Conditions::TakeFailuresBack();
    Require(status == Untouched || status == 2 || status == 3, "an undocumented status");
    Require(status != 2 || !result, "a block that cannot be locked gave a result");
    Require(result != source.handle(), "the result is the source");
    if (result)
        Require(testhost::Size(result) >= (status == 3 ? dib.size() : 40), "the result is too small");
    source.RequireUnchanged();
    RequireBalance(result ? 2 : 1);
    testhost::Reset();
    return 0;
}
