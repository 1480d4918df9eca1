// Pages into PNM files.
#include "tools/page_rows.h"
#include "tools/pnm.h"

#include <string>

namespace dibprep::tool {

namespace {

class PnmWriter : public PageWriter {
public:
    explicit PnmWriter(OutputFile& file) : m_file(file) {}

    void Add(const Page& page) override {
        RowLimits limits;
        limits.tables = limits.alpha = false;
        PageRows rows(page, limits);
        const bool bitmap = rows.Kind() == RowKind::BlackAndWhite;
        std::string head = bitmap ? "P4" : rows.Samples() == 1 ? "P5" : "P6";
        head += '\n' + std::to_string(page.Width()) + ' ' + std::to_string(page.Height()) + '\n';
        if (!bitmap)
            head += rows.BitsPerSample() == 16 ? "65535\n" : "255\n";
        m_file.Write(head.data(), head.size());
        std::vector<unsigned char> row;
        for (int y = 0; y < page.Height(); ++y) {
            row = rows.Row(y);
            if (bitmap) // where a 1 is black
                Invert(row, page.Width());
            m_file.Write(row.data(), row.size());
        }
    }

private:
    static void Invert(std::vector<unsigned char>& row, int width) {
        for (unsigned char& byte : row)
            byte = static_cast<unsigned char>(~byte);
        if (width % 8 != 0)
            row.back() = static_cast<unsigned char>(row.back() & (0xFF00 >> width % 8));
    }

    OutputFile& m_file;
};

} // namespace

std::unique_ptr<PageWriter> CreatePnm(OutputFile& file, const WriteOptions&) {
    return std::make_unique<PnmWriter>(file);
}

} // namespace dibprep::tool
