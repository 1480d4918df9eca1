// The colours of a device context's solid pens.
#include "dibprep/colour.h"

#include "dibprep/host.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr int PenObjects = 1;
constexpr unsigned int SolidStyle = 0;
constexpr int CannotEnumerate = -1;
constexpr int Continue = 1;
constexpr int ContinueKnownColour = 2;

} // namespace

// The two uses differ by decision: the count without an array takes every solid pen, so an array
// of that many entries always has room for the distinct colours that the second call stores.
int GetColorsCallback(void* pen, intptr_t state) {
    CBaseColorsState& found = *reinterpret_cast<CBaseColorsState*>(state);
    // The host owns the record and may keep it at any address.
    const auto* const record = static_cast<const unsigned char*>(pen);
    const bool isSolid = dibprep::LoadU32(record + offsetof(tagLOGPEN, lopnStyle)) == SolidStyle;

    if (found.colours) {
        const unsigned int colour = dibprep::LoadU32(record + offsetof(tagLOGPEN, lopnColor));
        unsigned int* const end = found.colours + found.count;
        // Any style: a dashed pen of a stored colour is a known colour too.
        if (std::find(found.colours, end, colour) != end)
            return ContinueKnownColour;
        if (isSolid)
            *end = colour;
    }
    if (isSolid)
        ++found.count;
    return Continue;
}

unsigned int GetBaseColors(void* dc, unsigned int* colours) {
    CBaseColorsState state{0, colours};
    const int answer = EnumObjects(dc, PenObjects, GetColorsCallback, reinterpret_cast<intptr_t>(&state));
    return answer == CannotEnumerate ? 0xFFFFFFFF : static_cast<unsigned int>(state.count);
}
