// Fuzz target: run-length expansion, orientation, normalisation and depth conversion of a DIB whose
// declared parts are there. Input: conditions (3 bytes), function (1), the DIB.
#include "fuzz/fuzz_input.h"

using namespace fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Function = void* (*)(unsigned char*);
    constexpr Function Functions[] = {RestoreRLE,   RestoreRLE8,       RestoreRLE4,      TopDownToBottomUp,
                                      NormalizeDIB, ConvertTo24BPPDIB, ConvertTo16BPPDIB};
    Input input(data, size);
    const Conditions conditions(input);
    const Function function = Functions[input.U8() % (sizeof Functions / sizeof *Functions)];
    Bytes bytes = input.Rest();
    if (!Promise(bytes, PromisedToUtilities))
        return 0;
    conditions.Prepare();
    PlacedBytes source(bytes, conditions.Side());
    conditions.PlanFailures();
    void* const result = function(source.data());
    Conditions::TakeFailuresBack();
    if (result)
        Require(testhost::Size(result) >= 40, "the result has no room for a header");
    source.RequireUnchanged();
    RequireBalance(result ? 1 : 0);
    testhost::Reset();
    return 0;
}
