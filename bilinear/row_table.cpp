// The table of row stages for each tier: the scalar entries, overwritten by those of better tiers.
#include "bilinear/row_table.h"
#include "memory/unaligned.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace dibprep {
namespace {

void Colour(const unsigned char* row, int count, const std::uint32_t* colours, unsigned char* out) {
    for (int x = 0; x < count; ++x)
        StoreU32(out + x * 4, colours[row[x]]);
}

void Levels(const unsigned char* row, int count, const unsigned char* levels, unsigned char* out) {
    for (int x = 0; x < count; ++x)
        out[x] = levels[row[x]];
}

void Widen(const unsigned char* row, int count, std::uint32_t* out) {
    for (int x = 0; x < count; ++x) {
        const int word = LoadU16(row + x * 2);
        out[x] = static_cast<std::uint32_t>(Widened5(word) | Widened5(word >> 5) << 8 | Widened5(word >> 10) << 16);
    }
}

void Packed(const unsigned char* row, int bytes, const unsigned char* groups, int group, unsigned char* out) {
    for (int i = 0; i < bytes; ++i) {
        const int halves = group == 16 ? 2 : 1;
        for (int half = 0; half < halves; ++half, out += group) {
            const int index = halves == 1 ? row[i] : half == 0 ? row[i] >> 4 : row[i] & 15;
            std::memcpy(out, groups + index * group, static_cast<std::size_t>(group));
        }
    }
}

int Highest(const unsigned char* row, int count) { return count > 0 ? *std::max_element(row, row + count) : 0; }

void Fill(unsigned char* out, std::int64_t bytes, std::uint32_t colour) {
    for (std::int64_t i = 0; i < bytes; ++i)
        out[i] = static_cast<unsigned char>(colour >> i % 3 * 8);
}

RowTable TableFor(Tier tier) {
    RowTable table = {};
    table.colour = Colour;
    table.levels = Levels;
    table.widen = Widen;
    table.packed = Packed;
    table.highest = Highest;
    table.fill = Fill;
    if (tier >= Tier::Sse2)
        AddSse2Rows(table);
    if (tier >= Tier::Ssse3)
        AddSsse3Rows(table);
    if (tier >= Tier::Avx2)
        AddAvx2Rows(table);
    if (tier >= Tier::Avx512) {
        AddAvx512Rows(table);
        AddAvx512Feeds(table);
    }
    return table;
}

} // namespace

const RowTable& RowsFor(Tier tier) {
    static const auto tables = TablesFor(TableFor);
    return tables[static_cast<std::size_t>(tier)];
}

} // namespace dibprep
