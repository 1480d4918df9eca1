// The plan of wide windows, followed by a plain loop in place of the AVX-512 stage: on every processor that
// picks bytes, and so with every sanitizer.
#include "bilinear/fast_rows.h"
#include "bilinear/row.h"
#include "tests/bilinear/bilinear_test.h"
#include "tests/support/tiers.h"

#include <memory>

namespace {

using namespace bilinear_test;
using namespace dibprep;
using namespace testdib;
using testhost::GuardedBuffer;

int wideCalls[StoringForms];

// As row_table.h defines it. Every byte of all windows of a step is read, as the real stage does.
template <Storing Form>
void PlainMix(const MixPlan& plan, const MixTask& task) {
    constexpr std::ptrdiff_t BytesOfStep = Form == StoreThrice ? 192 : Form == StoreThreeOfFour ? 48 : 64;
    ++wideCalls[Form];
    for (int row = 0; row < OutputRowsOf(task.group); ++row) {
        const int upper = row == 0 ? 0 : SecondUpperOf(task.group);
        for (std::ptrdiff_t step = 0; step * BytesOfStep < task.bytes; ++step) {
            std::uint8_t values[RegistersPerStep * SlotsPerWideWindow];
            for (std::ptrdiff_t i = 0; i < RegistersPerStep; ++i) {
                const std::ptrdiff_t r = step * RegistersPerStep + i;
                const WindowPicks& window = plan.widePicks[r];
                const std::int8_t* const weights = plan.wideWeights + r * WideWindowBytes;
                std::uint8_t bytes[2][WideWindowBytes];
                std::memcpy(bytes[0], task.sources.rows[upper] + window.base[0], WideWindowBytes);
                std::memcpy(bytes[1], task.sources.rows[upper + 1] + window.base[0], WideWindowBytes);
                for (int slot = 0; slot < SlotsPerWideWindow; ++slot) {
                    int h[2];
                    for (int k = 0; k < 2; ++k) {
                        const auto product = [&](int j) {
                            return bytes[k][window.picks[slot * 4 + j] & 63] * weights[slot * 4 + j];
                        };
                        h[k] = product(0) + product(1) + 16 * (product(2) + product(3));
                    }
                    const int v = ((1024 - task.fy[row]) * h[0] + task.fy[row] * h[1]) >> 20;
                    values[i * SlotsPerWideWindow + slot] = static_cast<std::uint8_t>(v);
                }
            }
            for (std::ptrdiff_t n = 0; n < std::min(BytesOfStep, task.bytes - step * BytesOfStep); ++n) {
                const std::ptrdiff_t slot = Form == StoreThrice        ? n / 3
                                            : Form == StoreThreeOfFour ? n / 3 * 4 + n % 3
                                                                       : n;
                task.out[row][step * BytesOfStep + n] = values[slot];
            }
        }
    }
}

void PlainColours3(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    for (int x = 0; x < count; ++x)
        for (int channel = 0; channel < 3; ++channel)
            out[x * 3 + channel] = levels[channel * 256 + row[x]];
}

RowTable WideTable() {
    RowTable table = RowsFor(std::min(ProcessorTier(), Tier::Avx2));
    table.mixWide[StoreAll] = PlainMix<StoreAll>;
    table.mixWide[StoreThreeOfFour] = PlainMix<StoreThreeOfFour>;
    table.mixWide[StoreThrice] = PlainMix<StoreThrice>;
    table.colours3 = PlainColours3;
    return table;
}

enum class Pixels { Bits1, Bits4, Colours, Grays, Bits16, Bits24, Bits32 };
constexpr Pixels AllPixels[] = {Pixels::Bits1,  Pixels::Bits4,  Pixels::Colours, Pixels::Grays,
                                Pixels::Bits16, Pixels::Bits24, Pixels::Bits32};
constexpr int BitsOf(Pixels pixels) {
    constexpr int Bits[] = {1, 4, 8, 8, 16, 24, 32};
    return Bits[static_cast<int>(pixels)];
}

class WideWindows : public BilinearTest {
protected:
    void SetUp() override {
        BilinearTest::SetUp();
        if (ProcessorTier() < Tier::Ssse3)
            GTEST_SKIP() << "this processor cannot pick bytes";
        std::fill(std::begin(wideCalls), std::end(wideCalls), 0);
    }

    // Makes pairs of rows of a source between guard pages, and compares them with the scalar rows.
    void ExpectSameAsScalar(Pixels pixels, int width, int count, bool keep = true, bool pages = false) {
        constexpr int Height = 6;
        const int bits = BitsOf(pixels);
        Bytes dib = MakeDib(width, Height, bits);
        for (std::size_t i = 40; i < dib.size(); ++i)
            dib[i] = static_cast<std::uint8_t>(random.Next());
        if (pixels == Pixels::Grays)
            for (std::size_t i = 0; i < 256; ++i)
                std::memset(&dib[40 + i * 4], static_cast<int>(i * i * 7 + 3) & 0xFF, 3);
        GuardedBuffer memory(dib.size(), width % 2 == 0 ? GuardedBuffer::Side::Start : GuardedBuffer::Side::End);
        std::memcpy(memory.data(), dib.data(), dib.size());
        _tagDIBPARAM source;
        object.SetDIBParam(memory.data(), source);
        if (pages)
            for (int r = 0; r < Height; ++r)
                std::memset(source.pBits + r * source.nLineBytes, 0xFF,
                            static_cast<std::size_t>(source.nLineBytes / 2));
        const tagSIZE step = object.GetCoordUnit(source, {count, 3});
        const std::unique_ptr<_tagCOORDENTRY[]> columns(object.GetCoordTable(source, 0, step.cx, count));
        const RowTask task = TaskOf(source, columns.get(), count);
        RowTask tasks[2] = {task, task};
        const RowTable table = WideTable();
        FastRows rows(table, tasks[0], keep);
        ASSERT_TRUE(rows.Active());
        const RowKernel scalar = bits < 8     ? ScalarRowSmallBits
                                 : bits == 8  ? ScalarRow8
                                 : bits == 16 ? ScalarRow16
                                 : bits == 24 ? ScalarRow24
                                              : ScalarRow32;
        const std::size_t bytes = static_cast<std::size_t>(count * tasks[0].outStep);
        for (int upper = Height - 1, advance = 0; upper > advance; upper -= ++advance) {
            GuardedBuffer first(bytes), second(bytes);
            unsigned char* const made[] = {first.data(), second.data()};
            Bytes expected[2] = {Bytes(bytes), Bytes(bytes)};
            for (int i = 0; i < 2; ++i) { // the same two source rows, neighbours, and others
                tasks[i].upper = source.pBits + (upper - i * advance) * source.nLineBytes;
                tasks[i].lower = tasks[i].upper - (bits == 16 ? 2 : source.nLineBytes);
                tasks[i].fy = random.Range(0, 1023);
                tasks[i].out = expected[i].data();
                scalar(tasks[i]);
                tasks[i].out = made[i];
            }
            ASSERT_EQ(rows.Make(tasks[0], &tasks[1]), 2);
            for (int i = 0; i < 2; ++i)
                ASSERT_EQ(Bytes(made[i], made[i] + bytes), expected[i])
                    << bits << " bits, " << width << " to " << count << ", row " << i;
        }
    }

    // Which forms were used since the last time.
    std::vector<bool> Used() {
        std::vector<bool> used;
        for (int& calls : wideCalls)
            used.push_back(std::exchange(calls, 0) != 0);
        return used;
    }

    Random random{1};
};

const std::vector<bool> none = {false, false, false};
const std::vector<bool> all = {true, false, false};
const std::vector<bool> threeOfFour = {false, true, false};
const std::vector<bool> thrice = {false, false, true};

TEST_F(WideWindows, EveryWidth) {
    for (const Pixels pixels : AllPixels)
        for (int count = 1; count <= 70; ++count)
            for (const int width : {count, count * 2 / 3 + 1, count * 3 / 2, count * 3, count * 5, count * 9})
                ExpectSameAsScalar(pixels, width, count);
}

TEST_F(WideWindows, RowsOfManySteps) {
    for (const Pixels pixels : AllPixels)
        for (const auto& [width, count] : {std::pair{1000, 667}, {667, 1000}, {1000, 999}, {1000, 300}}) {
            ExpectSameAsScalar(pixels, width, count);
            ExpectSameAsScalar(pixels, width, count, false);
        }
}

TEST_F(WideWindows, StretchesOfOneColour) {
    for (const Pixels pixels : {Pixels::Bits1, Pixels::Bits4, Pixels::Colours})
        for (const int count : {90, 400, 801}) {
            for (const int width : {count - 10, count * 3 / 2, count * 2})
                ExpectSameAsScalar(pixels, width, count, true, true);
            EXPECT_EQ(Used(), all);
        }
}

TEST_F(WideWindows, ReachReductionsOfAboutThree) {
    for (const int width : {70, 100, 150, 300, 350}) {
        ExpectSameAsScalar(Pixels::Bits24, width, 100);
        EXPECT_EQ(Used(), all) << width;
        ExpectSameAsScalar(Pixels::Colours, width, 100);
        EXPECT_EQ(Used(), all) << width;
        ExpectSameAsScalar(Pixels::Grays, width, 100);
        EXPECT_EQ(Used(), thrice) << width;
        ExpectSameAsScalar(Pixels::Bits32, width, 100);
        EXPECT_EQ(Used(), all) << width;
    }
}

TEST_F(WideWindows, LeaveOutTheFourthSlotBeyond) {
    ExpectSameAsScalar(Pixels::Bits24, 600, 100);
    EXPECT_EQ(Used(), threeOfFour);
    ExpectSameAsScalar(Pixels::Bits16, 400, 100);
    EXPECT_EQ(Used(), threeOfFour);
}

TEST_F(WideWindows, AreNotUsedWhereTheyDoNotReachOrFit) {
    ExpectSameAsScalar(Pixels::Bits24, 900, 100);
    EXPECT_EQ(Used(), none);
    ExpectSameAsScalar(Pixels::Grays, 450, 100);
    EXPECT_EQ(Used(), none);
    ExpectSameAsScalar(Pixels::Bits24, 21, 20); // 63 bytes and one of padding
    EXPECT_EQ(Used(), all);
    ExpectSameAsScalar(Pixels::Bits24, 20, 20);
    EXPECT_EQ(Used(), none);
}

} // namespace
