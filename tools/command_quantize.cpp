// dibprep quantize and dibprep palette: few colours, and the fixed ones.
#include "dibprep.h"
#include "tools/conversion.h"
#include "tools/job.h"
#include "tools/page_convert.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <cstdio>
#include <memory>
#include <utility>

namespace dibprep::tool {

namespace {

void QuantizePage(Job& job, const Arguments& arguments) {
    Page page = job.Read();
    if (page.Bits() > 32)
        job.BadInput("it has 16 bits per channel, which `quantize` does not take.");
    page = ToTrueColour(std::move(page));
    const auto colours = static_cast<unsigned short>(arguments.Number("--colors"));
    const auto depth = static_cast<unsigned short>(arguments.Number("--octree-depth"));
    // Some 10 kB, so not on the stack.
    const auto quantizer = std::make_unique<CNiGoRo2>(page.dib(), colours, depth, 0);
    void* reduced = quantizer->QuantizeBitmap(1, 0);
    if (!reduced)
        job.BeyondLimit("memory ran out. Use the 64-bit build, or a smaller --octree-depth.");
    Page result = Page::Adopt(reduced);
    result.TrimColours();
    result.SetResolution(page.PixelsPerMetreX(), page.PixelsPerMetreY());
    job.Write(result, "its colour table has " + std::to_string(result.Colours()) +
                          (result.Colours() == 1 ? " colour." : " colours."));
}

void RunQuantize(const Arguments& arguments) {
    Job job(arguments);
    while (job.NextPage())
        QuantizePage(job, arguments);
}

// The swatches: a grid of 7 rows of red by 35 columns of green and blue, and a row of the further
// colours, on white.
constexpr unsigned StaticColours = 256;
constexpr unsigned GridColumns = 35;
constexpr int Swatch = 28;
constexpr int Gap = 4;
constexpr int Pitch = Swatch + Gap;
constexpr unsigned White = 244; // its place in the static palette
constexpr std::uint32_t SwatchDpi = 96;

void DrawSwatch(Page& page, unsigned index, int column, int row) {
    for (int y = 0; y < Swatch; ++y) {
        unsigned char* at = page.Row(Gap + row * Pitch + y) + Gap + column * Pitch;
        for (int x = 0; x < Swatch; ++x)
            at[x] = static_cast<unsigned char>(index);
    }
}

void RunPalette(const Arguments& arguments) {
    OutputFile output(arguments.Text("OUT"), arguments.Has("--force"));
    CNiGoRo2::SetStaticColors();
    if (STATIC_COLOR.IsEmpty())
        throw ToolError(ExitLimit, "Memory ran out.");
    const int rows = static_cast<int>((StaticColours + GridColumns - 1) / GridColumns);
    Page page(Gap + GridColumns * Pitch, static_cast<std::uint64_t>(Gap + rows * Pitch), 8);
    for (unsigned i = 0; i < StaticColours; ++i) {
        const unsigned char* colour = &STATIC_COLOR[static_cast<int>(3 * i)];
        page.SetColour(i, {colour[2], colour[1], colour[0], 0});
    }
    STATIC_COLOR.UnLock();
    for (int y = 0; y < page.Height(); ++y)
        for (int x = 0; x < page.Width(); ++x)
            page.StoredRow(y)[x] = White;
    for (unsigned i = 0; i < StaticColours; ++i)
        DrawSwatch(page, i, static_cast<int>(i % GridColumns), static_cast<int>(i / GridColumns));
    page.SetResolution(PixelsPerMetre(SwatchDpi), PixelsPerMetre(SwatchDpi));
    // A picture that comes from no file is BMP unless something else is said.
    const std::unique_ptr<PageWriter> writer =
        WantedFormat(arguments, FormatTable().front()).create(output, WantedWriting(arguments));
    writer->Add(page);
    writer->Finish();
    output.Commit();
    std::fprintf(stderr, "%s: the 256 colours of the static palette, %s.\n", output.Name().c_str(),
                 PageText(FactsOf(page)).c_str());
}

} // namespace

Command QuantizeCommand() {
    return {"quantize",
            "reduce a picture to few colours",
            "Makes an 8-bit picture whose colour table holds the colours that stand for most pixels best. No "
            "dithering.",
            "dibprep quantize photo.bmp photo64.bmp --colors 64",
            {InputPositional(), OutputPositional()},
            {Required(Number("--colors", 1, 256, "Colours at most.")),
             Number("--octree-depth", 1, 8, "Bits per channel that tell colours apart; more take more memory.", "5"),
             InputDpiOption(), MissingDpiOption(), PageOption(), FormatOption(), QualityOption(), MaxPixelsOption(),
             ForceOption()},
            RunQuantize};
}

Command PaletteCommand() {
    return {"palette",
            "draw the static palette",
            "Writes a picture of the 256 colours that the library's static palette holds, in their order.",
            "dibprep palette colours.bmp",
            {OutputPositional()},
            {FormatOption(), QualityOption(), ForceOption()},
            RunPalette};
}

} // namespace dibprep::tool
