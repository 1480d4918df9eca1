// dibprep convert and dibprep normalize: another depth, and the plain form of a file.
#include "dibprep.h"
#include "tools/bmp_reader.h"
#include "tools/job.h"
#include "tools/page_convert.h"

#include <cstring>
#include <utility>

namespace dibprep::tool {

namespace {

void ConvertPage(Job& job, const Arguments& arguments) {
    Page page = job.Read();
    if (page.Bits() > 32)
        job.BadInput("it has 16 bits per channel, which `convert` does not take.");
    // Only plain layouts go to the library: it scales masked channels by shifts, which leaves white
    // below 255, and its 16-bit conversion of masked 32-bit pixels repeats red in place of blue.
    if (!HasPlainLayout(page) || page.Masks().alpha != 0)
        page = ToTrueColour(std::move(page));
    void* converted = arguments.Text("--depth") == "16" ? ConvertTo16BPPDIB(page.dib()) : ConvertTo24BPPDIB(page.dib());
    if (!converted)
        job.BeyondLimit("memory ran out. Use the 64-bit build.");
    Page result = Page::Adopt(converted);
    result.SetResolution(page.PixelsPerMetreX(), page.PixelsPerMetreY());
    job.Write(result);
}

bool SamePixels(const Page& a, const Page& b) {
    return a.Width() == b.Width() && a.Height() == b.Height() && a.Bits() == b.Bits() &&
           std::memcmp(a.StoredRow(0), b.StoredRow(0), a.RowSize() * static_cast<unsigned>(a.Height())) == 0;
}

void CopyDetails(const Page& from, Page& to) {
    for (unsigned i = 0; i < FullTable(to.Bits()); ++i)
        to.SetColour(i, from.Colour(i));
    if (to.Bits() <= 8)
        to.SetColours(from.Colours());
    to.SetMasks(from.Masks());
    to.SetResolution(from.PixelsPerMetreX(), from.PixelsPerMetreY());
}

void NormalizePage(Job& job) {
    const Page page = job.Read();
    if (job.InputFormat().open != OpenBmp) {
        job.Write(page);
        return;
    }
    const BmpHeader header = ReadBmpHeader(job.Input(), job.MaxPixels());
    // The library turns and expands these; the others the tool's own reader has brought into form.
    const bool forLibrary =
        (header.topDown || header.IsRunLength()) && header.bits != 2 && header.bits != 48 && header.bits != 64;
    if (!forLibrary) {
        const bool changed =
            header.topDown || header.bits == 2 || job.ResultFormat().create != job.InputFormat().create;
        job.Write(page, changed ? "" : "the picture was in its plain form already.");
        return;
    }
    const Block stored = PackAsStored(job.Input(), header);
    // The library's normalisation leaves RLE4 to a call of its own.
    void* normal = header.compression == BI_RLE4 ? RestoreRLE4(stored.data()) : NormalizeDIB(stored.data());
    if (!normal)
        job.BeyondLimit("memory ran out. Use the 64-bit build.");
    Page result = Page::Adopt(normal);
    // What the library's normalisation does not carry over is the host's part.
    CopyDetails(page, result);
    if (SamePixels(result, page)) {
        job.Write(result);
        return;
    }
    // The library carries a run past the right edge into the next row, and an odd step of RLE4 half a
    // byte short; the reader clips and counts pixels, as viewers do.
    job.Write(page, "its run-length data step outside the rows; the picture is what viewers show.");
}

void RunConvert(const Arguments& arguments) {
    Job job(arguments);
    while (job.NextPage()) {
        if (arguments.Has("--depth"))
            ConvertPage(job, arguments);
        else
            NormalizePage(job);
    }
}

void RunNormalize(const Arguments& arguments) {
    Job job(arguments);
    while (job.NextPage())
        NormalizePage(job);
}

} // namespace

Command ConvertCommand() {
    return {"convert",
            "change the file format, or the depth to 24 or 16 bits",
            "Makes the same picture in the file format of OUT, as `normalize` does. With --depth it gets 24 bits per "
            "pixel (8 per channel) or 16 (5 per channel), and transparent pixels are laid on white.",
            "dibprep convert chart.bmp chart24.bmp --depth 24",
            {InputPositional(), OutputPositional()},
            {Choice("--depth", {"24", "16"}, "Bits per pixel of OUT; else those of IN."), InputDpiOption(),
             MissingDpiOption(), PageOption(), FormatOption(), QualityOption(), MaxPixelsOption(), ForceOption()},
            RunConvert};
}

Command NormalizeCommand() {
    return {"normalize",
            "expand run lengths and turn top-down rows",
            "Writes the same picture in plain form: no run-length compression, rows from the bottom up. Colour table, "
            "channel masks and resolution are kept.",
            "dibprep normalize rle.bmp plain.bmp",
            {InputPositional(), OutputPositional()},
            {InputDpiOption(), MissingDpiOption(), PageOption(), FormatOption(), QualityOption(), MaxPixelsOption(),
             ForceOption()},
            RunNormalize};
}

} // namespace dibprep::tool
