// Pages into TIFF files.
#include "tools/page_rows.h"
#include "tools/resolution.h"
#include "tools/tiff.h"
#include "tools/tiff_handle.h"

#include <array>
#include <utility>

namespace dibprep::tool {

namespace {

constexpr int DifferencesPredictor = 2;

// Whole dots per inch where both are, or else per centimetre, which says every whole pixel per metre.
void SetResolution(TIFF* tiff, const Page& page) {
    const std::int32_t x = page.PixelsPerMetreX();
    const std::int32_t y = page.PixelsPerMetreY();
    if (x <= 0 || y <= 0)
        return;
    const bool whole = WholeDpi(x) != 0 && WholeDpi(y) != 0;
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, whole ? RESUNIT_INCH : RESUNIT_CENTIMETER);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, whole ? static_cast<double>(WholeDpi(x)) : x / 100.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, whole ? static_cast<double>(WholeDpi(y)) : y / 100.0);
}

void SetColourMap(TIFF* tiff, const Page& page) {
    std::array<std::array<std::uint16_t, 256>, 3> map = {};
    for (unsigned i = 0; i < FullTable(page.Bits()); ++i) {
        const tagRGBQUAD colour = page.Colour(i);
        map[0][i] = static_cast<std::uint16_t>(colour.rgbRed * 257);
        map[1][i] = static_cast<std::uint16_t>(colour.rgbGreen * 257);
        map[2][i] = static_cast<std::uint16_t>(colour.rgbBlue * 257);
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
}

class TiffWriter : public PageWriter {
public:
    explicit TiffWriter(OutputFile& file) : m_tiff(file) {}

    void Add(const Page& page) override {
        PageRows rows(page, RowLimits());
        TIFF* tiff = m_tiff.get();
        const bool bilevel = rows.Kind() == RowKind::BlackAndWhite;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(page.Width()));
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(page.Height()));
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, rows.BitsPerSample());
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, rows.Samples());
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        SetResolution(tiff, page);
        if (rows.HasAlpha()) {
            std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
            TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
        }
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, Photometric(rows));
        if (rows.Kind() == RowKind::Table)
            SetColourMap(tiff, page);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, bilevel ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE);
        if (!bilevel && rows.Kind() != RowKind::Table && rows.BitsPerSample() >= 8)
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, DifferencesPredictor);
        // Fax programs want the whole page in one strip.
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP,
                     bilevel ? static_cast<std::uint32_t>(page.Height()) : TIFFDefaultStripSize(tiff, 0));
        WriteRows(page, rows, bilevel);
        m_tiff.Check(TIFFWriteDirectory(tiff) != 0);
    }

    void Finish() override { m_tiff.Finish(); }

private:
    static int Photometric(const PageRows& rows) {
        switch (rows.Kind()) {
        case RowKind::BlackAndWhite:
            return PHOTOMETRIC_MINISWHITE;
        case RowKind::Gray:
            return PHOTOMETRIC_MINISBLACK;
        case RowKind::Table:
            return PHOTOMETRIC_PALETTE;
        default:
            return PHOTOMETRIC_RGB;
        }
    }

    void WriteRows(const Page& page, PageRows& rows, bool bilevel) {
        std::vector<unsigned char> row;
        for (int y = 0; y < page.Height(); ++y) {
            row = rows.Row(y);
            if (bilevel) // where a 1 is black
                for (unsigned char& byte : row)
                    byte = static_cast<unsigned char>(~byte);
            if (rows.BitsPerSample() == 16) // in the machine's own order
                for (std::size_t i = 0; i < row.size(); i += 2)
                    std::swap(row[i], row[i + 1]);
            m_tiff.Check(TIFFWriteScanline(m_tiff.get(), row.data(), static_cast<std::uint32_t>(y), 0) > 0);
        }
    }

    TiffOutput m_tiff;
};

} // namespace

std::unique_ptr<PageWriter> CreateTiff(OutputFile& file, const WriteOptions&) {
    return std::make_unique<TiffWriter>(file);
}

} // namespace dibprep::tool
