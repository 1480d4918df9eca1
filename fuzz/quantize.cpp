// Fuzz target: the quantiser on a DIB whose declared rows are there. Input: conditions (3 bytes; flag 5:
// a second call), maximum (2), depth (1), mode (1), number of default colours (2) and where they are
// taken from (1), palette records in use without an octree (1), the DIB.
#include "fuzz/fuzz_input.h"

#include <algorithm>
#include <new>

namespace {

using namespace fuzz;

// 37449 nodes, 1 MB. Every further level takes eight times as much and shows nothing new.
constexpr unsigned DeepestTree = 5;
constexpr unsigned int Modes[] = {0, 0, 0, 666, 884, 775, 1};

void SetDefaultColours(CNiGoRo2& quantiser, unsigned count, unsigned start, const Bytes& bytes) {
    if (count == 0)
        return;
    quantiser.m_pDefaultColors = new tagRGBQUAD[count];
    quantiser.m_dwDefaultColors = count;
    for (unsigned i = 0; i < count; ++i) {
        const std::size_t at = (start + std::size_t{i} * 3) % bytes.size();
        quantiser.m_pDefaultColors[i] = tagRGBQUAD{bytes[at], bytes[(at + 1) % bytes.size()],
                                                   bytes[(at + 2) % bytes.size()], static_cast<unsigned char>(i)};
    }
}

// Without an octree the host brings the records.
void SetRecords(CNiGoRo2& quantiser, unsigned count, const Bytes& bytes) {
    quantiser.m_nColors = static_cast<int>(count);
    for (unsigned i = 0; i < count; ++i) {
        CColorTrans2& record = quantiser.m_Palette[i];
        record.m_rgb =
            tagRGBQUAD{bytes[i % bytes.size()], bytes[i * 7 % bytes.size()], bytes[i * 13 % bytes.size()], 0};
        record.m_dwCount = bytes[i * 5 % bytes.size()];
        record.m_byIndex = static_cast<unsigned char>(i);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const auto most = static_cast<unsigned short>(input.U16());
    unsigned depth = input.U8();
    // Depths that memory refuses are tried too, those in between are not.
    if (depth > DeepestTree && depth < 200)
        depth %= DeepestTree + 1;
    const unsigned mode = input.U8();
    const unsigned defaults = input.U16() % 1024;
    const unsigned start = input.U8();
    const unsigned records = input.U8();
    Bytes bytes = input.Rest();
    if (!Promise(bytes, PromisedToQuantiser))
        return 0;
    conditions.Prepare();
    PlacedBytes source(bytes, conditions.Side());
    conditions.PlanFailures();
    {
        CNiGoRo2 quantiser(source.data(), most, static_cast<unsigned short>(depth), 0);
        quantiser.m_dwMode = Modes[mode % (sizeof Modes / sizeof *Modes)];
        SetDefaultColours(quantiser, defaults, start, bytes);
        if (depth == 0)
            SetRecords(quantiser, records, bytes);
        for (int call = 0; call <= (conditions.Flag(5) ? 1 : 0); ++call) {
            void* const result = quantiser.QuantizeBitmap(1, 0);
            if (result)
                Require(testhost::Size(result) >= 40, "the result has no room for a header");
            RequireBalance(result ? 1 : 0);
            FreeBlock(result);
        }
        Require(quantiser.m_nColors >= 0 && quantiser.m_nColors <= 256, "more than 256 colours were made");
    }
    Conditions::TakeFailuresBack();
    source.RequireUnchanged();
    RequireBalance(0);
    testhost::Reset();
    return 0;
}
