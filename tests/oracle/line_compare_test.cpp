// The line builders, called directly, against their slow second versions.
#include "dibprep.h"
#include "random_cases.h"
#include "random_pictures.h"
#include "transform_oracle.h"

#include <cstring>

namespace {

using namespace oracle;
using testhost::GuardedBuffer;

using Builder = void (CLinearTransformMem::*)(double, unsigned char*, unsigned char*, unsigned char*);

struct Kind {
    Line line;
    Builder builder;
    const char* name;
};

const Kind kinds[] = {
    {Line::BlackWhite, &CLinearTransformMem::MakeBWImageLine, "MakeBWImageLine"},
    {Line::Gray4, &CLinearTransformMem::Make4bitGrayImageLine, "Make4bitGrayImageLine"},
    {Line::Gray8, &CLinearTransformMem::Make8bitGrayImageLine, "Make8bitGrayImageLine"},
    {Line::ColourCube, &CLinearTransformMem::Make8bitPaletteColorImageLine, "Make8bitPaletteColorImageLine"},
    {Line::Triples, &CLinearTransformMem::MakeRGBColorImageLine, "MakeRGBColorImageLine"},
};

// Bytes that `pixels` pixels of a line take, in the source and in the output alike.
std::size_t LineBytes(Line line, unsigned pixels) {
    switch (line) {
    case Line::BlackWhite:
        return (pixels + 7) / 8;
    case Line::Gray4:
        return (pixels + 1) / 2;
    case Line::Triples:
        return 3 * std::size_t{pixels};
    default:
        return pixels;
    }
}

void Fill(GuardedBuffer& buffer, const Bytes& bytes) {
    if (!bytes.empty())
        std::memcpy(buffer.data(), bytes.data(), bytes.size());
}

Bytes Content(GuardedBuffer& buffer) { return Bytes(buffer.data(), buffer.data() + buffer.size()); }

// Vertical fractions are 0 to 1 in the transform; a caller's own may make the low 8 bits count.
double RandomVertical(Random& random) {
    return random.OneIn(6) ? random.Range(-3000, 3000) / 512.0 : RandomFraction(random);
}

// Columns as a host might set them: any two samples of the row, any fraction.
std::vector<Place> RandomColumns(Random& random, unsigned count, unsigned width) {
    std::vector<Place> columns(count);
    const unsigned lastByte = (width - 1) / 8;
    for (Place& place : columns) {
        place.x0 = Low16(random.Next() % width);
        place.x1 = Low16(random.Next() % width);
        place.byte0 = Low16(random.OneIn(8) ? random.Next() % (lastByte + 1) : place.x0 / 8u);
        place.byte1 = Low16(random.OneIn(8) ? random.Next() % (lastByte + 1) : place.x1 / 8u);
        place.fraction = RandomFraction(random);
    }
    return columns;
}

Table RandomTable(Random& random) {
    Table table;
    const bool white = random.OneIn(3);
    for (Entry& entry : table)
        entry = Entry{static_cast<std::uint8_t>(random.Next() >> 3), static_cast<std::uint8_t>(random.Next() >> 3),
                      static_cast<std::uint8_t>(random.Next() >> 3)};
    if (white)
        table[0].blue = 255;
    if (random.OneIn(4))
        for (Entry& entry : table)
            entry.red = entry.green = entry.blue = random.OneIn(2) ? 255 : 0;
    return table;
}

void CompareLine(Random& random, const Kind& kind) {
    const auto srcWidth = static_cast<unsigned short>(random.Range(1, random.OneIn(4) ? 4 : 90));
    const auto outWidth = static_cast<unsigned short>(random.Range(0, random.OneIn(4) ? 9 : 90));
    const double ratios[] = {1.0, 2.0 / 3.0, 1.0 / 49.0, 200.0 / 72.0, 65535.0, 7.0 / 300.0};
    const double ratioX =
        random.OneIn(2) ? ratios[random.Range(0, 5)] : static_cast<double>(random.Range(1, 900)) / random.Range(1, 900);
    SCOPED_TRACE(std::string(kind.name) + ", " + std::to_string(srcWidth) + " to " + std::to_string(outWidth) +
                 " columns, ratio " + std::to_string(ratioX));
    std::vector<Place> columns;
    if (kind.line == Line::BlackWhite && random.OneIn(2))
        columns = RandomColumns(random, outWidth, srcWidth);
    else
        for (unsigned x = 0; x < outWidth; ++x)
            columns.push_back(PlaceOf(x, ratioX, srcWidth));
    const Table table = RandomTable(random);
    const double fy = RandomVertical(random);
    const int threshold = RandomThreshold(random);
    const Bytes row0 = RandomBytes(random, LineBytes(kind.line, srcWidth));
    const Bytes row1 = RandomBytes(random, LineBytes(kind.line, srcWidth));
    const Bytes before =
        random.OneIn(2) ? Bytes(LineBytes(kind.line, outWidth)) : RandomBytes(random, LineBytes(kind.line, outWidth));

    CLinearTransformMem transform;
    transform.srcWidth = srcWidth;
    transform.outWidth = outWidth;
    transform.ratioX = ratioX;
    transform.threshold = threshold;
    for (std::size_t i = 0; i < 256; ++i)
        transform.sourcePalette[i] = tagRGBQUAD{table[i].blue, table[i].green, table[i].red, 0};
    for (const Place& place : columns)
        transform.positions.push_back(CPosition{place.fraction, place.x0, place.x1, place.byte0, place.byte1});
    Histogram histogram{};
    for (std::size_t i = 0; i < 256; ++i)
        histogram[i] = transform.grayHistogram[i] = random.OneIn(40) ? random.Next() : 0;

    Bytes expected = before;
    BuildLine(kind.line, LineInput{&table, &columns, Row{&row0, 0}, Row{&row1, 0}, fy, threshold}, expected, 0,
              histogram);
    GuardedBuffer first(row0.size());
    GuardedBuffer second(row1.size());
    GuardedBuffer out(before.size());
    Fill(first, row0);
    Fill(second, row1);
    Fill(out, before);
    (transform.*kind.builder)(fy, first.data(), second.data(), out.data());
    EXPECT_EQ(Difference(expected, Content(out)), "equal");
    for (std::size_t i = 0; i < 256; ++i)
        ASSERT_EQ(transform.grayHistogram[i], histogram[i]) << "histogram at " << i;
}

using LineCompare = RandomCaseTest;

TEST_F(LineCompare, BlackAndWhiteLinesAreTheSame) {
    ForEachCase(1500, 10, [](Random& random) { CompareLine(random, kinds[0]); });
}

TEST_F(LineCompare, FourBitGrayLinesAreTheSame) {
    ForEachCase(1500, 11, [](Random& random) { CompareLine(random, kinds[1]); });
}

TEST_F(LineCompare, EightBitGrayLinesAndTheirHistogramsAreTheSame) {
    ForEachCase(1500, 12, [](Random& random) { CompareLine(random, kinds[2]); });
}

TEST_F(LineCompare, ColourCubeLinesAreTheSame) {
    ForEachCase(1500, 13, [](Random& random) { CompareLine(random, kinds[3]); });
}

TEST_F(LineCompare, TripleLinesAreTheSame) {
    ForEachCase(1500, 14, [](Random& random) { CompareLine(random, kinds[4]); });
}

// Every byte value between every other at simple fractions, where products end on whole numbers.
TEST_F(LineCompare, EveryPairOfGrayLevelsMixesTheSameAtSimpleFractions) {
    Table table;
    for (std::size_t i = 0; i < 256; ++i)
        table[i].blue = static_cast<std::uint8_t>(i);
    for (const int pieces : {2, 3, 5, 7, 10, 49, 255}) {
        SCOPED_TRACE(std::to_string(pieces) + " output columns to a source column");
        const auto outWidth = static_cast<unsigned short>(pieces + 1);
        std::vector<Place> columns;
        for (unsigned x = 0; x < outWidth; ++x)
            columns.push_back(PlaceOf(x, pieces, 2));
        CLinearTransformMem transform;
        transform.srcWidth = 2;
        transform.outWidth = outWidth;
        transform.ratioX = pieces;
        for (std::size_t i = 0; i < 256; ++i)
            transform.sourcePalette[i].rgbBlue = static_cast<unsigned char>(i);
        Histogram unused{};
        for (int level = 0; level < 256; level += 3) {
            Bytes row0{static_cast<std::uint8_t>(level), 0};
            Bytes row1{0, static_cast<std::uint8_t>(255 - level)};
            for (int other = 0; other < 256; other += 5) {
                row0[1] = static_cast<std::uint8_t>(other);
                row1[0] = static_cast<std::uint8_t>(255 - other);
                const double fy = static_cast<double>(level % 8) / pieces;
                Bytes expected(outWidth);
                BuildLine(Line::Gray8, LineInput{&table, &columns, Row{&row0, 0}, Row{&row1, 0}, fy, 0}, expected, 0,
                          unused);
                Bytes out(outWidth);
                transform.Make8bitGrayImageLine(fy, row0.data(), row1.data(), out.data());
                ASSERT_EQ(Difference(expected, out), "equal") << level << " and " << other;
            }
        }
    }
}

} // namespace
