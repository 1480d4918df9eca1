// File sources and destinations of the transform.
#include "tests/support/temp_folder.h"
#include "tests/transform/transform_support.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>

namespace {

using namespace transformtest;

constexpr unsigned short FileToFile = TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_FILE;
constexpr unsigned short FileToMemory = TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_MEMORY;
constexpr unsigned short MemoryToFile = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_FILE;

Bytes Pattern(Bytes dib) {
    for (std::size_t i = RowsOf(dib); i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(i * 37 + i / 7);
    return dib;
}

class TransformFile : public MemoryTest {
protected:
    unsigned ToFile(const Bytes& dib, unsigned short dpi = 100, int (*progress)(unsigned short) = nullptr) {
        void* source = testhost::MakeBlock(dib);
        std::string path = folder.Path("out.bmp");
        const unsigned status = LinearTransformMain(MemoryToFile, &source, path.data(), progress, dpi, 128);
        EXPECT_EQ(testhost::LiveBlocks(), 1);
        GlobalFree(source);
        return status;
    }
    unsigned FromFile(const Bytes& file, Bytes& out, unsigned short dpi = 100) {
        const std::string path = folder.Write("in.bmp", file);
        void* destination = testhost::MakeBlock(out);
        const unsigned status = LinearTransformMain(FileToMemory, path.c_str(), &destination, nullptr, dpi, 128);
        out = testhost::Bytes(destination);
        EXPECT_EQ(testhost::LiveBlocks(), 1);
        EXPECT_EQ(folder.Read("in.bmp"), file);
        GlobalFree(destination);
        return status;
    }
    // Header, table and rows as a memory destination of the same transform holds them.
    static Bytes InMemory(const Bytes& dib, unsigned short dpi, std::size_t bytes) {
        return Part(Transform(dib, dpi).out, 0, bytes);
    }
    TempFolder folder;
};

struct Kind {
    const char* name;
    Bytes dib;
    std::size_t table; // bytes of the table written
    std::size_t row;   // bytes of an output row at twice the resolution
};

std::vector<Kind> Kinds() {
    return {{"1 bit", Pattern(testdib::MakeDib(5, 3, 1, Ppm100, Ppm100)), 8, 4},
            {"4-bit gray", Pattern(GrayDib(5, 3, 4)), 64, 8},
            {"4-bit colour", Pattern(ColourTableDib(5, 3, 4)), 0, 8},
            {"8-bit gray", Pattern(GrayDib(5, 3, 8)), 1024, 12},
            {"8-bit colour table", Pattern(ColourTableDib(5, 3, 8)), 1016, 12},
            {"16 bits", Pattern(testdib::MakeDib(5, 3, 16, Ppm100, Ppm100)), 0, 20},
            {"24 bits", Pattern(testdib::MakeDib(5, 3, 24, Ppm100, Ppm100)), 0, 32},
            {"32 bits", Pattern(testdib::MakeDib(5, 3, 32, Ppm100, Ppm100)), 0, 40}};
}

TEST_F(TransformFile, DestinationHoldsFileHeaderTableAndAllRows) {
    for (const Kind& kind : Kinds()) {
        ASSERT_EQ(ToFile(kind.dib, 200), 0u) << kind.name;
        const Bytes file = folder.Read("out.bmp");
        const std::size_t dibBytes = 40 + kind.table + 6 * kind.row;
        ASSERT_EQ(file.size(), 14 + dibBytes) << kind.name;
        EXPECT_EQ(file[0], 'B');
        EXPECT_EQ(file[1], 'M');
        EXPECT_EQ(Part(file, 14, dibBytes), InMemory(kind.dib, 200, dibBytes)) << kind.name;
    }
}

TEST_F(TransformFile, KindsWithoutRowsGetZeroRows) {
    ASSERT_EQ(ToFile(Pattern(testdib::MakeDib(5, 3, 16, Ppm100, Ppm100))), 0u);
    const Bytes file = folder.Read("out.bmp");
    ASSERT_EQ(file.size(), 54u + 3u * 12u);
    EXPECT_EQ(Part(file, 54, 36), Bytes(36, 0));
}

TEST_F(TransformFile, ColourCubeRowsStartEightBytesBeforeTheDeclaredOffset) {
    ASSERT_EQ(ToFile(ColourTableDib(5, 3, 8)), 0u);
    const Bytes file = folder.Read("out.bmp");
    EXPECT_EQ(testdib::U32(file, 10), 1078u);
    EXPECT_EQ(file.size(), 54u + 1016u + 24u);
}

TEST_F(TransformFile, FileSizeFieldCountsColoursOnceAndRowsTo16Bits) {
    ASSERT_EQ(ToFile(GrayDib(5, 3, 8)), 0u);
    EXPECT_EQ(testdib::U32(folder.Read("out.bmp"), 2), 54u + 256u + 24u);
    ASSERT_EQ(ToFile(testdib::MakeDib(300, 300, 24, Ppm100, Ppm100)), 0u);
    EXPECT_EQ(testdib::U32(folder.Read("out.bmp"), 2), 7910u);
    EXPECT_EQ(folder.Read("out.bmp").size(), 270054u);
}

TEST_F(TransformFile, SourceGivesTheSameAsAMemoryBlock) {
    for (const Kind& kind : Kinds()) {
        Bytes out(40 + kind.table + 6 * kind.row);
        ASSERT_EQ(FromFile(AsFile(kind.dib), out, 200), 0u) << kind.name;
        EXPECT_EQ(out, InMemory(kind.dib, 200, out.size())) << kind.name;
    }
}

TEST_F(TransformFile, FileToFile) {
    for (const Kind& kind : Kinds()) {
        const std::string in = folder.Write("in.bmp", AsFile(kind.dib));
        std::string out = folder.Path("out.bmp");
        ASSERT_EQ(LinearTransformMain(FileToFile, in.c_str(), out.data(), nullptr, 50, 128), 0u) << kind.name;
        const Bytes file = folder.Read("out.bmp");
        EXPECT_EQ(Part(file, 14, file.size() - 14), InMemory(kind.dib, 50, file.size() - 14)) << kind.name;
    }
    EXPECT_EQ(testhost::LiveBlocks(), 0);
}

TEST_F(TransformFile, AFileWinsOverAHandleOnBothSides) {
    const std::string in = folder.Write("in.bmp", AsFile(Pattern(testdib::MakeDib(5, 3, 24, Ppm100, Ppm100))));
    std::string out = folder.Path("out.bmp");
    EXPECT_EQ(LinearTransformMain(1 | 2 | 16 | 32, in.c_str(), out.data(), nullptr, 100, 128), 0u);
    EXPECT_EQ(folder.Read("out.bmp").size(), 54u + 48u);
}

TEST_F(TransformFile, ThePixelOffsetOfASourceFileIsIgnored) {
    Bytes file = AsFile(Pattern(testdib::MakeDib(5, 3, 24, Ppm100, Ppm100)));
    testdib::PutU32(file, 10, 1000000);
    Bytes out(40 + 48);
    EXPECT_EQ(FromFile(file, out), 0u);
    EXPECT_EQ(Part(out, 40, 15), Part(file, 54, 15));
}

TEST_F(TransformFile, ShortSourceFilesAre5) {
    const Bytes file = AsFile(Pattern(GrayDib(4, 3, 8)));
    ASSERT_EQ(file.size(), 1078u + 12u);
    for (const std::size_t bytes : {0u, 13u, 14u, 53u, 54u, 1077u, 1078u, 1082u, 1089u}) {
        Bytes out(1064 + 12);
        EXPECT_EQ(FromFile(Part(file, 0, bytes), out), 5u) << bytes;
    }
    Bytes out(1064 + 12);
    EXPECT_EQ(FromFile(file, out), 0u);
}

TEST_F(TransformFile, KindsWithoutRowsNeedNoneInTheFile) {
    Bytes out(40);
    EXPECT_EQ(FromFile(Part(AsFile(testdib::MakeDib(4, 3, 32, Ppm100, Ppm100)), 0, 54), out), 0u);
}

TEST_F(TransformFile, MissingSourceIs5AndItsDestinationIsMadeAllTheSame) {
    std::string out = folder.Write("out.bmp", {1, 2, 3});
    EXPECT_EQ(LinearTransformMain(FileToFile, folder.Path("absent").c_str(), out.data(), nullptr, 100, 128), 5u);
    EXPECT_EQ(folder.Read("out.bmp"), Bytes{}) << "both sides are opened first: the old file is emptied";
}

TEST_F(TransformFile, NoResolutionIs11) {
    EXPECT_EQ(ToFile(GrayDib(4, 4, 8, 0)), 11u);
    Bytes out(2000);
    EXPECT_EQ(FromFile(AsFile(GrayDib(4, 4, 8, 0)), out), 11u);
    EXPECT_EQ(out, Bytes(2000, 0));
}

TEST_F(TransformFile, DestinationThatCannotBeMadeIs6) {
    void* source = testhost::MakeBlock(GrayDib(4, 4, 8));
    std::string path = folder.Path("absent/out.bmp");
    EXPECT_EQ(LinearTransformMain(MemoryToFile, &source, path.data(), nullptr, 100, 128), 6u);
    std::string itself = folder.Path("");
    EXPECT_EQ(LinearTransformMain(MemoryToFile, &source, itself.data(), nullptr, 100, 128), 6u) << "a folder";
}

// While it lives no file may grow beyond `bytes`: writes come out short.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit limit = m_old;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_old{};
    void (*m_handler)(int);
};

TEST_F(TransformFile, HeaderTableOrRowThatCannotBeWrittenIs6) {
    // 54 bytes of headers, 1024 of table, rows of 8 bytes.
    for (const unsigned bytes : {0u, 30u, 54u, 500u, 1077u, 1078u, 1082u, 1086u, 1101u}) {
        unsigned status = 0;
        {
            const FileSizeLimit limit(bytes);
            status = ToFile(Pattern(GrayDib(5, 3, 8)));
        }
        EXPECT_EQ(status, 6u) << bytes;
    }
    unsigned status = 1;
    {
        const FileSizeLimit limit(1102);
        status = ToFile(Pattern(GrayDib(5, 3, 8)));
    }
    EXPECT_EQ(status, 0u);
}

TEST_F(TransformFile, ZeroRowsThatCannotBeWrittenAre6Too) {
    unsigned status = 0;
    {
        const FileSizeLimit limit(60);
        status = ToFile(testdib::MakeDib(5, 3, 16, Ppm100, Ppm100));
    }
    EXPECT_EQ(status, 6u);
}

TEST_F(TransformFile, StoppingLeavesTheRowsSoFarInTheFile) {
    Recorder::Clear(1);
    EXPECT_EQ(ToFile(Pattern(testdib::MakeDib(5, 3, 24, Ppm100, Ppm100)), 100, Recorder::Report), 1u);
    EXPECT_EQ(Recorder::calls, (std::vector<int>{0}));
    const Bytes file = folder.Read("out.bmp");
    EXPECT_GE(file.size(), 54u + 16u);
    EXPECT_EQ(Part(file, 54, 15), Part(Pattern(testdib::MakeDib(5, 3, 24, Ppm100, Ppm100)), 40, 15));
}

TEST_F(TransformFile, ScratchFailuresAre2) {
    const std::string in = folder.Write("in.bmp", AsFile(GrayDib(4, 3, 8)));
    std::string out = folder.Path("out.bmp");
    for (int n = 1; n <= 2; ++n) {
        testhost::Reset();
        testhost::FailAllocation(n);
        EXPECT_EQ(LinearTransformMain(FileToFile, in.c_str(), out.data(), nullptr, 100, 128), 2u) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        testhost::Reset();
        testhost::FailLock(n);
        EXPECT_EQ(LinearTransformMain(FileToFile, in.c_str(), out.data(), nullptr, 100, 128), 2u) << n;
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
    }
}

TEST_F(TransformFile, FilesAreClosedAfterwards) {
    const auto openFiles = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const std::string in = folder.Write("in.bmp", AsFile(GrayDib(4, 3, 8)));
    const std::string broken = folder.Write("broken.bmp", Bytes(20));
    std::string out = folder.Path("out.bmp");
    const auto before = openFiles();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(LinearTransformMain(FileToFile, in.c_str(), out.data(), nullptr, 100, 128), 0u);
        EXPECT_EQ(LinearTransformMain(FileToFile, broken.c_str(), out.data(), nullptr, 100, 128), 5u);
        unsigned int size = 0;
        EXPECT_EQ(GetTransformImageMemorySize(1, broken.c_str(), 100, &size), 5u);
    }
    EXPECT_EQ(openFiles(), before);
}

} // namespace
