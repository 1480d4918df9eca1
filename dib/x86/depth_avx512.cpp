// The depth conversions' row loops in AVX-512: sixteen true-colour pixels in a register, or 64 indices, whose
// colours are permuted from registers. The ends of rows are masked.
#include "dib/depth_rows.h"
#include "memory/x86/avx512.h"

#define DIBPREP_TIER DIBPREP_AVX512

namespace dibprep {
namespace {

DIBPREP_TIER inline __m512i Load(const void* at) { return _mm512_loadu_si512(at); }
DIBPREP_TIER inline void Store(void* at, __m512i value) { _mm512_storeu_si512(at, value); }

// The first `bytes` of 64, or all.
DIBPREP_TIER inline __m512i LoadPart(const void* at, std::size_t bytes) {
    return _mm512_maskz_loadu_epi8(Lanes64(bytes), at);
}
DIBPREP_TIER inline void StorePart(void* at, __m512i value, std::size_t bytes) {
    _mm512_mask_storeu_epi8(at, Lanes64(bytes), value);
}

// ---- what pixel_rows.h asks for -----------------------------------------------------------------

using Pixels = __m512i;
constexpr std::size_t SlackBytes = 16;
constexpr bool MasksEnds = true;

DIBPREP_TIER inline Pixels All(std::uint32_t word) { return _mm512_set1_epi32(static_cast<int>(word)); }
DIBPREP_TIER inline Pixels And(Pixels a, Pixels b) { return _mm512_and_si512(a, b); }
DIBPREP_TIER inline Pixels Or(Pixels a, Pixels b) { return _mm512_or_si512(a, b); }
DIBPREP_TIER inline Pixels NotAnd(Pixels a, Pixels b) { return _mm512_andnot_si512(a, b); }
DIBPREP_TIER inline Pixels Up(Pixels pixels, __m128i count) { return _mm512_sll_epi32(pixels, count); }
DIBPREP_TIER inline Pixels Down(Pixels pixels, __m128i count) { return _mm512_srl_epi32(pixels, count); }
DIBPREP_TIER inline Pixels ZeroBytes(Pixels pixels) { return _mm512_movm_epi8(_mm512_testn_epi8_mask(pixels, pixels)); }

// For 16 pixels, the bytes of three from those of four, and the other way round, where the fourth are any.
struct alignas(64) PixelPlaces {
    unsigned char join[64];
    unsigned char spread[64];
};

constexpr PixelPlaces MakePixelPlaces() {
    PixelPlaces places = {};
    for (unsigned pixel = 0; pixel < 16; ++pixel)
        for (unsigned channel = 0; channel < 3; ++channel) {
            places.join[3 * pixel + channel] = static_cast<unsigned char>(4 * pixel + channel);
            places.spread[4 * pixel + channel] = static_cast<unsigned char>(3 * pixel + channel);
        }
    return places;
}

constexpr PixelPlaces PlacesOf16 = MakePixelPlaces();

DIBPREP_TIER inline Pixels Spread(__m512i bytes) {
    return _mm512_maskz_permutexvar_epi8(0x7777777777777777, Load(PlacesOf16.spread), bytes);
}
DIBPREP_TIER inline __m512i Join(Pixels pixels) { return _mm512_permutexvar_epi8(Load(PlacesOf16.join), pixels); }

DIBPREP_TIER inline Pixels LoadBgr(const unsigned char* in) { return Spread(Load(in)); }
DIBPREP_TIER inline Pixels LoadBgr0(const unsigned char* in) { return Load(in); }
DIBPREP_TIER inline Pixels LoadWords(const unsigned char* in) {
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in)));
}
DIBPREP_TIER inline void StoreBgr(unsigned char* out, Pixels pixels) { Store(out, Join(pixels)); }
DIBPREP_TIER inline void StoreWords(unsigned char* out, Pixels first, Pixels second) {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    Store(out, _mm512_permutexvar_epi64(order, _mm512_packs_epi32(first, second)));
}

// The first `left` pixels, or all 16.
DIBPREP_TIER inline std::size_t AtMost16(std::size_t left) { return left < 16 ? left : 16; }
DIBPREP_TIER inline Pixels LoadBgr(const unsigned char* in, std::size_t left) {
    return Spread(LoadPart(in, 3 * AtMost16(left)));
}
DIBPREP_TIER inline Pixels LoadBgr0(const unsigned char* in, std::size_t left) {
    return LoadPart(in, 4 * AtMost16(left));
}
DIBPREP_TIER inline Pixels LoadWords(const unsigned char* in, std::size_t left) {
    return _mm512_cvtepu16_epi32(_mm512_castsi512_si256(LoadPart(in, 2 * AtMost16(left))));
}
DIBPREP_TIER inline void StoreBgr(unsigned char* out, Pixels pixels, std::size_t left) {
    StorePart(out, Join(pixels), 3 * AtMost16(left));
}
DIBPREP_TIER inline void StoreWords(unsigned char* out, Pixels pixels, std::size_t left) {
    StorePart(out, _mm512_castsi256_si512(_mm512_cvtepi32_epi16(pixels)), 2 * AtMost16(left));
}

// With the low bits gone, 32 * green joins blue, 1024 * red joins both, and the sum is 8 times the word.
DIBPREP_TIER inline Pixels To555(Pixels pixels) {
    const __m512i pairs = _mm512_maddubs_epi16(And(pixels, All(0xF8F8F8)), All(0x012001));
    return _mm512_srli_epi32(_mm512_madd_epi16(pairs, All(1024u << 16 | 1)), 3);
}

} // namespace
} // namespace dibprep

#include "dib/x86/pixel_rows.h"

namespace dibprep {
namespace {

// ---- indices ------------------------------------------------------------------------------------

// 64 pixels of `Bytes` bytes in so many registers: of each byte its pixel, and which of the pixel's it is.
template <unsigned Bytes>
struct alignas(64) BytePlaces {
    unsigned char pixel[Bytes][64];
    unsigned char channel[Bytes][64];
    unsigned char ofTwo[Bytes][64];   // the pixel, and for the second channel 64 more
    unsigned char bitByte[Bytes][64]; // of one bit a pixel: the byte that has it, and the bit
    unsigned char bit[Bytes][64];
    std::uint64_t third[Bytes]; // the bytes of the third channel
};

template <unsigned Bytes>
constexpr BytePlaces<Bytes> MakeBytePlaces() {
    BytePlaces<Bytes> places = {};
    for (unsigned i = 0; i < 64 * Bytes; ++i) {
        const unsigned part = i / 64;
        const unsigned pixel = i / Bytes;
        const unsigned channel = i % Bytes;
        places.pixel[part][i % 64] = static_cast<unsigned char>(pixel);
        places.channel[part][i % 64] = static_cast<unsigned char>(channel);
        places.ofTwo[part][i % 64] = static_cast<unsigned char>(channel == 1 ? pixel + 64 : pixel);
        places.bitByte[part][i % 64] = static_cast<unsigned char>(pixel / 8);
        places.bit[part][i % 64] = static_cast<unsigned char>(0x80 >> pixel % 8);
        if (channel == 2)
            places.third[part] |= std::uint64_t{1} << i % 64;
    }
    return places;
}

template <unsigned Bytes>
constexpr BytePlaces<Bytes> PlacesOf64 = MakeBytePlaces<Bytes>();

// A row by a form of pixels, which says how 64 of them are read from their bytes, and each part of what they
// become.
template <class Form>
DIBPREP_TIER inline void IndexedRow(unsigned char* out, const unsigned char* in, std::size_t pixels, const Form& form) {
    constexpr std::size_t StepBytes = 8 * Form::Bits;
    for (; pixels >= 64; pixels -= 64, in += StepBytes, out += 64 * Form::Bytes) {
        const auto read = form.Read(StepBytes == 64 ? Load(in) : LoadPart(in, StepBytes));
        for (unsigned part = 0; part < Form::Bytes; ++part)
            Store(out + 64 * part, form.Part(read, part));
    }
    if (pixels == 0)
        return;
    const auto read = form.Read(LoadPart(in, (pixels * Form::Bits + 7) / 8));
    const std::size_t bytes = pixels * Form::Bytes;
    for (unsigned part = 0; part < Form::Bytes && 64 * part < bytes; ++part)
        StorePart(out + 64 * part, form.Part(read, part), bytes - 64 * part);
}

// One bit: either of two pixels, repeated over the parts.
template <unsigned BytesOf>
struct OneBit {
    static constexpr std::size_t Bits = 1;
    static constexpr unsigned Bytes = BytesOf;
    __m512i clear[Bytes];
    __m512i set[Bytes];

    template <class Pixel>
    DIBPREP_TIER explicit OneBit(const Pixel* two) {
        for (unsigned part = 0; part < Bytes; ++part) {
            const __m512i channel = Load(PlacesOf64<Bytes>.channel[part]);
            clear[part] = _mm512_permutexvar_epi8(channel, All(two[0]));
            set[part] = _mm512_permutexvar_epi8(channel, All(two[1]));
        }
    }
    DIBPREP_TIER __m512i Read(__m512i bytes) const { return bytes; }
    DIBPREP_TIER __m512i Part(__m512i bytes, unsigned part) const {
        const __m512i spread = _mm512_permutexvar_epi8(Load(PlacesOf64<Bytes>.bitByte[part]), bytes);
        const __mmask64 hit = _mm512_test_epi8_mask(spread, Load(PlacesOf64<Bytes>.bit[part]));
        return _mm512_mask_blend_epi8(hit, clear[part], set[part]);
    }
};

// Four bits: the sixteen bytes of each channel lie side by side in one register.
template <unsigned BytesOf>
struct FourBits {
    static constexpr std::size_t Bits = 4;
    static constexpr unsigned Bytes = BytesOf;
    __m512i table;

    template <class Pixel>
    DIBPREP_TIER explicit FourBits(const Pixel* sixteen) {
        alignas(64) unsigned char bytes[64] = {};
        for (unsigned i = 0; i < 16 * Bytes; ++i)
            bytes[i] = static_cast<unsigned char>(sixteen[i % 16] >> i / 16 * 8);
        table = Load(bytes);
    }
    // The upper half of every byte, then the byte, of which the lower half will count.
    DIBPREP_TIER __m512i Read(__m512i bytes) const {
        const __m512i twice = _mm512_permutexvar_epi8(Load(PlacesOf64<2>.pixel[0]), bytes);
        return _mm512_mask_blend_epi8(0xAAAAAAAAAAAAAAAA, _mm512_srli_epi16(twice, 4), twice);
    }
    DIBPREP_TIER __m512i Part(__m512i nibbles, unsigned part) const {
        const __m512i spread = _mm512_permutexvar_epi8(Load(PlacesOf64<Bytes>.pixel[part]), nibbles);
        const __m512i channel = _mm512_slli_epi16(Load(PlacesOf64<Bytes>.channel[part]), 4);
        // (spread & 15) | channel
        const __m512i index = _mm512_ternarylogic_epi64(spread, _mm512_set1_epi8(15), channel, 0xEA);
        return _mm512_permutexvar_epi8(index, table);
    }
};

// A byte of each of 64 table entries, in order.
DIBPREP_TIER inline __m512i BytesOf64(const std::uint16_t* entries, unsigned channel) {
    const __m512i places = _mm512_add_epi8(_mm512_set1_epi8(static_cast<char>(channel)),
                                           _mm512_set_epi64(0x7E7C7A7876747270, 0x6E6C6A6866646260, 0x5E5C5A5856545250,
                                                            0x4E4C4A4846444240, 0x3E3C3A3836343230, 0x2E2C2A2826242220,
                                                            0x1E1C1A1816141210, 0x0E0C0A0806040200));
    return _mm512_permutex2var_epi8(Load(entries), places, Load(entries + 32));
}

DIBPREP_TIER inline __m512i BytesOf64(const std::uint32_t* entries, unsigned channel) {
    const __m512i places = _mm512_add_epi8(
        _mm512_set1_epi8(static_cast<char>(channel)),
        _mm512_set_epi64(0, 0, 0, 0, 0x7C7874706C686460, 0x5C5854504C484440, 0x3C3834302C282420, 0x1C1814100C080400));
    const __m512i low = _mm512_permutex2var_epi8(Load(entries), places, Load(entries + 16));
    const __m512i high = _mm512_permutex2var_epi8(Load(entries + 32), places, Load(entries + 48));
    return _mm512_inserti64x4(low, _mm512_castsi512_si256(high), 1);
}

// Eight bits: the 256 bytes of each channel fill four registers. A permutation of two looks at the low seven
// bits of an index; the eighth chooses between two such.
template <unsigned BytesOf>
struct EightBits {
    static constexpr std::size_t Bits = 8;
    static constexpr unsigned Bytes = BytesOf;
    __m512i tables[Bytes][4];

    struct Channels {
        __m512i of[Bytes];
    };

    template <class Pixel>
    DIBPREP_TIER explicit EightBits(const Pixel* entries) {
        for (unsigned channel = 0; channel < Bytes; ++channel)
            for (unsigned quarter = 0; quarter < 4; ++quarter)
                tables[channel][quarter] = BytesOf64(entries + 64 * quarter, channel);
    }
    DIBPREP_TIER Channels Read(__m512i indices) const {
        const __mmask64 upper = _mm512_movepi8_mask(indices);
        Channels channels;
        for (unsigned channel = 0; channel < Bytes; ++channel) {
            const __m512i* const table = tables[channel];
            channels.of[channel] = _mm512_mask_blend_epi8(upper, _mm512_permutex2var_epi8(table[0], indices, table[1]),
                                                          _mm512_permutex2var_epi8(table[2], indices, table[3]));
        }
        return channels;
    }
    DIBPREP_TIER __m512i Part(const Channels& channels, unsigned part) const {
        const BytePlaces<Bytes>& places = PlacesOf64<Bytes>;
        const __m512i two = _mm512_permutex2var_epi8(channels.of[0], Load(places.ofTwo[part]), channels.of[1]);
        return Bytes == 2 ? two
                          : _mm512_mask_permutexvar_epi8(two, places.third[part], Load(places.pixel[part]),
                                                         channels.of[Bytes - 1]);
    }
};

// Every byte three times.
struct Levels {
    static constexpr std::size_t Bits = 8;
    static constexpr unsigned Bytes = 3;
    DIBPREP_TIER __m512i Read(__m512i levels) const { return levels; }
    DIBPREP_TIER __m512i Part(__m512i levels, unsigned part) const {
        return _mm512_permutexvar_epi8(Load(PlacesOf64<3>.pixel[part]), levels);
    }
};

template <template <unsigned> class Form>
DIBPREP_TIER void To24(unsigned char* out, const unsigned char* in, std::size_t pixels, const std::uint32_t* colors) {
    IndexedRow(out, in, pixels, Form<3>(colors));
}

template <template <unsigned> class Form>
DIBPREP_TIER void To16(unsigned char* out, const unsigned char* in, std::size_t pixels, const std::uint16_t* values) {
    IndexedRow(out, in, pixels, Form<2>(values));
}

DIBPREP_TIER void FromLevelsTo24(unsigned char* out, const unsigned char* in, std::size_t pixels) {
    IndexedRow(out, in, pixels, Levels{});
}

} // namespace

void AddAvx512DepthRows(DepthRows& rows) {
    AddPixelRows(rows);
    rows.from1To24 = To24<OneBit>;
    rows.from4To24 = To24<FourBits>;
    rows.from8To24 = To24<EightBits>;
    rows.fromLevelsTo24 = FromLevelsTo24;
    rows.from1To16 = To16<OneBit>;
    rows.from4To16 = To16<FourBits>;
    rows.from8To16 = To16<EightBits>;
}

} // namespace dibprep
