// LinearTransformMain and the transform class, over memory blocks, files and plain addresses, against
// the slow second version.
#include "dibprep.h"
#include "pipeline_oracle.h"
#include "progress_recorder.h"
#include "random_cases.h"
#include "random_pictures.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace oracle;

// A folder of its own that goes away with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path(testing::TempDir() + "dibprep_compare_XXXXXX") {
        if (!mkdtemp(m_path.data()))
            ADD_FAILURE() << "cannot make " << m_path;
    }
    ~TemporaryFolder() {
        unlink(In().c_str());
        unlink(Out().c_str());
        rmdir(m_path.c_str());
    }
    std::string In() const { return m_path + "/in.bmp"; }
    std::string Out() const { return m_path + "/out.bmp"; }

private:
    std::string m_path;
};

void WriteFileBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good()) << path;
}

// A new file each time: file systems flush a file that was cut to nothing and written anew.
void MakeFile(const std::string& path, const Bytes& bytes) {
    unlink(path.c_str());
    WriteFileBytes(path, bytes);
}

Bytes ReadFileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::uint32_t QueriedSize(const Bytes& dib, std::uint16_t dpi) {
    return TransformSize(Store{true, false, dib}, dpi).size;
}

// A destination as a host makes it from the size query, of the exact size, or too small.
Bytes RandomDestination(Random& random, const Bytes& dib, std::uint16_t dpi, bool zeroed) {
    const std::uint32_t queried = QueriedSize(dib, dpi);
    std::size_t size = queried;
    if (random.OneIn(4))
        size = std::max<std::size_t>(1, RandomCut(random, queried));
    return zeroed || random.OneIn(3) ? Bytes(size) : RandomBytes(random, size);
}

std::string Describe(const TransformJob& job) {
    const Bytes& bytes = job.source.bytes;
    const std::size_t dib = job.source.isFile ? 14 : 0;
    std::string text = std::string(job.source.isFile ? "file" : "block") + " of " + std::to_string(bytes.size()) +
                       " bytes to " + (job.destination.isFile ? "file" : "block") + " of " +
                       std::to_string(job.destination.bytes.size()) + " bytes, " + std::to_string(job.dpi) +
                       " dpi, threshold " + std::to_string(job.threshold) + ", stop at call " +
                       std::to_string(job.stopAtCall);
    if (bytes.size() >= dib + 40)
        text += ", " + std::to_string(testdib::U32(bytes, dib + 4)) + " x " +
                std::to_string(testdib::U32(bytes, dib + 8)) + " of " + std::to_string(testdib::U16(bytes, dib + 14)) +
                " bits";
    return text;
}

void CompareLayout(const Layout& expected, const CLinearTransformMem& actual) {
    EXPECT_EQ(actual.srcBitsOffset, expected.srcBitsOffset);
    EXPECT_EQ(actual.srcDpiX, expected.srcDpiX);
    EXPECT_EQ(actual.srcDpiY, expected.srcDpiY);
    EXPECT_EQ(actual.srcStride, expected.srcStride);
    EXPECT_EQ(actual.srcWidth, expected.srcWidth);
    EXPECT_EQ(actual.srcHeight, expected.srcHeight);
    EXPECT_EQ(actual.srcBitCount, expected.srcBitCount);
    EXPECT_EQ(actual.kind, expected.kind);
    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_EQ(actual.sourcePalette[i].rgbBlue, expected.table[i].blue) << i;
        ASSERT_EQ(actual.sourcePalette[i].rgbGreen, expected.table[i].green) << i;
        ASSERT_EQ(actual.sourcePalette[i].rgbRed, expected.table[i].red) << i;
        ASSERT_EQ(actual.sourcePalette[i].rgbReserved, 0) << i;
    }
}

void CompareOutputSide(const TransformJob& job, const Layout& expected, const CLinearTransformMem& actual) {
    EXPECT_EQ(actual.outWidth, expected.outWidth);
    EXPECT_EQ(actual.outHeight, expected.outHeight);
    EXPECT_EQ(actual.outStride, expected.outStride);
    EXPECT_EQ(actual.outBitCount, expected.srcBitCount);
    EXPECT_EQ(actual.outKind, expected.kind);
    EXPECT_EQ(actual.outBitsOffset, expected.outBitsOffset);
    EXPECT_EQ(actual.outDpiX, job.dpi);
    EXPECT_EQ(actual.outDpiY, job.dpi);
    EXPECT_EQ(actual.ratioX, expected.ratioX);
    EXPECT_EQ(actual.ratioY, expected.ratioY);
    ASSERT_EQ(actual.positions.size(), expected.columns.size());
    for (std::size_t x = 0; x < expected.columns.size(); ++x) {
        ASSERT_EQ(actual.positions[x].fraction, expected.columns[x].fraction) << x;
        ASSERT_EQ(actual.positions[x].x0, expected.columns[x].x0) << x;
        ASSERT_EQ(actual.positions[x].x1, expected.columns[x].x1) << x;
        ASSERT_EQ(actual.positions[x].byte0, expected.columns[x].byte0) << x;
        ASSERT_EQ(actual.positions[x].byte1, expected.columns[x].byte1) << x;
    }
    for (std::size_t i = 0; i < 256; ++i)
        ASSERT_EQ(actual.grayHistogram[i], expected.histogram[i]) << "histogram at " << i;
    Bytes header(54);
    CLinearTransformMem copy;
    copy.outWidth = actual.outWidth;
    copy.outHeight = actual.outHeight;
    copy.outStride = actual.outStride;
    copy.outBitCount = actual.outBitCount;
    copy.outDpiX = actual.outDpiX;
    copy.outDpiY = actual.outDpiY;
    copy.SetOutputBitmapInfoHeader(header.data(), 1);
    EXPECT_EQ(Difference(OutputHeader(expected, job.dpi, true), header), "equal") << "in the file header";
}

using TransformCompare = RandomCaseTest;

TEST_F(TransformCompare, BlocksTransformIntoPrefilledAndShortBlocksAlike) {
    ForEachCase(1200, 20, [](Random& random) {
        TransformJob job;
        job.source.bytes = RandomPicture(random, {Look::Any, 50, 50}).dib;
        job.dpi = RandomDpi(random, job.source.bytes, 30000);
        if (QueriedSize(job.source.bytes, job.dpi) > 30000)
            job.dpi = 1;
        job.destination.bytes = RandomDestination(random, job.source.bytes, job.dpi, false);
        job.threshold = RandomThreshold(random);
        job.stopAtCall = RandomStop(random);
        if (random.OneIn(5))
            job.source.bytes.resize(std::max<std::size_t>(1, RandomCut(random, job.source.bytes.size())));
        const int refused = random.OneIn(10) ? random.Range(1, 2) : 0;
        SCOPED_TRACE(Describe(job));
        Memory memory(refused);
        const TransformResult expected = Transform(job, memory);

        testhost::Reset();
        void* source = testhost::MakeBlock(job.source.bytes);
        void* destination = testhost::MakeBlock(job.destination.bytes);
        testhost::ResetCounters();
        testhost::FailAllocation(refused);
        const unsigned status =
            LinearTransformMain(34, &source, &destination, StartRecording(job.stopAtCall), job.dpi, job.threshold);
        EXPECT_EQ(status, expected.status);
        EXPECT_EQ(progressRecorder.percents, expected.percents);
        EXPECT_EQ(testhost::Allocations(), memory.Asked());
        EXPECT_EQ(testhost::LiveBlocks(), 2);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        EXPECT_EQ(Difference(expected.destination, testhost::Bytes(destination)), "equal");
    });
}

TEST_F(TransformCompare, InertAndMissingSidesAnswerTheSame) {
    for (const bool sourceMissing : {false, true})
        for (const bool destinationMissing : {false, true})
            for (const bool inert : {false, true}) {
                TransformJob job;
                job.source.bytes = testdib::MakeDib(9, 4, 24);
                job.destination.bytes.resize(2000);
                job.dpi = 200;
                job.source.usable = !sourceMissing;
                job.destination.usable = !destinationMissing;
                Memory memory;
                const TransformResult expected = Transform(job, memory);
                testhost::Reset();
                void* source = sourceMissing ? nullptr : testhost::MakeBlock(job.source.bytes);
                void* destination = destinationMissing ? nullptr : testhost::MakeBlock(job.destination.bytes);
                unsigned short mode = 34;
                if (inert)
                    mode = static_cast<unsigned short>((sourceMissing ? 0 : 2) | (destinationMissing ? 0 : 32));
                EXPECT_EQ(LinearTransformMain(mode, &source, &destination, nullptr, job.dpi, 128), expected.status)
                    << "mode " << mode;
                EXPECT_EQ(testhost::OutstandingLocks(), 0);
            }
}

// Every pairing of files and blocks. The bits of a file win over those of a block.
TEST_F(TransformCompare, FilesAndBlocksTransformAlike) {
    const TemporaryFolder folder;
    ForEachCase(350, 21, [&folder](Random& random) {
        const Bytes dib = RandomPicture(random, {Look::Any, 40, 40}).dib;
        TransformJob job;
        job.source.isFile = random.OneIn(2);
        job.destination.isFile = !job.source.isFile || random.OneIn(2);
        job.dpi = RandomDpi(random, dib, 30000);
        if (QueriedSize(dib, job.dpi) > 30000)
            job.dpi = 1;
        job.threshold = RandomThreshold(random);
        job.source.bytes = job.source.isFile ? AsFile(random, dib) : dib;
        if (!job.destination.isFile)
            job.destination.bytes = RandomDestination(random, dib, job.dpi, true);
        job.stopAtCall = RandomStop(random);
        SCOPED_TRACE(Describe(job));
        Memory memory;
        const TransformResult expected = Transform(job, memory);

        testhost::Reset();
        const std::string in = folder.In();
        std::string out = folder.Out();
        void* sourceBlock = nullptr;
        void* destinationBlock = nullptr;
        unsigned short mode = 0;
        if (job.source.isFile) {
            ASSERT_NO_FATAL_FAILURE(MakeFile(in, job.source.bytes));
            mode = random.OneIn(4) ? 3 : 1;
            unsigned size = 1;
            EXPECT_EQ(GetTransformImageMemorySize(mode, in.c_str(), job.dpi, &size), 0u);
            EXPECT_EQ(size, QueriedSize(dib, job.dpi));
        } else {
            sourceBlock = testhost::MakeBlock(job.source.bytes);
            mode = 2;
        }
        if (job.destination.isFile) {
            unlink(out.c_str());
            if (random.OneIn(20)) {
                ASSERT_NO_FATAL_FAILURE(WriteFileBytes(out, RandomBytes(random, 100000))); // replaced
            }
            mode = static_cast<unsigned short>(mode | (random.OneIn(4) ? 48 : 16));
        } else {
            destinationBlock = testhost::MakeBlock(job.destination.bytes);
            mode = static_cast<unsigned short>(mode | 32);
        }
        const void* const source = job.source.isFile ? static_cast<const void*>(in.c_str()) : &sourceBlock;
        void* const destination = job.destination.isFile ? static_cast<void*>(out.data()) : &destinationBlock;
        testhost::ResetCounters();
        const unsigned status =
            LinearTransformMain(mode, source, destination, StartRecording(job.stopAtCall), job.dpi, job.threshold);
        EXPECT_EQ(status, expected.status);
        EXPECT_EQ(progressRecorder.percents, expected.percents);
        EXPECT_EQ(testhost::OutstandingLocks(), 0);
        const Bytes made = job.destination.isFile ? ReadFileBytes(out) : testhost::Bytes(destinationBlock);
        EXPECT_EQ(Difference(expected.destination, made), "equal");
    });
}

TEST_F(TransformCompare, FilesThatEndTooEarlyGiveTheSameStatus) {
    const TemporaryFolder folder;
    ForEachCase(250, 22, [&folder](Random& random) {
        const Bytes dib = RandomPicture(random, {Look::Any, 20, 20}).dib;
        TransformJob job;
        job.source.isFile = true;
        job.dpi = RandomDpi(random, dib, 20000);
        if (QueriedSize(dib, job.dpi) > 30000)
            job.dpi = 1;
        job.destination.bytes.resize(QueriedSize(dib, job.dpi));
        job.source.bytes = AsFile(random, dib);
        job.source.bytes.resize(RandomCut(random, job.source.bytes.size()));
        SCOPED_TRACE(Describe(job));
        Memory memory;
        const TransformResult expected = Transform(job, memory);
        testhost::Reset();
        const std::string in = folder.In();
        ASSERT_NO_FATAL_FAILURE(MakeFile(in, job.source.bytes));
        void* destination = testhost::MakeBlock(job.destination.bytes);
        EXPECT_EQ(LinearTransformMain(33, in.c_str(), &destination, nullptr, job.dpi, 0), expected.status);
        unsigned size = 1;
        const SizeAnswer answer = TransformSize(job.source, job.dpi);
        EXPECT_EQ(GetTransformImageMemorySize(1, in.c_str(), job.dpi, &size), answer.status);
        EXPECT_EQ(size, answer.size);
    });
}

// The class driven by a host: transfers over plain addresses, every field looked at afterwards.
TEST_F(TransformCompare, FieldsOfTheClassHoldTheSameNumbers) {
    ForEachCase(700, 23, [](Random& random) {
        TransformJob job;
        job.source.bytes = RandomPicture(random, {Look::Any, 40, 40}).dib;
        job.dpi = RandomDpi(random, job.source.bytes, 20000);
        if (QueriedSize(job.source.bytes, job.dpi) > 30000)
            job.dpi = 1;
        job.destination.bytes = RandomBytes(random, QueriedSize(job.source.bytes, job.dpi));
        job.threshold = RandomThreshold(random);
        SCOPED_TRACE(Describe(job));
        Memory memory;
        const TransformResult expected = Transform(job, memory);

        testhost::Reset();
        Bytes sourceBytes = job.source.bytes;
        Bytes destinationBytes = job.destination.bytes;
        CBufTransfer source(sourceBytes.data(), 3, 0);
        CBufTransfer destination(destinationBytes.data(), 3, 1);
        CLinearTransformMem transform;
        transform.source = &source;
        transform.destination = &destination;
        EXPECT_EQ(transform.LinearTransform(34, nullptr, job.dpi, job.threshold), static_cast<int>(expected.status));
        EXPECT_EQ(Difference(expected.destination, destinationBytes), "equal");
        EXPECT_EQ(testhost::LiveBlocks(), 0);
        CompareLayout(expected.layout, transform);
        if (expected.status != 0)
            return;
        CompareOutputSide(job, expected.layout, transform);
        if (expected.layout.srcHeight == 0 || expected.layout.srcRows > 65535)
            return;
        const auto line = static_cast<unsigned short>(random.Range(0, expected.layout.srcHeight - 1));
        const std::size_t at = expected.layout.srcRows + line * expected.layout.srcStride;
        const auto stride = static_cast<std::size_t>(expected.layout.srcStride);
        Bytes expectedRow(sourceBytes.begin() + static_cast<std::ptrdiff_t>(at),
                          sourceBytes.begin() + static_cast<std::ptrdiff_t>(at + stride));
        expectedRow.push_back(0xA7); // the byte behind the row stays
        Bytes row(stride + 1, 0xA7);
        EXPECT_EQ(transform.GetImageLine(line, row.data()), 1);
        EXPECT_EQ(Difference(expectedRow, row), "equal");
        EXPECT_EQ(source.position, at + stride);
    });
}

} // namespace
