// The quantiser and the DIB utilities at whole pages.
#include "bench/works.h"

#include "dibprep.h"

#include <cstring>

namespace bench {

namespace {

constexpr int Dpi = 300;

Dib Colour() { return ColourPage(PageWidth, PageHeight, Dpi); }
Dib Photo() { return Photograph(PageWidth, PageHeight, Dpi); }

Dib TopDown(Dib dib) {
    const int height = -dib.height;
    std::memcpy(dib.bytes.data() + 8, &height, sizeof height);
    return dib;
}

// A utility that takes the address of a locked DIB.
void Utility(const char* name, const std::function<Page()>& page, void* (*convert)(unsigned char*), Job job) {
    Register(name, [page, convert, job] {
        return Conversion(
            page(), [convert](const Source& source) { return convert(source.address); }, job);
    });
}

Page Plain(Dib dib) { return {std::make_shared<Dib>(std::move(dib))}; }

Page Runs(Dib dib) {
    Page page = Plain(std::move(dib));
    page.runs = std::make_shared<Bytes>(RunLengthCoded(*page.dib));
    return page;
}

void* Quantise(unsigned char* dib) { return CNiGoRo2(dib, 256, 5, 0).QuantizeBitmap(1, 0); }

} // namespace

void RegisterUtilities() {
    Utility(
        "quantiser page", [] { return Plain(Colour()); }, Quantise, Job::Reduce);
    Utility(
        "quantiser photograph", [] { return Plain(Photo()); }, Quantise, Job::Reduce);
    Utility(
        "RLE8 text", [] { return Runs(TextPage(PageWidth, PageHeight, Dpi)); }, RestoreRLE8, Job::ExpandRuns);
    Utility(
        "RLE8 dithered", [] { return Runs(Dithered(Photo(), Dpi)); }, RestoreRLE8, Job::ExpandRuns);
    Utility(
        "flip 24 bit", [] { return Plain(TopDown(Photo())); }, TopDownToBottomUp, Job::Flip);
    Utility(
        "depth 32 to 24", [] { return Plain(Deeper(Photo(), Dpi)); }, ConvertTo24BPPDIB, Job::Convert);
    Utility(
        "depth 24 to 16", [] { return Plain(Photo()); }, ConvertTo16BPPDIB, Job::Convert);
    Utility(
        "depth 8 to 24", [] { return Plain(Dithered(Photo(), Dpi)); }, ConvertTo24BPPDIB, Job::Convert);
}

} // namespace bench
