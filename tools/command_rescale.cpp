// dibprep rescale: a page at another resolution, through the bilinear resampler.
#include "dibprep.h"
#include "tools/job.h"
#include "tools/page_convert.h"
#include "tools/progress.h"
#include "tools/resolution.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace dibprep::tool {

namespace {

// Positions of the resampler have 15 bits behind the point and 17 before, one of them the sign.
constexpr int LargestSide = 65535;
constexpr std::uint64_t LargestResultSide = 0x7FFFFFFF;

// What the library is loaded with.
const int StandardWhitePoint = WHITE_POINT_VALUE16;
const int StandardBlackPoint = BLACK_POINT_VALUE16;

[[noreturn]] void WrongValue(const std::string& option, const std::string& wanted, const std::string& given) {
    throw ToolError(ExitUsage, option + " wants " + wanted + ", not \"" + given + "\". See `dibprep rescale --help`.");
}

// A whole number at `at`, which moves behind it; -1 when there is none or it is too long.
std::int64_t TakeNumber(const std::string& text, std::size_t& at) {
    const std::size_t begin = at;
    std::int64_t value = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - begin < 10)
        value = value * 10 + (text[at++] - '0');
    return at == begin ? -1 : value;
}

struct Wanted {
    std::int32_t x;
    std::int32_t y; // pixels per metre
};

// "N" or "XxY" in dots per inch.
Wanted ParseDpi(const std::string& text) {
    std::size_t at = 0;
    const std::int64_t x = TakeNumber(text, at);
    std::int64_t y = x;
    if (at < text.size() && (text[at] == 'x' || text[at] == 'X')) {
        ++at;
        y = TakeNumber(text, at);
    }
    if (at != text.size() || x < 1 || y < 1 || x > LargestDpi || y > LargestDpi)
        WrongValue("--dpi", "a resolution such as 200 or 200x100, each from 1 to 65535", text);
    return {PixelsPerMetre(static_cast<std::uint32_t>(x)), PixelsPerMetre(static_cast<std::uint32_t>(y))};
}

// "X,Y,W,H" in pixels of the scaled page, whose size is given; cut to it.
tagRECT ParseCrop(const std::string& text, std::int32_t width, std::int32_t height) {
    std::array<std::int64_t, 4> numbers;
    std::size_t at = 0;
    bool good = true;
    for (std::size_t i = 0; i < numbers.size() && good; ++i) {
        good = i == 0 || (at < text.size() && text[at++] == ',');
        numbers[i] = good ? TakeNumber(text, at) : -1;
        good = numbers[i] >= 0;
    }
    if (!good || at != text.size() || numbers[2] == 0 || numbers[3] == 0)
        WrongValue("--crop", "left, top, width and height in pixels, such as 0,0,800,600", text);
    const std::int64_t right = std::min<std::int64_t>(numbers[0] + numbers[2], width);
    const std::int64_t bottom = std::min<std::int64_t>(numbers[1] + numbers[3], height);
    if (numbers[0] >= right || numbers[1] >= bottom)
        throw ToolError(ExitUsage, "dibprep rescale: --crop " + text + " lies outside the scaled page, which has " +
                                       SizeText(static_cast<unsigned>(width), static_cast<unsigned>(height)) + ".");
    tagRECT rect;
    SetRect(&rect, static_cast<int>(numbers[0]), static_cast<int>(numbers[1]), static_cast<int>(right),
            static_cast<int>(bottom));
    return rect;
}

// The page in a form that the resampler reads as it is meant. 16 bits become 24 here: the library's
// 16-bit kernel takes its lower neighbours from the same row, so it softens pages sideways only.
Page Prepare(Page page) {
    if (page.Bits() == 16 || (page.Bits() == 32 && !HasPlainLayout(page) && page.Masks().alpha == 0))
        return ToTrueColour(std::move(page));
    return ToPlain32(std::move(page));
}

void RescalePage(Job& job, const Arguments& arguments, Wanted wanted) {
    const Page page = Prepare(job.Read());
    const std::int32_t x = page.PixelsPerMetreX();
    const std::int32_t y = page.PixelsPerMetreY();
    if (x <= 0 || y <= 0)
        job.NoResolution();
    if (page.Width() > LargestSide || page.Height() > LargestSide)
        job.BeyondLimit("`rescale` takes pictures of up to 65535 pixels a side. Cut it into parts.");
    if (wanted.x == 0)
        wanted.x = wanted.y = std::max(x, y);
    const auto scaled = [](int extent, std::int32_t to, std::int32_t from) {
        return ScaledExtent(static_cast<unsigned>(extent), static_cast<unsigned>(to), static_cast<unsigned>(from));
    };
    const std::uint64_t width = scaled(page.Width(), wanted.x, x);
    const std::uint64_t height = scaled(page.Height(), wanted.y, y);
    if (width > LargestResultSide || height > LargestResultSide)
        job.BeyondLimit("the result would have " + SizeText(width, height) + ". Ask for a lower resolution.");

    if (width == 0 || height == 0)
        job.CheckResultSize(width, height);
    tagRECT frame;
    SetRect(&frame, 0, 0, static_cast<int>(width), static_cast<int>(height));
    const tagRECT part =
        arguments.Has("--crop") ? ParseCrop(arguments.Text("--crop"), frame.right, frame.bottom) : frame;
    job.CheckResultSize(static_cast<unsigned>(part.right - part.left), static_cast<unsigned>(part.bottom - part.top));

    // The fourth channel of such a page uses all 16 bits; a BMP file's stays within the library's standard.
    WHITE_POINT_VALUE16 = page.FullRange() ? 32767 : StandardWhitePoint;
    BLACK_POINT_VALUE16 = page.FullRange() ? -32768 : StandardBlackPoint;
    CConvertResolution resampler;
    void* scaledPage;
    {
        const ProgressBar bar(job.InputName());
        scaledPage = resampler.BiLinear(page.dib(), &frame, &part, ProgressBar::OnRows);
    }
    if (!scaledPage) {
        ThrowIfStopped();
        if (resampler.m_nLastError == -1)
            job.BeyondLimit("memory ran out. Use the 64-bit build, or a lower resolution.");
        job.BadInput("the library declined the picture with error " + std::to_string(resampler.m_nLastError) + ".");
    }
    Page result = Page::Adopt(scaledPage);
    result.SetResolution(wanted.x, wanted.y);
    if (result.Bits() == 32)
        result.SetMasks(page.Masks());
    result.SetFullRange(page.FullRange());
    job.Write(result);
}

void Run(const Arguments& arguments) {
    if (arguments.Has("--dpi") == arguments.Has("--square"))
        throw ToolError(ExitUsage, "dibprep rescale: give either --dpi or --square. See `dibprep rescale --help`.");
    const Wanted wanted = arguments.Has("--dpi") ? ParseDpi(arguments.Text("--dpi")) : Wanted{0, 0};
    Job job(arguments);
    while (job.NextPage())
        RescalePage(job, arguments, wanted);
}

} // namespace

Command RescaleCommand() {
    return {"rescale",
            "change the resolution in true colour, or make pixels square",
            "Makes the same page at another resolution with its corners kept in place. The result has 24 bits, or 32, "
            "48 or 64 where the page has. --square makes the pixels square at the page's finer resolution.",
            "dibprep rescale fax.bmp page.bmp --dpi 200x200 --crop 0,0,1653,1169",
            {InputPositional(), OutputPositional()},
            {Text("--dpi", "N|XxY", "Wanted resolution in dots per inch."),
             Flag("--square", "Square pixels at the finer of the page's two resolutions."),
             Text("--crop", "X,Y,W,H", "Make only this part of the scaled page, in its pixels from the top left."),
             InputDpiOption(), MissingDpiOption(), PageOption(), FormatOption(), QualityOption(), MaxPixelsOption(),
             ForceOption()},
            Run};
}

} // namespace dibprep::tool
