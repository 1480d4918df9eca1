// The entries that damaged pages go through, and the ceilings that are held around each call.

#include "tests/reliability/hostile.h"

#include "dibprep.h"
#include "tests/oracle/dib_oracle.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>

namespace hostile {

namespace {

constexpr std::size_t AtCompression = 16, AtImageSize = 20;
// No test needs a larger block, and a refused one shows that a header alone asked for it.
constexpr std::size_t MostBytes = std::size_t{64} << 20;
constexpr std::size_t MostFileBytes = 128 << 10;

double ProcessorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::uint64_t Extent(std::int64_t value) { return static_cast<std::uint64_t>(value < 0 ? -value : value); }

std::uint64_t RowBytes(std::uint64_t width, std::uint64_t bits) { return (width * bits + 31) / 32 * 4; }

// Pixels that a header declares, in whichever way it is read: rows of 32 or of 16 bits' worth, each
// at least a row's padding long.
std::uint64_t DeclaredPixels(const Bytes& page) {
    if (page.size() < 12)
        return 0;
    const auto area = [](std::uint64_t width, std::uint64_t height) { return (width + 4) * (height + 1); };
    const std::uint64_t low = area(testdib::U16(page, 4), testdib::U16(page, 8));
    const std::uint64_t core = area(testdib::U16(page, 4), testdib::U16(page, 6));
    const std::uint64_t whole = area(Extent(static_cast<std::int32_t>(testdib::U32(page, 4))),
                                     Extent(static_cast<std::int32_t>(testdib::U32(page, 8))));
    return std::max({low, core, whole});
}

// Bytes that a caller of the utilities provides: everything up to the last declared row, or up to 258
// bytes behind a run-length stream. 40 bytes are there.
std::uint64_t Provided(const Bytes& page, bool runLengths) {
    const std::uint64_t bits = oracle::BitCount(page);
    const std::uint64_t rows =
        oracle::BitsOffset(page) + 12 + Extent(oracle::Height(page)) * RowBytes(Extent(oracle::Width(page)), bits);
    const std::uint32_t code = oracle::HasInfoHeader(page) ? testdib::U32(page, AtCompression) : 0;
    const bool masks = code == 3 && (bits == 16 || bits == 32);
    const auto stream = std::max(static_cast<std::int32_t>(testdib::U32(page, AtImageSize)), 0);
    if (runLengths && code == 1 && bits == 8)
        return oracle::BitsOffset(page) + static_cast<std::uint64_t>(stream) + 258;
    return masks ? rows : rows - 12;
}

// What the quantiser reads: it takes the 32-bit fields whatever the size word says.
std::uint64_t ProvidedToQuantiser(const Bytes& page) {
    const std::uint64_t width = Extent(static_cast<std::int32_t>(testdib::U32(page, 4)));
    const std::uint64_t height = Extent(static_cast<std::int32_t>(testdib::U32(page, 8)));
    const std::uint64_t rows = oracle::BitsOffset(page) + height * RowBytes(width, testdib::U16(page, 14));
    return std::max(rows, Provided(page, false));
}

class Runner {
public:
    Runner(const Bytes& page, unsigned short dpi) : m_page(page), m_dpi(dpi) {}

    std::string Run() {
        Queries();
        Entry();
        Transforms();
        Resampler();
        PreConversions();
        if (m_page.size() >= 40) {
            Measures();
            Utilities();
            Quantiser();
            Converter();
        } else {
            m_answers += " . . . .";
        }
        testhost::Reset();
        return m_answers.substr(1);
    }

private:
    // A fresh memory layer that holds the page alone.
    void Fresh() {
        testhost::Reset();
        testhost::SetLargestBlock(MostBytes);
        m_source = testhost::MakeBlock(m_page);
        testhost::ResetCounters();
        m_started = ProcessorSeconds();
    }
    // After a call that made `made` blocks for its caller and left `left` more.
    void Check(const char* entry, std::uint64_t resultPixels, int made, int left = 0) {
        EXPECT_LE(ProcessorSeconds() - m_started, MostSeconds) << entry;
        const std::uint64_t ceiling = 65536 + 16 * (DeclaredPixels(m_page) + resultPixels);
        EXPECT_LE(testhost::PeakBytes() - m_page.size(), ceiling) << entry;
        EXPECT_EQ(testhost::LiveBlocks(), 1 + made + left) << entry;
        EXPECT_EQ(testhost::OutstandingLocks(), 0) << entry;
        EXPECT_EQ(testhost::BadCalls(), 0) << entry;
        EXPECT_TRUE(testhost::Bytes(m_source) == m_page) << entry << " changed its source";
    }
    void Answer(const std::string& word) { m_answers += " " + word; }
    void AnswerBlock(void* block) { Answer(block ? "+" : "-"); }

    // Pixels that the pipeline's result may have: extents keep 16 bits.
    std::uint64_t ResultPixels() const { return m_querySize; }

    void Queries() {
        Fresh();
        unsigned int size = 99;
        Answer(std::to_string(GetTransformImageMemorySize(TRANSFER_SOURCE_MEMORY, &m_source, m_dpi, &size)));
        m_querySize = size;
        Check("GetTransformImageMemorySize", 0, 0);
        Fresh();
        Answer(std::to_string(GetBufferSize(m_source, m_dpi, &size)));
        Check("GetBufferSize", 0, 0);
    }

    void Entry() {
        Fresh();
        void* result = this; // anything but 0
        const int status = ConvertResolution(m_source, &result, nullptr, m_dpi, 128);
        const int left = testhost::LiveBlocks() - 1 - (result ? 1 : 0);
        EXPECT_TRUE(left == 0 || left == 1) << "only the intermediate of a colour table may stay";
        EXPECT_TRUE(status == 0 || !result) << "a failed conversion hands out no block";
        Check("ConvertResolution", ResultPixels(), result ? 1 : 0, left);
        Answer(std::to_string(status) + "/" + std::to_string(left));
    }

    void Transforms() {
        Fresh();
        // Where the whole result cannot be had, a block without room for it.
        void* destination = testhost::MakeBlock(Bytes(std::clamp<std::size_t>(m_querySize, 8, 1 << 20)));
        Answer(std::to_string(LinearTransformMain(TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_MEMORY, &m_source,
                                                  &destination, nullptr, m_dpi, 128)));
        EXPECT_TRUE(testhost::IsLive(destination));
        Check("LinearTransformMain", ResultPixels() + (1 << 20), 1);
        Fresh();
        const std::string in = m_folder.Write("in.bmp", transformtest::AsFile(m_page));
        std::string out = m_folder.Path("out.bmp");
        // Every row costs a few calls of the system: long results are written from 8 bits alone.
        if (m_querySize > MostBytes || (m_querySize > MostFileBytes && testdib::U16(m_page, 14) != 8)) {
            Answer(".");
            return;
        }
        m_started = ProcessorSeconds();
        Answer(std::to_string(LinearTransformMain(TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_FILE, in.c_str(),
                                                  out.data(), nullptr, m_dpi, 128)));
        Check("LinearTransformMain of files", ResultPixels(), 0);
        EXPECT_EQ(m_folder.Read("in.bmp"), transformtest::AsFile(m_page));
    }

    void Resampler() {
        Fresh();
        unsigned short status = 0;
        const unsigned ppm = static_cast<unsigned>(m_dpi) * 10000 / 254;
        void* result = ConvertResolution2(m_source, ppm, ppm, &status);
        const std::size_t pixels = result ? testhost::Size(result) : 0;
        Check("ConvertResolution2", pixels, result ? 1 : 0);
        Answer((result ? "+" : "-") + std::to_string(status));
        Fresh();
        result = ConvertResolution2(m_source, 0, 0, &status);
        Check("ConvertResolution2 without a resolution", result ? testhost::Size(result) : 0, result ? 1 : 0);
    }

    void PreConversions() {
        for (const auto convert : {ConvertImage, ConvertImage2}) {
            Fresh();
            void* result = this;
            const unsigned made = convert(m_source, &result);
            EXPECT_EQ(made, result ? 1u : 0u);
            Check("ConvertImage", 0, static_cast<int>(made));
        }
    }

    // Header arithmetic: answers whatever the header says, and looks at nothing else.
    void Measures() {
        Fresh();
        testhost::GuardedBuffer header(40);
        std::copy_n(m_page.begin(), 40, header.data());
        EXPECT_EQ(DIBWidth(header.data()), oracle::Width(m_page));
        EXPECT_EQ(DIBHeight(header.data()), oracle::Height(m_page));
        EXPECT_EQ(DIBBitCount(header.data()), oracle::BitCount(m_page));
        EXPECT_EQ(DIBNumColors(header.data()), oracle::ColourCount(m_page));
        EXPECT_EQ(PaletteSize(header.data()), oracle::TableBytes(m_page));
        EXPECT_EQ(DIBSize(header.data()), oracle::WholeSize(m_page));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(DIBBits(header.data())),
                  reinterpret_cast<std::uintptr_t>(header.data()) +
                      static_cast<std::uintptr_t>(oracle::BitsOffset(m_page)));
        Check("header arithmetic", 0, 0);
    }

    void Utilities() {
        void* (*const functions[])(unsigned char*) = {NormalizeDIB, ConvertTo24BPPDIB, ConvertTo16BPPDIB};
        const bool there = Provided(m_page, true) <= m_page.size();
        // Without its bytes a page may still be handed in when its result cannot be had.
        constexpr std::size_t Refused = 65536;
        const std::uint64_t pixels = Extent(oracle::Width(m_page)) * Extent(oracle::Height(m_page));
        const bool huge = oracle::BitCount(m_page) * pixels / 8 > Refused && pixels > Refused;
        for (const auto function : functions) {
            Fresh();
            if (!there)
                testhost::SetLargestBlock(Refused);
            if (!there && !huge) {
                Answer(".");
                continue;
            }
            void* const result = function(testhost::Address(m_source));
            Check("a utility", 0, result ? 1 : 0);
            AnswerBlock(result);
        }
        if (!there)
            return;
        for (const auto function : {RestoreRLE, RestoreRLE8, RestoreRLE4, TopDownToBottomUp}) {
            Fresh();
            void* const result = function(testhost::Address(m_source));
            Check("a utility", 0, result ? 1 : 0);
        }
        if (oracle::BitsOffset(m_page) <= m_page.size()) {
            Fresh();
            CreateDIBPalette(testhost::Address(m_source));
            Check("CreateDIBPalette", 0, 0);
        }
    }

    void Quantiser() {
        Fresh();
        if (testdib::U16(m_page, 14) > 8 && ProvidedToQuantiser(m_page) > m_page.size()) {
            Answer(".");
            return;
        }
        const auto quantiser = std::make_unique<CNiGoRo2>(testhost::Address(m_source), 256, 5, 0);
        void* const result = quantiser->QuantizeBitmap(1, 0);
        Check("QuantizeBitmap", 0, result ? 1 : 0);
        AnswerBlock(result);
    }

    void Converter() {
        Fresh();
        std::vector<tagRGBQUAD> table(256);
        CImgConverter converter;
        converter.source = m_source;
        converter.header = reinterpret_cast<tagBITMAPINFOHEADER*>(testhost::Address(m_source));
        converter.colorTable = table.data();
        converter.bits = testhost::Address(m_source) + 40;
        void* gray = this;
        void* colour = this;
        EXPECT_EQ(converter.MakeGray256Image(gray), 0);
        Check("MakeGray256Image", 0, gray ? 1 : 0);
        EXPECT_EQ(converter.MakeFullColorImage(colour), 0);
        Check("MakeFullColorImage", 0, (gray ? 1 : 0) + (colour ? 1 : 0));
    }

    const Bytes& m_page;
    unsigned short m_dpi;
    void* m_source = nullptr;
    std::size_t m_querySize = 0;
    double m_started = 0;
    std::string m_answers;
    transformtest::TempFolder m_folder;
};

} // namespace

std::string Answers(const Bytes& page, unsigned short dpi) { return Runner(page, dpi).Run(); }

} // namespace hostile
