// Every tier of the row stages against the scalar rows, byte by byte: the resampler's whole kernels
// between unreadable pages, and single rows with any weights.
#include "bilinear/deep_rows.h"
#include "bilinear/fast_rows.h"
#include "bilinear/row.h"
#include "bilinear/row_table.h"
#include "tests/bilinear/bilinear_test.h"
#include "tests/support/tiers.h"

#include <memory>
#include <string>

namespace {

using namespace bilinear_test;
using namespace testdib;
using dibprep::CurrentTier;
using dibprep::DeepRows;
using dibprep::DeepRowsFor;
using dibprep::FastRows;
using dibprep::ForceTier;
using dibprep::RowsFor;
using dibprep::RowTask;
using dibprep::Tier;
using testhost::GuardedBuffer;
using testtiers::FastTiers;
using testtiers::ForTier;
using testtiers::NameOfTier;

using KernelMember = int (CConvertResolution::*)(const _tagDIBPARAM&, const tagRECT*, const tagRECT*, _tagDIBPARAM&,
                                                 int (*)(int, int));

enum class Table { None, Colours, Gray, Levels, Sums };

struct Format {
    const char* name;
    int bits;
    Table table;
    KernelMember member;
    dibprep::RowKernel row;
};

const Format formats[] = {
    {"1 bit", 1, Table::Colours, &CConvertResolution::BiLinearSmallBits, dibprep::ScalarRowSmallBits},
    {"4 bit", 4, Table::Colours, &CConvertResolution::BiLinearSmallBits, dibprep::ScalarRowSmallBits},
    {"8 bit colours", 8, Table::Colours, &CConvertResolution::BiLinear8, dibprep::ScalarRow8},
    {"8 bit gray", 8, Table::Gray, &CConvertResolution::BiLinear8, dibprep::ScalarRow8},
    {"8 bit levels", 8, Table::Levels, &CConvertResolution::BiLinear8, dibprep::ScalarRow8},
    {"16 bit", 16, Table::None, &CConvertResolution::BiLinear16, dibprep::ScalarRow16},
    {"24 bit", 24, Table::None, &CConvertResolution::BiLinear24, dibprep::ScalarRow24},
    {"32 bit", 32, Table::None, &CConvertResolution::BiLinear32, dibprep::ScalarRow32},
    {"48 bit", 48, Table::None, &CConvertResolution::BiLinear48, dibprep::ScalarRow48},
    {"64 bit", 64, Table::None, &CConvertResolution::BiLinear64, dibprep::ScalarRow64},
    {"1 bit gray", 1, Table::Gray, &CConvertResolution::BiLinearSmallBits, dibprep::ScalarRowSmallBits},
    {"4 bit gray", 4, Table::Gray, &CConvertResolution::BiLinearSmallBits, dibprep::ScalarRowSmallBits},
    {"8 bit sums", 8, Table::Sums, &CConvertResolution::BiLinear8, dibprep::ScalarRow8},
};

// Pixels of any value, or of the two extreme ones.
Bytes MakeSource(const Format& format, int width, int height, Random& random, bool extreme) {
    Bytes dib = MakeDib(width, height, format.bits);
    const std::size_t table = static_cast<std::size_t>(DefaultColors(format.bits)) * 4;
    for (std::size_t i = 40; i < dib.size(); ++i)
        dib[i] = static_cast<std::uint8_t>(extreme ? (random.Next() & 1) * 255 : random.Next());
    if (format.table != Table::None && format.table != Table::Colours)
        for (std::size_t i = 0; i < table / 4; ++i) {
            // Levels in no order and some of them twice, in theirs, or falling past 0 and on from 255.
            const std::size_t level = format.table == Table::Levels ? i
                                      : format.table == Table::Gray ? (i * i * 7 + 3) & 0xFF
                                                                    : (200 - i * 3) & 0xFF;
            std::memset(&dib[40 + i * 4], static_cast<int>(level), 3);
        }
    return dib;
}

class BilinearTier : public ForTier<BilinearTest> {
protected:
    // The rows a kernel makes of a source between guard pages. The rows stand between guard pages
    // too, and their padding has to stay as it was.
    Bytes Rows(Tier tier, const Format& format, GuardedBuffer& source, int cx, int cy, GuardedBuffer::Side side,
               const tagRECT& clip, int (*progress)(int, int) = nullptr, int expected = 1) {
        ForceTier(tier);
        EXPECT_EQ(CurrentTier(), tier);
        const int width = clip.right - clip.left;
        const int height = clip.bottom - clip.top;
        const int bits = std::max(format.bits, 24);
        const Bytes shape = MakeDib(width, 1, bits);
        GuardedBuffer rows(Stride(width, bits) * static_cast<std::size_t>(height), side);
        std::memset(rows.data(), 0xCD, rows.size());
        _tagDIBPARAM from, to;
        object.SetDIBParam(source.data(), from);
        object.SetDIBParam(shape.data(), to);
        to.nHeight = height;
        to.pBits = rows.data();
        const tagRECT frame = {0, 0, cx, cy};
        EXPECT_EQ((object.*format.member)(from, &frame, &clip, to, progress), expected);
        return Bytes(rows.data(), rows.data() + rows.size());
    }

    bool SameAsScalar(const Format& format, const Bytes& dib, int cx, int cy, GuardedBuffer::Side side,
                      const tagRECT& clip) {
        GuardedBuffer source(dib.size(), side);
        std::memcpy(source.data(), dib.data(), dib.size());
        const Bytes scalar = Rows(Tier::Scalar, format, source, cx, cy, side, clip);
        const Bytes made = Rows(GetParam(), format, source, cx, cy, side, clip);
        return scalar.size() == made.size() && std::memcmp(scalar.data(), made.data(), made.size()) == 0;
    }

    bool SameAsScalar(const Format& format, const Bytes& dib, int cx, int cy) {
        const tagRECT whole = {0, 0, cx, cy};
        return SameAsScalar(format, dib, cx, cy, GuardedBuffer::Side::End, whole) &&
               SameAsScalar(format, dib, cx, cy, GuardedBuffer::Side::Start, whole);
    }
};

// Which tier a name stands for: each brings forms that the one below has not.
TEST_P(BilinearTier, BringsItsOwnForms) {
    const dibprep::RowTable& scalar = RowsFor(Tier::Scalar);
    EXPECT_EQ(scalar.mix[dibprep::StoreAll], nullptr) << "rows are left to the scalar kernels";
    const dibprep::RowTable& table = RowsFor(GetParam());
    EXPECT_NE(table.widen, scalar.widen);
    for (const dibprep::MixKernel mix : table.mixWide)
        EXPECT_EQ(mix != nullptr, GetParam() == Tier::Avx512);
    EXPECT_EQ(table.colours3 != nullptr, GetParam() == Tier::Avx512);
    if (GetParam() == Tier::Avx512) {
        const dibprep::RowTable& below = RowsFor(Tier::Avx2);
        EXPECT_NE(table.levels, below.levels);
        EXPECT_EQ(table.levelsBySums, nullptr);
        EXPECT_NE(table.levels4, below.levels4);
        EXPECT_NE(table.widen, below.widen);
        EXPECT_NE(table.highest, below.highest);
        EXPECT_NE(table.changes, below.changes);
        EXPECT_NE(table.fill, below.fill);
        // Where wide windows do not reach, and for deeper formats, those of AVX2 serve.
        EXPECT_EQ(table.mix[dibprep::StoreAll], below.mix[dibprep::StoreAll]);
        EXPECT_EQ(table.windowsPerRegister, below.windowsPerRegister);
        EXPECT_EQ(DeepRowsFor(GetParam()).across[0], DeepRowsFor(Tier::Avx2).across[0]);
        return;
    }
    const dibprep::RowTable& below = RowsFor(static_cast<Tier>(static_cast<int>(GetParam()) - 1));
    EXPECT_NE(table.mix[dibprep::StoreAll], below.mix[dibprep::StoreAll]);
    EXPECT_NE(table.mix[dibprep::StoreThrice], below.mix[dibprep::StoreThrice]);
    EXPECT_NE(table.mix[dibprep::StoreThreeOfFour], below.mix[dibprep::StoreThreeOfFour]);
    EXPECT_EQ(table.windowsPerRegister, static_cast<int>(GetParam()) - static_cast<int>(Tier::Sse2));
    if (GetParam() > Tier::Sse2) {
        EXPECT_NE(table.levelsBySums, below.levelsBySums);
        EXPECT_NE(table.levels4, nullptr);
    }
    EXPECT_NE(table.colour, scalar.colour);
    EXPECT_NE(table.packed, scalar.packed);
    EXPECT_NE(table.highest, scalar.highest);
    EXPECT_NE(table.fill, scalar.fill);
    EXPECT_NE(table.changes, nullptr);
    EXPECT_EQ(table.changes == RowsFor(Tier::Sse2).changes, GetParam() < Tier::Avx2);
    for (std::size_t kind = 0; kind < 2; ++kind) {
        EXPECT_EQ(DeepRowsFor(Tier::Scalar).across[kind], nullptr);
        EXPECT_NE(DeepRowsFor(GetParam()).across[kind], nullptr);
        EXPECT_NE(DeepRowsFor(GetParam()).down[kind], nullptr);
        EXPECT_EQ(DeepRowsFor(GetParam()).across[kind] == DeepRowsFor(Tier::Sse2).across[kind],
                  GetParam() < Tier::Avx2);
    }
}

TEST_P(BilinearTier, EveryWidthBetweenGuardPages) {
    Random random(1);
    for (const Format& format : formats)
        for (int cx = 1; cx <= 70; ++cx) {
            // Up, the same, and down beyond every window.
            const int widths[] = {1,           2,          (cx + 1) / 2, cx,         cx + cx / 4,
                                  cx + cx / 2, cx * 2 + 1, cx * 3,       cx * 9 / 2, cx * 6 + 1};
            for (int width : widths) {
                const Bytes dib = MakeSource(format, width, 3, random, width % 3 == 0);
                ASSERT_TRUE(SameAsScalar(format, dib, cx, cx % 2 ? 4 : 2))
                    << format.name << ", " << width << " to " << cx;
            }
        }
}

TEST_P(BilinearTier, LargeWidthsAndClips) {
    Random random(2);
    const std::pair<int, int> sizes[] = {{1000, 667}, {667, 1000}, {500, 500}, {2000, 251}, {1001, 999}};
    for (const Format& format : formats)
        for (const auto& [width, cx] : sizes) {
            const Bytes dib = MakeSource(format, width, 5, random, false);
            ASSERT_TRUE(SameAsScalar(format, dib, cx, 9)) << format.name << ", " << width << " to " << cx;
            const tagRECT clip = {cx / 3, 2, cx - 1, 8};
            ASSERT_TRUE(SameAsScalar(format, dib, cx, 9, GuardedBuffer::Side::End, clip)) << format.name;
        }
}

TEST_P(BilinearTier, TargetOfOneRowOrColumnWeighsTheEdgeWithItself) {
    Random random(3);
    for (const Format& format : formats)
        for (const auto& [cx, cy] : {std::pair{1, 1}, {1, 40}, {90, 1}, {7, 1}}) {
            const Bytes dib = MakeSource(format, 37, 11, random, true);
            ASSERT_TRUE(SameAsScalar(format, dib, cx, cy)) << format.name << " to " << cx << " x " << cy;
        }
}

// Pages of paper and lines, where whole blocks have one colour, and bytes of several pixels do not.
TEST_P(BilinearTier, StretchesOfOneColour) {
    EXPECT_NE(RowsFor(GetParam()).changes, nullptr);
    Random random(9);
    for (const Format& format : formats)
        for (int round = 0; round < 60; ++round) {
            const int width = random.Range(1, 700);
            Bytes dib = MakeSource(format, width, 4, random, false);
            const std::size_t pixels = dib.size() - 4 * Stride(width, format.bits);
            for (std::size_t at = pixels; at < dib.size();) {
                const std::size_t run = std::min(dib.size() - at, static_cast<std::size_t>(random.Range(1, 90)));
                const int paper = random.OneIn(4) ? random.Range(0, 255) : random.OneIn(2) ? 0xFF : 0;
                if (!random.OneIn(4))
                    std::memset(&dib[at], paper, run);
                at += run;
            }
            const int cx = random.Range(1, 900);
            ASSERT_TRUE(SameAsScalar(format, dib, cx, 6)) << format.name << ", " << width << " to " << cx;
        }
}

// The entries behind a short gray table are the first pixels: colours, if a pixel names them.
TEST_P(BilinearTier, PixelsMayNameWhatStandsBehindAGrayTable) {
    Random random(11);
    for (int round = 0; round < 60; ++round) {
        const Format& format = formats[round % 2 == 0 ? 3 : 4];
        const int width = random.Range(1, 200);
        const int height = random.Range(1, 12);
        Bytes dib = MakeSource(format, width, height, random, false);
        const int used = random.Range(1, 255);
        dib.erase(dib.begin() + 40 + used * 4, dib.begin() + 40 + 256 * 4);
        dib[32] = static_cast<std::uint8_t>(used);
        const int foreign = random.Range(0, 2) * random.Range(0, height); // rows that name other entries
        const std::size_t pixels = dib.size() - static_cast<std::size_t>(height) * Stride(width, 8);
        for (std::size_t i = pixels; i < dib.size(); ++i)
            if (static_cast<int>((i - pixels) / Stride(width, 8)) >= foreign)
                dib[i] = static_cast<std::uint8_t>(dib[i] % used);
        ASSERT_TRUE(SameAsScalar(format, dib, random.Range(1, 250), height * 2)) << "round " << round;
    }
}

// One row at any address, with weights that no scale has.
TEST_P(BilinearTier, AnyWeightsAtAnyAddress) {
    Random random(4);
    const int telling[] = {0, 1, 15, 16, 17, 511, 512, 1007, 1008, 1022, 1023};
    const auto weight = [&] { return random.OneIn(3) ? telling[random.Range(0, 10)] : random.Range(0, 1023); };
    for (const Format& format : formats)
        for (int round = 0; round < 150; ++round) {
            const int count = random.Range(1, 100);
            const int width = random.Range(1, 300);
            const Bytes dib = MakeSource(format, width, 2, random, random.OneIn(3));
            const std::size_t shift = static_cast<std::size_t>(round % 4);
            Bytes shifted(shift);
            shifted.insert(shifted.end(), dib.begin(), dib.end());
            _tagDIBPARAM source;
            object.SetDIBParam(shifted.data() + shift, source);
            const int unit = std::max(format.bits / 8, 1);
            std::vector<_tagCOORDENTRY> columns;
            int left = 0;
            const int stride = random.Range(0, 4);
            for (int k = 0; k < count; ++k) {
                const int right = std::min(left + 1, width - 1);
                columns.push_back({left * unit, right * unit, weight()});
                left = std::min(left + random.Range(0, stride), width - 1);
            }
            const int outStep = std::max(format.bits, 24) / 8;
            const std::size_t bytes = static_cast<std::size_t>(count * outStep);
            Bytes expected(bytes), made(bytes + 2, 0xCD);
            RowTask task = {};
            task.lower = source.pBits;
            task.upper = source.pBits + (format.bits == 16 ? 2 : source.nLineBytes);
            task.columns = columns.data();
            task.count = count;
            task.outStep = outStep;
            task.source = &source;
            task.table = {reinterpret_cast<const unsigned char*>(source.pColorTable), 256};
            FastRows rows(RowsFor(GetParam()), task, round % 2 == 0);
            DeepRows deep(DeepRowsFor(GetParam()), task, round % 2 == 0);
            const bool isDeep = format.bits > 32;
            ASSERT_EQ(rows.Active(), !isDeep);
            ASSERT_EQ(deep.Active(), isDeep && width > 1);
            for (int again = 0; again < 3; ++again) {
                task.fy = weight();
                task.out = expected.data();
                format.row(task);
                task.out = made.data() + 1;
                if (isDeep && width == 1)
                    continue;
                ASSERT_EQ(isDeep ? static_cast<int>(deep.Make(task)) : rows.Make(task), 1);
                ASSERT_EQ(std::memcmp(made.data() + 1, expected.data(), bytes), 0)
                    << format.name << ", " << width << " to " << count << ", round " << round;
                EXPECT_EQ(made.front(), 0xCD);
                EXPECT_EQ(made.back(), 0xCD);
            }
        }
}

// Two rows at once, of the same source rows, of neighbouring ones or of others, and after each other with
// anything else: the rows stand between guard pages, and the source does.
TEST_P(BilinearTier, TwoRowsAtOnce) {
    Random random(13);
    for (const Format& format : formats)
        for (int round = 0; round < 60 && format.bits <= 32; ++round) {
            const int count = random.Range(1, 150);
            const int width = random.Range(1, round % 2 == 0 ? count : count * 5);
            const int height = 8;
            const Bytes dib = MakeSource(format, width, height, random, random.OneIn(3));
            GuardedBuffer memory(dib.size(), round % 2 == 0 ? GuardedBuffer::Side::Start : GuardedBuffer::Side::End);
            std::memcpy(memory.data(), dib.data(), dib.size());
            _tagDIBPARAM source;
            object.SetDIBParam(memory.data(), source);
            const auto rowAt = [&](int r) { return source.pBits + (height - 1 - r) * source.nLineBytes; };
            for (int r = 0; r < height; ++r) // of one colour, up to somewhere
                if (random.OneIn(3))
                    std::memset(rowAt(r), random.Range(0, 1) * 255, random.Range(0, source.nLineBytes));
            const tagSIZE step = object.GetCoordUnit(source, {count, 3});
            const std::unique_ptr<_tagCOORDENTRY[]> columns(object.GetCoordTable(source, 0, step.cx, count));
            const RowTask task = TaskOf(source, columns.get(), count);
            RowTask tasks[2] = {task, task};
            FastRows rows(RowsFor(GetParam()), tasks[0], true);
            for (int again = 0, upper = 0; again < 6; ++again) {
                const std::size_t bytes = static_cast<std::size_t>(count * tasks[0].outStep);
                const auto side = again % 2 == 0 ? GuardedBuffer::Side::Start : GuardedBuffer::Side::End;
                GuardedBuffer made[2] = {GuardedBuffer(bytes, side), GuardedBuffer(bytes, side)};
                Bytes expected[2] = {Bytes(bytes), Bytes(bytes)};
                for (int i = 0; i < 2; ++i, upper = std::min(upper + random.Range(0, 3), height - 2)) {
                    tasks[i].upper = rowAt(upper);
                    tasks[i].lower = tasks[i].upper - (format.bits == 16 ? 2 : source.nLineBytes);
                    tasks[i].fy = random.OneIn(3) ? 0 : random.Range(1, 1023);
                    tasks[i].out = expected[i].data();
                    format.row(tasks[i]);
                    tasks[i].out = made[i].data();
                }
                ASSERT_EQ(rows.Make(tasks[0], &tasks[1]), 2);
                for (int i = 0; i < 2; ++i)
                    ASSERT_EQ(std::memcmp(made[i].data(), expected[i].data(), bytes), 0)
                        << format.name << ", " << width << " to " << count << ", round " << round << ", row " << i;
            }
        }
}

TEST_P(BilinearTier, LoweredLimitsAct) {
    Random random(5);
    int* const limits[] = {&COLOR_MAX_VALUE,     &WHITE_POINT_VALUE,   &BLACK_POINT_VALUE,   &COLOR_MAX_VALUE16,
                           &COLOR_MAX_VALUE16,   &COLOR_MAX_VALUE16,   &WHITE_POINT_VALUE16, &WHITE_POINT_VALUE16,
                           &WHITE_POINT_VALUE16, &BLACK_POINT_VALUE16, &BLACK_POINT_VALUE16, &BLACK_POINT_VALUE16};
    // Beyond what words hold too, and the black point above the white point.
    const int values[] = {200, 128, 33, -20000, -40000, 40000, 100000, -100, -40000, 9000, -50000, 20000};
    const int usual[] = {255, 255, 0, 32767, 32767, 32767, 16383, 16383, 16383, 0, 0, 0};
    for (const Format& format : formats)
        for (std::size_t i = 0; i < std::size(limits); ++i) {
            const Bytes dib = MakeSource(format, 60, 4, random, false);
            *limits[i] = values[i];
            EXPECT_TRUE(SameAsScalar(format, dib, 50, 7)) << format.name << ", limit " << i;
            *limits[i] = usual[i];
        }
}

// ---- what a callback may do -------------------------------------------------------------------

GuardedBuffer* changing = nullptr;

// Other pixels, another table, or another limit after each row.
int ChangeSource(int row, int) {
    for (std::size_t i = 40 + static_cast<std::size_t>(row % 3); i < changing->size(); i += 3)
        changing->data()[i] = static_cast<std::uint8_t>(changing->data()[i] * 5 + row);
    COLOR_MAX_VALUE = row % 4 == 3 ? 100 : 255;
    return 1;
}

TEST_P(BilinearTier, CallbackMayChangeTheSource) {
    Random random(6);
    for (const Format& format : formats) {
        const Bytes dib = MakeSource(format, 50, 6, random, false);
        Bytes made[2];
        for (int i = 0; i < 2; ++i) {
            GuardedBuffer source(dib.size());
            std::memcpy(source.data(), dib.data(), dib.size());
            changing = &source;
            COLOR_MAX_VALUE = 255;
            const tagRECT whole = {0, 0, 60, 20};
            made[i] = Rows(i == 0 ? Tier::Scalar : GetParam(), format, source, 60, 20, GuardedBuffer::Side::End, whole,
                           ChangeSource);
        }
        EXPECT_EQ(made[0], made[1]) << format.name;
        COLOR_MAX_VALUE = 255;
    }
}

int CancelAtThree(int row, int) { return row < 3; }

TEST_P(BilinearTier, CancelledAfterThreeRowsHasWrittenThree) {
    Random random(7);
    for (const Format& format : formats) {
        const Bytes dib = MakeSource(format, 40, 6, random, false);
        GuardedBuffer source(dib.size());
        std::memcpy(source.data(), dib.data(), dib.size());
        const tagRECT whole = {0, 0, 32, 8};
        const Bytes all = Rows(Tier::Scalar, format, source, 32, 8, GuardedBuffer::Side::End, whole);
        const Bytes made = Rows(GetParam(), format, source, 32, 8, GuardedBuffer::Side::End, whole, CancelAtThree, 0);
        const std::size_t unwritten = all.size() / 8 * 5; // the first five in memory are the last five of the picture
        EXPECT_EQ(Bytes(made.begin(), made.begin() + static_cast<long>(unwritten)), Bytes(unwritten, 0xCD));
        EXPECT_TRUE(std::equal(all.begin() + static_cast<long>(unwritten), all.end(),
                               made.begin() + static_cast<long>(unwritten)))
            << format.name;
    }
}

TEST_P(BilinearTier, WithoutScratchTheScalarRowsAreMade) {
    if (!testhost::CanFailNew())
        GTEST_SKIP() << "this build keeps its own operator new";
    Random random(8);
    const Bytes dib = MakeSource(formats[6], 30, 4, random, false);
    _tagDIBPARAM source;
    object.SetDIBParam(dib.data(), source);
    const _tagCOORDENTRY column = {0, 3, 100};
    RowTask task = {};
    task.columns = &column;
    task.count = 1;
    task.outStep = 3;
    task.source = &source;
    testhost::FailNew(1);
    EXPECT_FALSE(FastRows(RowsFor(GetParam()), task, true).Active());
    testhost::FailNew(0);
    const tagRECT whole = {0, 0, 20, 9};
    ForceTier(Tier::Scalar);
    const Bytes scalar = Resample(dib, whole, whole);
    ForceTier(GetParam());
    testhost::FailNew(2); // behind the column table
    void* const made = object.BiLinear(dib.data(), &whole, &whole, nullptr);
    testhost::FailNew(0);
    EXPECT_EQ(Take(made), scalar);
    EXPECT_EQ(object.m_nLastError, 0);
}

// Columns outside the source, or not in order, are nothing that a window could be made for.
TEST_P(BilinearTier, ForeignColumnsAreLeftToTheScalarRows) {
    const Bytes dib = MakeDib(30, 2, 24);
    _tagDIBPARAM source;
    object.SetDIBParam(dib.data(), source);
    const std::vector<std::vector<_tagCOORDENTRY>> foreign = {
        {{-3, 0, 1}, {0, 3, 1}}, {{0, 3, 1}, {90, 90, 0}}, {{6, 9, 1}, {3, 6, 1}}, {{0, 9, 1}, {9, 12, 1}}};
    RowTask task = {};
    task.count = 2;
    task.outStep = 3;
    task.source = &source;
    for (const auto& columns : foreign) {
        task.columns = columns.data();
        EXPECT_FALSE(FastRows(RowsFor(GetParam()), task, true).Active());
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, BilinearTier, FastTiers(), NameOfTier);

} // namespace
