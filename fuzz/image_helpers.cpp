// Fuzz target: the image buffers, the converter, the colours of pens and the gray functions. Input:
// conditions (3 bytes), class (1), stride (2), width and height of the buffer (1 and 1), a rectangle
// (4), colour (4), number of pens (1), then pixels and pens, which are also the converter's header.
#include "fuzz/fuzz_input.h"

#include "dibprep/hostlayer.h"

#include <algorithm>

namespace {

using namespace fuzz;

struct Picture {
    Bytes bytes;
    unsigned stride;
    unsigned width;
    unsigned height;
    CImgRect rect;
    std::uint32_t colour;
};

// A rectangle inside the picture, both ends included; or one that is empty.
CImgRect ReadRect(Input& input, unsigned width, unsigned height) {
    CImgRect rect;
    rect.firstRow = static_cast<unsigned short>(input.U8() % height);
    rect.lastRow = static_cast<unsigned short>(input.U8() % height);
    rect.firstColumn = static_cast<unsigned short>(input.U8() % width);
    rect.lastColumn = static_cast<unsigned short>(input.U8() % width);
    return rect;
}

template <class Image>
void Open(Image& image, std::uint8_t* data, const Picture& picture) {
    image.data = data;
    image.size = static_cast<unsigned int>(picture.bytes.size());
    image.stride = static_cast<unsigned short>(picture.stride);
}

template <class Image>
void UseGray(const Picture& picture, testhost::Side side, bool draws) {
    PlacedBytes pixels(picture.bytes, side);
    Image image;
    Open(image, pixels.data(), picture);
    const auto value = static_cast<unsigned char>(picture.colour);
    image.Draw(picture.rect, value);
    for (unsigned y = picture.rect.firstRow; y <= picture.rect.lastRow; ++y) {
        for (unsigned x = picture.rect.firstColumn; x <= picture.rect.lastColumn; ++x) {
            const auto column = static_cast<unsigned short>(x);
            const unsigned read = image.GetGrayScale(column, static_cast<unsigned short>(y));
            Require(read == (draws ? value : 0u), "a drawn gray is not read again");
            Require(image.GetGrayScale(pixels.data() + y * picture.stride, column) == read,
                    "a row and a picture read differently");
        }
    }
    image.Draw(picture.rect.lastColumn, picture.rect.lastRow, value);
}

template <class Image>
void UseColour(const Picture& picture, testhost::Side side) {
    PlacedBytes pixels(picture.bytes, side);
    Image image;
    Open(image, pixels.data(), picture);
    const tagRGBQUAD value = {GetBValue(picture.colour), GetGValue(picture.colour), GetRValue(picture.colour), 9};
    image.Draw(picture.rect, value);
    image.Draw(picture.rect.lastColumn, picture.rect.lastRow, value);
    const tagRGBQUAD read =
        image.GetRGBQUAD(pixels.data() + picture.rect.lastRow * picture.stride, picture.rect.lastColumn);
    Require(CompareRGB(read, picture.colour) == 1 && read.rgbReserved == 0, "a drawn colour is not read again");
    // Reading by coordinates counts y in bytes.
    image.GetRGBQUAD(picture.rect.lastColumn, static_cast<unsigned short>(picture.rect.lastRow * picture.stride));
}

void UseGrays(std::uint32_t colour) {
    for (const auto function : {ColorToMono16Easy, ColorToMono16MinMax, ColorToMono16})
        Require(GetRValue(function(colour)) % 17 == 0, "not one of 16 grays");
    for (const auto function : {ColorToMono256Easy, ColorToMono256MinMax, ColorToMono256}) {
        const unsigned int gray = function(colour);
        Require(gray == RGB(GetRValue(gray), GetRValue(gray), GetRValue(gray)), "not a gray");
    }
}

void UseConverter(const Bytes& bytes, const Conditions& conditions) {
    Bytes dib = bytes;
    Promise(dib, [](const Bytes& header) { // and the whole table of the depth
        const unsigned bits = U16At(header, 14);
        return std::uint64_t{40} + (bits == 4 || bits == 8 ? 4u << bits : 0);
    });
    PlacedBytes placed(dib, conditions.Side());
    CImgConverter converter;
    converter.header = reinterpret_cast<tagBITMAPINFOHEADER*>(placed.data());
    converter.colorTable = reinterpret_cast<tagRGBQUAD*>(placed.data() + 40);
    converter.bits = placed.data();
    conditions.PlanFailures();
    for (int full = 0; full < 2; ++full) {
        void* made = &converter;
        const int answer = full ? converter.MakeFullColorImage(made) : converter.MakeGray256Image(made);
        const unsigned int wanted = full ? converter.GetFullColorImageSize() : converter.GetGray256ImageSize();
        Require(answer == 0, "a converter that converts");
        Require(!made || testhost::Size(made) == wanted, "a block of another size than asked for");
        RequireBalance(made ? 1 : 0);
        FreeBlock(made);
    }
    Conditions::TakeFailuresBack();
    placed.RequireUnchanged();
}

void UsePens(Input& input, unsigned count) {
    void* const dc = dibhost_dc_create();
    for (unsigned i = 0; i < count; ++i) {
        tagLOGPEN pen = {};
        pen.lopnStyle = input.U8() % 3;
        pen.lopnColor = input.U16() & 0x0303; // few, so that they repeat
        dibhost_dc_add_pen(dc, &pen);
    }
    const unsigned int most = GetBaseColors(dc, nullptr);
    Require(most <= count, "more solid pens than pens");
    std::vector<unsigned int> colours(most);
    // An array is one even when nothing goes into it.
    unsigned int none = 0;
    const unsigned int different = GetBaseColors(dc, most != 0 ? colours.data() : &none);
    Require(different <= most, "more colours than solid pens");
    dibhost_dc_destroy(dc);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    const unsigned choice = input.U8() % 6;
    Picture picture;
    picture.stride = input.U16() % 1024;
    picture.width = input.U8() + 1;
    picture.height = input.U8() % 64 + 1;
    picture.rect = ReadRect(input, picture.width, picture.height);
    picture.colour = input.U32() & 0xFFFFFF;
    const unsigned pens = input.U8() % 64;
    const unsigned pixelBytes = choice < 2 ? 1 : 3;
    // Rows may overlap where the stride is short; the last pixel is there in any case.
    const std::size_t bytes = std::size_t{picture.stride} * (picture.height - 1) + picture.width * pixelBytes;
    picture.bytes.assign(bytes, 0x33);
    Input tail = input;
    const Bytes rest = input.Rest();
    std::copy_n(rest.begin(), std::min(rest.size(), picture.bytes.size()), picture.bytes.begin());
    conditions.Prepare();

    if (choice == 0)
        UseGray<CGray256Image>(picture, conditions.Side(), true);
    else if (choice == 1)
        UseGray<CGray16Image>(picture, conditions.Side(), false);
    else if (choice == 2)
        UseColour<CColor16Image>(picture, conditions.Side());
    else if (choice == 3)
        UseColour<CColor256Image>(picture, conditions.Side());
    else if (choice == 4)
        UseColour<CFullColorImage>(picture, conditions.Side());
    else
        UsePens(tail, pens);
    UseGrays(picture.colour);
    if (!rest.empty())
        UseConverter(rest, conditions);
    RequireBalance(0);
    return 0;
}
