// Fuzz target: the tool's readers of picture files, whatever formats they know. Input: conditions (1
// byte; flag 6: what commands do with the page as well), the file.
//
// The decoders' own libraries are not instrumented: what is looked for is our use of them.
#include "fuzz/file_in_memory.h"

#include "tools/bmp_reader.h"
#include "tools/formats.h"
#include "tools/page_convert.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

using namespace fuzz;
using namespace dibprep::tool;

constexpr std::uint64_t MostPixels = std::uint64_t{1} << 18;
constexpr int MostPages = 4; // of a file; the others are read alike

// Every row and entry is read, as a writer would.
std::uint32_t SumOf(const Page& page) {
    std::uint32_t sum = page.IsGray() ? 1 : 0;
    for (int y = 0; y < page.Height(); ++y)
        for (std::size_t i = 0; i < page.RowSize(); ++i)
            sum = sum * 31 + page.Row(y)[i];
    for (unsigned i = 0; i < page.Colours(); ++i)
        sum += page.Colour(i).rgbBlue;
    return sum;
}

void UseAsCommandsDo(Page page, const InputFile& file) {
    page.TrimColours();
    if (page.Bits() == 1)
        SetTwoColours(page, SetBlackAndWhite(page));
    if (LooksLikeBmp(file.Head(16))) {
        const BmpHeader header = ReadBmpHeader(file, MostPixels);
        if ((header.topDown || header.IsRunLength()) && header.bits != 2 && header.bits <= 32) {
            const Block stored = PackAsStored(file, header);
            void* const normal =
                header.compression == BI_RLE4 ? RestoreRLE4(stored.data()) : NormalizeDIB(stored.data());
            if (normal)
                SumOf(Page::Adopt(normal));
        }
    }
    if (page.Bits() <= 32) {
        const Page colours = ToTrueColour(std::move(page));
        Require(colours.Bits() == 24, "a page in true colour has 24 bits");
        SumOf(colours);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned flags = input.U8();
    const FileInMemory stored(input.Rest());
    testhost::Reset();
    testhost::SetLargestBlock(8 * MostPixels + 4096);
    testhost::SetGuardedSide((flags & 1) != 0 ? testhost::Side::Start : testhost::Side::End);
    try {
        const InputFile file(stored.Path());
        const std::unique_ptr<PageReader> reader = FindFormat(file).open(file, MostPixels);
        Require(reader->PageCount() >= 1, "a file without pages");
        for (int i = 0; i < std::min(reader->PageCount(), MostPages); ++i) {
            const PageInfo info = reader->Describe(i);
            Page page = reader->Read(i);
            Require(page.Width() > 0 && page.Height() > 0, "a page without pixels");
            Require(info.width == static_cast<std::uint64_t>(page.Width()) &&
                        info.height == static_cast<std::uint64_t>(page.Height()) && info.pageBits == page.Bits(),
                    "a page is described as another");
            SumOf(page);
            if (flags & 0x40)
                UseAsCommandsDo(std::move(page), file);
        }
    } catch (const ToolError& error) {
        Require(error.code() == ExitBadInput || error.code() == ExitLimit, "a bad file is told as something else");
        Require(error.what()[0] != '\0', "a failure without a sentence");
    }
    Require(testhost::LiveBlocks() == 0 && testhost::BadCalls() == 0, "a block is left");
    return 0;
}
