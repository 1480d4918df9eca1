// Fuzz target: class CConvertResolution with rectangles and its public parts, on a DIB whose declared
// rows are there. Input: conditions (3 bytes; flag 5: a callback), call at which it stops (1), limits
// (1: which of them are changed), frame and output (8 x 2 bytes, or 8 x 4 with flag 6), the DIB.
#include "fuzz/progress.h"

#include <memory>

namespace {

using namespace fuzz;

tagRECT ReadRect(Input& input, bool wide) {
    const auto read = [&] { return wide ? input.I32() : input.I16(); };
    tagRECT rect;
    rect.left = read();
    rect.top = read();
    rect.right = read();
    rect.bottom = read();
    return rect;
}

// The limits are the process's: taken back at the end of every input.
class Limits {
public:
    explicit Limits(unsigned choice) {
        int* const limits[] = {&COLOR_MAX_VALUE,     &COLOR_MAX_VALUE16, &WHITE_POINT_VALUE,
                               &WHITE_POINT_VALUE16, &BLACK_POINT_VALUE, &BLACK_POINT_VALUE16};
        for (int i = 0; i < 6; ++i) {
            m_saved[i] = *limits[i];
            if (choice >> i & 1)
                *limits[i] = choice & 0x40 ? -1 - static_cast<int>(choice) * 977 : static_cast<int>(choice) * 331;
        }
    }
    ~Limits() {
        COLOR_MAX_VALUE = m_saved[0];
        COLOR_MAX_VALUE16 = m_saved[1];
        WHITE_POINT_VALUE = m_saved[2];
        WHITE_POINT_VALUE16 = m_saved[3];
        BLACK_POINT_VALUE = m_saved[4];
        BLACK_POINT_VALUE16 = m_saved[5];
    }
    Limits(const Limits&) = delete;
    Limits& operator=(const Limits&) = delete;

private:
    int m_saved[6];
};

void CallParts(CConvertResolution& resampler, std::uint8_t* dib, const tagRECT& frame) {
    resampler.GetPaletteSize(dib);
    resampler.GetBitsTop(dib);
    if (dibprep::LoadU16(dib + 14) == 0)
        return; // a view of such a DIB has no pixels per byte
    _tagDIBPARAM view;
    resampler.SetDIBParam(dib, view);
    resampler.GetBitsMask(view);
    const tagSIZE target = {frame.right, frame.bottom};
    if (target.cx < 1 || target.cy < 1)
        return;
    const tagSIZE unit = resampler.GetCoordUnit(view, target);
    const int count = target.cx < 4096 ? target.cx : 4096;
    const std::unique_ptr<_tagCOORDENTRY[]> columns(resampler.GetCoordTable(view, frame.left, unit.cx, count));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const unsigned stop = input.U8();
    const unsigned limitChoice = input.U8();
    const bool wide = conditions.Flag(6);
    const tagRECT frame = ReadRect(input, wide);
    const tagRECT output = ReadRect(input, wide);
    Bytes bytes = input.Rest();
    if (!Promise(bytes, PromisedToResampler))
        return 0;
    conditions.Prepare();
    PlacedBytes source(bytes, conditions.Side());
    const Limits limits(limitChoice);
    conditions.PlanFailures();

    CConvertResolution resampler;
    CallParts(resampler, source.data(), frame);
    PlanStop(stop);
    void* const result = resampler.BiLinear(source.data(), &frame, &output, conditions.Flag(5) ? Rows : nullptr);
    Require(result || resampler.m_nLastError != 0, "nothing made and no error told");
    RequireBalance(result ? 1 : 0);
    // A page as the resampler makes it, from a header and rows.
    void* const copy = resampler.CreateDIB(reinterpret_cast<const tagBITMAPINFO*>(source.data()), nullptr);
    Conditions::TakeFailuresBack();
    RequireBalance((result ? 1 : 0) + (copy ? 1 : 0));
    source.RequireUnchanged();
    testhost::Reset();
    return 0;
}
