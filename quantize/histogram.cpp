// How the pixels of a picture are counted; see the header.
#include "quantize/histogram.h"

#include "quantize/source_pixels.h"
#include "quantize/x86/key_steps.h"

#include <algorithm>

namespace dibprep {

namespace {

struct Increments {
    std::uint64_t of[CellColours];

    constexpr Increments() : of() {
        for (std::uint32_t low = 0; low <= LowMask; ++low)
            of[low] = CellWord::Of(low);
    }
};

constexpr Increments OfPixel;

// Neighbours are mostly of one cell or of two, and an addition to a word that waits for the last one's
// outcome takes four times as long. So the keys are counted in an order in which neighbours are far
// apart: one of each eighth of them in turn. Paper is everywhere, though: every other one has words of
// its own.
constexpr int Streams = 8;
constexpr int Step = ChunkPixels / Streams;

} // namespace

// A word that is set aside holds that many pixels at least.
Histogram::Histogram(std::uint64_t pixels)
    : m_words(2 * ColourCells, Scratch<std::uint64_t>::Fill::Zeros),
      m_full(static_cast<std::size_t>(pixels / (CellWord::FullAt - 1)) + 1, Scratch<FullWord>::Fill::None) {}

bool Histogram::Counts(const CNiGoRo2& quantiser) {
    const Layout layout = LayoutOf(quantiser.m_bih);
    return (layout == Layout::Plain24 || layout == Layout::Plain16) &&
           quantiser.m_bih.biSize >= sizeof quantiser.m_bih && quantiser.m_bih.biWidth > 0 &&
           quantiser.m_bih.biHeight > 0;
}

void Histogram::CountPicture(const CNiGoRo2& quantiser, const QuantizeKernels& kernels) {
    const int width = quantiser.m_bih.biWidth;
    const int height = quantiser.m_bih.biHeight;
    const std::size_t stride = SourceRowBytes(quantiser.m_bih.biBitCount, width);
    const unsigned char* row = quantiser.m_pBits;
    std::uint32_t keys[ChunkPixels + BlockPixels];
    int waiting = 0; // keys that are not counted yet
    const auto next = [&](int made) {
        waiting += made;
        if (waiting >= ChunkPixels) {
            CountChunk(keys);
            waiting -= ChunkPixels;
            std::copy_n(keys + ChunkPixels, waiting, keys);
        }
    };
    if (quantiser.m_bih.biBitCount == 16) {
        for (int y = 0; y < height; ++y, row += stride) {
            for (int x = 0; x < width; ++x) {
                // The low bits of the channels of 5-5-5 pixels are zero.
                const std::uint32_t pixel = LoadU16(row + std::size_t{2} * static_cast<unsigned int>(x));
                keys[waiting] = (pixel & 0x7FFF) << LowBits;
                next(1);
            }
        }
    } else {
        for (int y = 0; y < height; ++y, row += stride) {
            const unsigned char* at = row;
            for (int left = width; left > 0;) {
                int done = left;
                if (left >= BlockPixels) {
                    const int same = kernels.sameBlocks(at, left / BlockPixels);
                    if (same > 0) {
                        std::uint32_t key;
                        kernels.keys(at, 1, &key);
                        CountRun(key, static_cast<std::uint32_t>(same * BlockPixels));
                        done = same * BlockPixels;
                    } else {
                        const int room = (ChunkPixels - waiting - 1) / BlockPixels + 1;
                        done =
                            kernels.mixedBlocks(at, std::min(left / BlockPixels, room), keys + waiting) * BlockPixels;
                        next(done);
                    }
                } else {
                    kernels.keys(at, left, keys + waiting);
                    next(left);
                }
                left -= done;
                at += std::size_t{3} * static_cast<unsigned int>(done);
            }
        }
    }
    for (int i = 0; i < waiting; ++i)
        CountRun(keys[i], 1);
}

void Histogram::CountChunk(const std::uint32_t* keys) {
    std::uint64_t* const even = m_words.get();
    const auto add = [](std::uint64_t* words, std::uint32_t key) {
        return AddTo(words[key >> LowBits], OfPixel.of[key & LowMask]);
    };
    for (const std::uint32_t* k = keys; k != keys + Step; ++k) {
        std::uint64_t* const odd = even + ColourCells;
        const __m128i sum0 = add(even, k[0]);
        const __m128i sum1 = add(odd, k[Step]);
        const __m128i sum2 = add(even, k[2 * Step]);
        const __m128i sum3 = add(odd, k[3 * Step]);
        const bool full = AnySign(sum0, sum1, sum2, sum3);
        const __m128i sum4 = add(even, k[4 * Step]);
        const __m128i sum5 = add(odd, k[5 * Step]);
        const __m128i sum6 = add(even, k[6 * Step]);
        const __m128i sum7 = add(odd, k[7 * Step]);
        if (full || AnySign(sum4, sum5, sum6, sum7))
            SetFullOnesAside(k);
    }
}

void Histogram::CountRun(std::uint32_t key, std::uint32_t count) {
    const std::uint32_t cell = key >> LowBits;
    while (count > 0) {
        const std::uint32_t some = std::min(count, CellWord::FullAt / 2);
        m_words[cell] += some * OfPixel.of[key & LowMask];
        SetAside(cell, m_words[cell]);
        count -= some;
    }
}

// A pixel without low bits stays behind, so that the word of a colour that occurs is never 0.
void Histogram::SetAside(std::uint32_t cell, std::uint64_t& word) {
    if (static_cast<std::int64_t>(word) < 0) {
        m_full[m_fullCount++] = {word - CellWord::Of(0), cell};
        word = CellWord::Of(0);
    }
}

// Rare, and kept out of the loop that counts, which has no register to spare for it.
void Histogram::SetFullOnesAside(const std::uint32_t* keys) {
    for (int i = 0; i < Streams; ++i) {
        const std::uint32_t cell = keys[i * Step] >> LowBits;
        SetAside(cell, m_words[cell]);
        SetAside(cell, m_words[ColourCells + cell]);
    }
}

} // namespace dibprep
