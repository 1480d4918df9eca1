// The contestants of a whole-page conversion.
#include "bench/works.h"

#include "bench/host_blocks.h"
#include "dibprep.h"
#include "dibprep/hostlayer.h"
#include "memory/x86/cpu_tier.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace bench {

namespace {

using dibprep::Tier;

// Reads one block and writes another, piece by piece, so that both go on at once; the reading is
// announced some pages ahead.
template <bool Streaming>
void ReadAndWriteOnce(const Bytes& from, Bytes& to) {
    constexpr std::size_t Line = 64, Piece = 4096, Ahead = 2 * Piece;
    const std::uint8_t* const source = from.data();
    std::uint8_t* const target = to.data() + (Line - reinterpret_cast<std::uintptr_t>(to.data()) % Line) % Line;
    const std::size_t readable = from.size();
    const std::size_t writable = static_cast<std::size_t>(to.data() + to.size() - target);
    const std::size_t pieces = std::max(readable, writable) / Piece + 1;
    __m128i sums[2] = {};
    std::size_t read = 0, written = 0;
    for (std::uint64_t piece = 1; piece <= pieces; ++piece) {
        const auto readEnd = static_cast<std::size_t>(std::uint64_t{readable} * piece / pieces);
        for (; read + Line <= readEnd; read += Line) {
            _mm_prefetch(reinterpret_cast<const char*>(source + read + Ahead), _MM_HINT_T0); // may be past the end
            for (std::size_t part = 0; part < 4; ++part)
                sums[part % 2] = _mm_xor_si128(
                    sums[part % 2], _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + read + part * 16)));
        }
        const auto writeEnd = static_cast<std::size_t>(std::uint64_t{writable} * piece / pieces);
        for (; written + Line <= writeEnd; written += Line)
            for (std::size_t part = 0; part < 4; ++part) {
                auto* const place = reinterpret_cast<__m128i*>(target + written + part * 16);
                if (Streaming)
                    _mm_stream_si128(place, sums[part % 2]);
                else
                    _mm_store_si128(place, sums[part % 2]);
            }
    }
    _mm_sfence();
}

// The source, locked, and a result to compare with.
struct State {
    Page page;
    Convert convert;
    void* handle = nullptr;
    std::uint8_t* address = nullptr;
    Bytes result; // a whole DIB, also where LIMIT and memcpy write
    Bytes other;  // where memcpy reads
    Raster outcome;

    State(const Page& given, const Convert& how) : page(given), convert(how) {
        const Bytes& dib = input();
        handle = GlobalAlloc(66, dib.size());
        address = static_cast<std::uint8_t*>(GlobalLock(handle));
        std::memcpy(address, dib.data(), dib.size());
        const dibhost::BlockScope scope;
        void* const made = convert({handle, address});
        if (made) {
            result.resize(GlobalSize(made));
            std::memcpy(result.data(), GlobalLock(made), result.size());
        }
        other = result;
    }
    ~State() {
        GlobalUnlock(handle);
        GlobalFree(handle);
        ReleaseTouchedBlocks();
        dibprep::ForceTier(dibprep::BestKnownTier);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    const Bytes& input() const { return page.runs ? *page.runs : page.dib->bytes; }
};

bool IsGray(const std::uint8_t* table) {
    for (int i = 0; i < 256; ++i)
        if (table[i * 4] != i || table[i * 4 + 1] != i || table[i * 4 + 2] != i)
            return false;
    return true;
}

Raster RasterOf(const std::uint8_t* bytes, std::size_t size) {
    tagBITMAPINFOHEADER header;
    std::memcpy(&header, bytes, sizeof header);
    Raster raster;
    raster.width = header.biWidth;
    raster.height = std::abs(header.biHeight);
    raster.bits = header.biBitCount;
    raster.stride = (static_cast<std::size_t>(raster.width) * static_cast<std::size_t>(raster.bits) + 31) / 32 * 4;
    // Some results are followed by spare bytes; none has fewer than its rows.
    const std::size_t table = raster.bits <= 8 ? std::size_t{4} << raster.bits : 0;
    if (size < 40 + table + raster.stride * static_cast<std::size_t>(raster.height))
        return raster;
    raster.rows = bytes + 40 + table;
    raster.table = raster.bits == 8 && !IsGray(bytes + 40) ? bytes + 40 : nullptr;
    return raster;
}

} // namespace

Work Conversion(const Page& page, const Convert& convert, Job job) {
    const auto state = std::make_shared<State>(page, convert);
    Work work;
    work.keep.push_back([state] {});
    work.contestants.push_back(
        {"LIMIT, plain stores", Memory::Touched, [state] { ReadAndWriteOnce<false>(state->input(), state->result); }});
    work.contestants.push_back({"LIMIT, streaming stores", Memory::Touched,
                                [state] { ReadAndWriteOnce<true>(state->input(), state->result); }});
    work.contestants.push_back({"memcpy of the result", Memory::Touched, [state] {
                                    std::memcpy(state->result.data(), state->other.data(), state->result.size());
                                }});
    work.contestants.push_back({"dibprep, entry", Memory::Fresh,
                                [state] {
                                    dibprep::ForceTier(dibprep::BestKnownTier);
                                    const dibhost::BlockScope scope;
                                    state->convert({state->handle, state->address});
                                },
                                [state]() -> std::string { return state->result.empty() ? "failed" : ""; }});
    for (const Tier tier : dibprep::EveryTier) {
        if (tier > dibprep::ProcessorTier())
            continue;
        work.contestants.push_back({std::string("dibprep, ") + dibprep::NameOf(tier), Memory::Touched, [state, tier] {
                                        dibprep::ForceTier(tier);
                                        const TouchedBlocks blocks;
                                        state->convert({state->handle, state->address});
                                    }});
    }
    if (state->result.empty())
        return work;

    // The others compare with the copy that nobody writes.
    Task task;
    task.job = job;
    task.source = RasterOf(page.dib->bytes.data(), page.dib->bytes.size());
    task.outcome = RasterOf(state->other.data(), state->other.size());
    static Bytes file; // of one work at a time
    if (page.runs) {
        file.assign({'B', 'M'});
        file.resize(14);
        const auto size = static_cast<std::uint32_t>(page.runs->size() + 14);
        const auto offset = static_cast<std::uint32_t>(page.dib->offset + 14);
        std::memcpy(file.data() + 2, &size, 4);
        std::memcpy(file.data() + 10, &offset, 4);
        file.insert(file.end(), page.runs->begin(), page.runs->end());
        task.file = file.data();
        task.fileSize = file.size();
    }
    if (task.outcome.rows)
        AddPeers(task, work.contestants);
    return work;
}

} // namespace bench
