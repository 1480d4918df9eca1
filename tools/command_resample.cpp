// dibprep resample: a page at another resolution, through the resolution pipeline.
#include "dibprep.h"
#include "dibprep/hostlayer.h"
#include "tools/job.h"
#include "tools/page_convert.h"
#include "tools/progress.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <utility>

namespace dibprep::tool {

namespace {

// The pipeline counts rows and columns in 16 bits.
constexpr std::uint64_t LargestSide = 65535;
// It expands colour tables into rows whose length it keeps in 16 bits.
constexpr int WidestColourTable = 21844;
constexpr int WidestFourBitGray = 65532;

[[noreturn]] void Fail(const Job& job, int status) {
    ThrowIfStopped();
    switch (status) {
    case DIBPREP_NO_MEMORY:
        job.BeyondLimit("memory ran out. Use the 64-bit build, or a lower resolution.");
    case DIBPREP_NO_RESOLUTION:
        job.NoResolution();
    default:
        job.BadInput("the library declined the picture with status " + std::to_string(status) + ".");
    }
}

// The page in a form for which the pipeline builds rows.
Page Prepare(const Job& job, Page page) {
    if (page.Bits() > 32)
        job.BadInput("it has 16 bits per channel, which `resample` does not take. Use `dibprep rescale`, which keeps "
                     "them.");
    if (static_cast<std::uint64_t>(page.Width()) > LargestSide ||
        static_cast<std::uint64_t>(page.Height()) > LargestSide)
        job.BeyondLimit("`resample` takes pictures of up to 65535 pixels a side. Cut it into parts.");
    if (page.Bits() == 16 || page.Bits() == 32)
        return ToTrueColour(std::move(page));
    if (page.Bits() == 4 || page.Bits() == 8) {
        const bool gray = page.IsGray();
        const int widest = !gray ? WidestColourTable : page.Bits() == 4 ? WidestFourBitGray : page.Width();
        if (page.Width() > widest)
            job.BeyondLimit("`resample` takes pictures with this kind of colour table up to " + std::to_string(widest) +
                            " pixels wide. Use `dibprep rescale`, or bring it to 24 bits "
                            "with `dibprep convert --depth 24` first.");
    }
    return page;
}

void ResamplePage(Job& job, const Arguments& arguments) {
    Page page = Prepare(job, job.Read());
    job.RequireResolution(page);
    const auto dpi = static_cast<unsigned short>(arguments.Number("--dpi"));
    const std::uint64_t width =
        ScaledExtent(static_cast<unsigned>(page.Width()), dpi, DotsPerInch(page.PixelsPerMetreX()));
    const std::uint64_t height =
        ScaledExtent(static_cast<unsigned>(page.Height()), dpi, DotsPerInch(page.PixelsPerMetreY()));
    if (width > LargestSide || height > LargestSide)
        job.BeyondLimit("the result would have " + SizeText(width, height) +
                        "; `resample` makes up to 65535 a side. Ask for a lower resolution.");
    job.CheckResultSize(width, height);

    const bool twoColours = page.Bits() == 1;
    const TwoColours colours = twoColours ? SetBlackAndWhite(page) : TwoColours();

    // For a page with a colour table the library leaves a block behind; the scope frees it.
    dibhost::BlockScope scope;
    void* converted = nullptr;
    {
        const ProgressBar bar(job.InputName());
        const int status = ConvertResolution(page.handle(), &converted, ProgressBar::OnPercent, dpi,
                                             static_cast<int>(arguments.Number("--threshold")));
        if (status != DIBPREP_OK)
            Fail(job, status);
        if (!converted)
            Fail(job, DIBPREP_NO_MEMORY);
    }
    scope.Keep(converted);
    Page result = Page::Adopt(converted);
    scope.Close();
    if (twoColours)
        SetTwoColours(result, colours);
    else if (!(result.Bits() == 8 && result.IsGray()))
        result.TrimColours();
    // The reduction to a colour table records no resolution; the others record this one.
    result.SetResolution(PipelinePixelsPerMetre(dpi), PipelinePixelsPerMetre(dpi));
    job.Write(result);
}

void Run(const Arguments& arguments) {
    Job job(arguments);
    while (job.NextPage())
        ResamplePage(job, arguments);
}

} // namespace

Command ResampleCommand() {
    return {"resample",
            "change the resolution, keeping the kind of page",
            "Makes the same page at another resolution. 1 bit stays 1 bit, gray becomes 8-bit gray, a colour table "
            "becomes one of up to 256 colours, 24 bits stay; 16 and 32 bits become 24.",
            "dibprep resample page.bmp page200.bmp --dpi 200",
            {InputPositional(), OutputPositional()},
            {Required(Number("--dpi", 1, LargestDpi, "Wanted resolution in dots per inch.")),
             Number("--threshold", 0, 256, "1-bit pages: pixels less black than this (0 to 255) become white.", "128"),
             InputDpiOption(), MissingDpiOption(), PageOption(), FormatOption(), QualityOption(), MaxPixelsOption(),
             ForceOption()},
            Run};
}

} // namespace dibprep::tool
