// A second pair of eyes for the tests of file formats, on libtiff and libjpeg directly.
//
//   format_probe make FOLDER   writes TIFF and JPEG files of kinds that the tool only reads, and beside each
//                              what it holds, as a PNM file: lossless kinds exactly, the others as smooth
//                              colours that a decoder may miss by a little
//   format_probe dump FILE     says as JSON what a TIFF or JPEG file holds
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <tiffio.h>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Width = 93;
constexpr int Height = 41;

void Fail(const std::string& what) {
    std::fprintf(stderr, "format_probe: %s\n", what.c_str());
    std::exit(1);
}

void Save(const std::string& path, const std::string& head, const Bytes& body) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(head.data(), 1, head.size(), file) != head.size() ||
        std::fwrite(body.data(), 1, body.size(), file) != body.size() || std::fclose(file) != 0)
        Fail(path);
}

std::string PnmHead(const char* magic, const char* largest) {
    return std::string(magic) + "\n" + std::to_string(Width) + " " + std::to_string(Height) + "\n" + largest;
}

bool IsBlack(int x, int y) { return (x * 3 + y * 5 + x * y / 4) % 11 < 4 || y % 16 == 7; }
int Smooth(int x, int y, int channel) { return channel == 0 ? x * 2 : channel == 1 ? 40 + y * 4 : 200 - x - y; }

Bytes BitRows(bool blackIsOne) {
    Bytes rows(static_cast<std::size_t>((Width + 7) / 8) * Height);
    for (int y = 0; y < Height; ++y)
        for (int x = 0; x < Width; ++x)
            if (IsBlack(x, y) == blackIsOne)
                rows[static_cast<std::size_t>(y * ((Width + 7) / 8) + x / 8)] |=
                    static_cast<unsigned char>(0x80 >> x % 8);
    return rows;
}

Bytes SmoothRows(int channels) {
    Bytes rows;
    for (int y = 0; y < Height; ++y)
        for (int x = 0; x < Width; ++x)
            for (int c = 0; c < channels; ++c)
                rows.push_back(static_cast<unsigned char>(Smooth(x, y, c)));
    return rows;
}

// What every TIFF file here has, and rows of `rows.size() / Height` bytes each.
void MakeTiff(const std::string& path, int bits, int samples, int photometric, int compression, Bytes rows,
              const std::function<void(TIFF*)>& more = {}, const char* mode = "w") {
    TIFF* tiff = TIFFOpen(path.c_str(), mode);
    if (!tiff)
        Fail(path);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, Width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, Height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 16);
    if (more)
        more(tiff);
    const std::size_t length = rows.size() / Height;
    for (std::uint32_t y = 0; y < Height; ++y)
        if (TIFFWriteScanline(tiff, &rows[y * length], y, 0) != 1)
            Fail(path);
    TIFFClose(tiff);
}

void MakeBilevel(const std::string& folder) {
    const struct {
        const char* name;
        int compression;
        std::uint32_t options;
    } kinds[] = {{"huffman", COMPRESSION_CCITTRLE, 0},
                 {"g3", COMPRESSION_CCITTFAX3, 0},
                 {"g3-2d", COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING | GROUP3OPT_FILLBITS},
                 {"g4", COMPRESSION_CCITTFAX4, 0},
                 {"lzw", COMPRESSION_LZW, 0},
                 {"deflate", COMPRESSION_ADOBE_DEFLATE, 0},
                 {"old-deflate", COMPRESSION_DEFLATE, 0},
                 {"packbits", COMPRESSION_PACKBITS, 0},
                 {"plain", COMPRESSION_NONE, 0}};
    for (const auto& kind : kinds)
        for (const int photometric : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK})
            for (const int fill : {FILLORDER_MSB2LSB, FILLORDER_LSB2MSB}) {
                const bool white = photometric == PHOTOMETRIC_MINISWHITE;
                const std::string name = folder + "/exact-" + kind.name + (white ? "-white" : "-black") +
                                         (fill == FILLORDER_LSB2MSB ? "-low" : "-high");
                MakeTiff(name + ".tif", 1, 1, photometric, kind.compression, BitRows(white), [&](TIFF* tiff) {
                    TIFFSetField(tiff, TIFFTAG_FILLORDER, fill);
                    if (kind.compression == COMPRESSION_CCITTFAX3)
                        TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, kind.options);
                    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 204.0);
                    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 98.0);
                });
                Save(name + ".pnm", PnmHead("P4", ""), BitRows(true));
            }
}

void MakeColours(const std::string& folder) {
    const auto exact = [&](const std::string& name, int bits, int samples, int compression, const Bytes& rows,
                           const std::string& head, const Bytes& expected, int predictor, const char* mode = "w") {
        MakeTiff(
            folder + "/exact-" + name + ".tif", bits, samples, samples == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB,
            compression, rows,
            [&](TIFF* tiff) {
                if (predictor != 1)
                    TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor);
            },
            mode);
        Save(folder + "/exact-" + name + ".pnm", head, expected);
    };
    const Bytes gray = SmoothRows(1);
    const Bytes colours = SmoothRows(3);
    Bytes native, wide; // 16 bits in the machine's order, and with the high byte first
    for (const unsigned char byte : colours) {
        const std::uint16_t word = static_cast<std::uint16_t>(byte * 256 + 255 - byte);
        unsigned char both[2];
        std::memcpy(both, &word, 2);
        native.insert(native.end(), both, both + 2);
        wide.push_back(byte);
        wide.push_back(static_cast<unsigned char>(255 - byte));
    }
    exact("gray-lzw", 8, 1, COMPRESSION_LZW, gray, PnmHead("P5", "255\n"), gray, 2);
    exact("gray-big", 8, 1, COMPRESSION_PACKBITS, gray, PnmHead("P5", "255\n"), gray, 1, "w8");
    exact("colours-lzw", 8, 3, COMPRESSION_LZW, colours, PnmHead("P6", "255\n"), colours, 1);
    exact("colours-deflate", 8, 3, COMPRESSION_ADOBE_DEFLATE, colours, PnmHead("P6", "255\n"), colours, 2);
    exact("words-lzw", 16, 3, COMPRESSION_LZW, native, PnmHead("P6", "65535\n"), wide, 2);
    exact("words-big-endian", 16, 3, COMPRESSION_ADOBE_DEFLATE, native, PnmHead("P6", "65535\n"), wide, 1, "wb");

    const auto near = [&](const std::string& name, int samples, int photometric, const Bytes& rows,
                          const std::string& head, const Bytes& expected, const std::function<void(TIFF*)>& more,
                          int compression) {
        MakeTiff(folder + "/near-" + name + ".tif", 8, samples, photometric, compression, rows, more);
        Save(folder + "/near-" + name + ".pnm", head, expected);
    };
    const auto quality = [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 98);
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    };
    near("jpeg-gray", 1, PHOTOMETRIC_MINISBLACK, gray, PnmHead("P5", "255\n"), gray, quality, COMPRESSION_JPEG);
    near("jpeg-colours", 3, PHOTOMETRIC_YCBCR, colours, PnmHead("P6", "255\n"), colours, quality, COMPRESSION_JPEG);
    near(
        "jpeg-rgb", 3, PHOTOMETRIC_RGB, colours, PnmHead("P6", "255\n"), colours,
        [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 98); }, COMPRESSION_JPEG);
    Bytes inks;
    for (std::size_t i = 0; i < colours.size(); i += 3) {
        for (std::size_t c = 0; c < 3; ++c)
            inks.push_back(static_cast<unsigned char>(255 - colours[i + c]));
        inks.push_back(0);
    }
    near("inks", 4, PHOTOMETRIC_SEPARATED, inks, PnmHead("P6", "255\n"), colours, {}, COMPRESSION_LZW);

    MakeTiff(folder + "/refused-float.tif", 32, 1, PHOTOMETRIC_MINISBLACK, COMPRESSION_NONE,
             Bytes(static_cast<std::size_t>(Width) * Height * 4),
             [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP); });
    MakeTiff(folder + "/refused-32-bits.tif", 32, 1, PHOTOMETRIC_MINISBLACK, COMPRESSION_NONE,
             Bytes(static_cast<std::size_t>(Width) * Height * 4));
    MakeTiff(folder + "/refused-signed.tif", 8, 1, PHOTOMETRIC_MINISBLACK, COMPRESSION_NONE, gray,
             [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT); });
    MakeTiff(folder + "/refused-inks-16.tif", 16, 5, PHOTOMETRIC_SEPARATED, COMPRESSION_NONE,
             Bytes(static_cast<std::size_t>(Width) * Height * 10));
}

void MakeJpeg(const std::string& path, int components, J_COLOR_SPACE space, const Bytes& rows, bool progressive) {
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        Fail(path);
    jpeg_stdio_dest(&info, file);
    info.image_width = Width;
    info.image_height = Height;
    info.input_components = components;
    info.in_color_space = space;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 98, TRUE);
    if (progressive)
        jpeg_simple_progression(&info);
    info.density_unit = 1;
    info.X_density = 300;
    info.Y_density = 200;
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < Height; ++y) {
        auto* row = const_cast<JSAMPLE*>(&rows[static_cast<std::size_t>(y * Width * components)]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::fclose(file);
}

void MakeJpegs(const std::string& folder) {
    const Bytes gray = SmoothRows(1);
    const Bytes colours = SmoothRows(3);
    for (const bool progressive : {false, true}) {
        const std::string more = progressive ? "-progressive" : "";
        MakeJpeg(folder + "/near-gray" + more + ".jpg", 1, JCS_GRAYSCALE, gray, progressive);
        Save(folder + "/near-gray" + more + ".pnm", PnmHead("P5", "255\n"), gray);
        MakeJpeg(folder + "/near-colours" + more + ".jpg", 3, JCS_RGB, colours, progressive);
        Save(folder + "/near-colours" + more + ".pnm", PnmHead("P6", "255\n"), colours);
    }
    Bytes inks; // with an Adobe marker: 255 is no ink
    for (std::size_t i = 0; i < colours.size(); i += 3) {
        inks.insert(inks.end(), &colours[i], &colours[i] + 3);
        inks.push_back(255);
    }
    MakeJpeg(folder + "/near-inks.jpg", 4, JCS_CMYK, inks, false);
    Save(folder + "/near-inks.pnm", PnmHead("P6", "255\n"), colours);
}

void DumpTiff(TIFF* tiff) {
    std::printf("[");
    bool first = true;
    do {
        std::uint32_t width = 0, height = 0, strip = 0;
        std::uint16_t bits = 0, samples = 0, photometric = 0, compression = 0, unit = 0, extra = 0;
        std::uint16_t* kinds = nullptr;
        float x = 0, y = 0;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetField(tiff, TIFFTAG_ROWSPERSTRIP, &strip);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
        TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extra, &kinds);
        TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x);
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y);
        std::printf("%s{\"width\":%u,\"height\":%u,\"bits\":%d,\"samples\":%d,\"photometric\":%d,\"compression\":%d,"
                    "\"unit\":%d,\"x\":%.9g,\"y\":%.9g,\"strip\":%u,\"alpha\":%d,\"palette\":[",
                    first ? "" : ",", width, height, bits, samples, photometric, compression, unit,
                    static_cast<double>(x), static_cast<double>(y), strip, extra > 0 ? kinds[0] : 0);
        first = false;
        std::uint16_t *red, *green, *blue;
        if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) != 0)
            for (int i = 0; i < 1 << bits; ++i)
                std::printf("%s[%d,%d,%d]", i == 0 ? "" : ",", red[i], green[i], blue[i]);
        std::printf("],\"rows\":[");
        Bytes row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
        for (std::uint32_t line = 0; line < height; ++line) {
            if (TIFFReadScanline(tiff, row.data(), line, 0) != 1)
                Fail("a row cannot be read");
            std::printf("%s\"", line == 0 ? "" : ",");
            for (const unsigned char byte : row)
                std::printf("%02x", byte);
            std::printf("\"");
        }
        std::printf("]}");
    } while (TIFFReadDirectory(tiff) != 0);
    std::printf("]\n");
}

void DumpJpeg(const std::string& path) {
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        Fail(path);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    std::printf(
        "{\"width\":%u,\"height\":%u,\"components\":%d,\"unit\":%d,\"x\":%d,\"y\":%d,\"sampling\":%d,\"jfif\":%d}\n",
        info.image_width, info.image_height, info.num_components, info.density_unit, info.X_density, info.Y_density,
        info.comp_info[0].h_samp_factor, info.saw_JFIF_marker);
    jpeg_destroy_decompress(&info);
    std::fclose(file);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        Fail("make FOLDER, or dump FILE");
    const std::string what = argv[1];
    TIFFSetWarningHandler(nullptr);
    if (what == "make") {
        MakeBilevel(argv[2]);
        MakeColours(argv[2]);
        MakeJpegs(argv[2]);
        return 0;
    }
    TIFFSetErrorHandler(nullptr);
    TIFF* tiff = TIFFOpen(argv[2], "r");
    if (tiff) {
        DumpTiff(tiff);
        TIFFClose(tiff);
    } else {
        DumpJpeg(argv[2]);
    }
    return 0;
}
