// Random pictures and parameters: see random_pictures.h.
#include "random_pictures.h"

#include "pipeline_oracle.h"

#include <algorithm>

namespace oracle {

using testdib::PutU16;
using testdib::PutU32;

Bytes RandomBytes(Random& random, std::size_t count) {
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(random.Next() >> 13);
    return bytes;
}

double RandomFraction(Random& random) {
    switch (random.Range(0, 3)) {
    case 0:
        return random.Range(0, 4) / 4.0;
    case 1:
        return random.Range(0, 255) / 255.0;
    default:
        return random.Next() / 4294967295.0;
    }
}

namespace {

int DepthOf(Look look, Random& random) {
    switch (look) {
    case Look::Bits1:
        return 1;
    case Look::Gray4:
    case Look::Colour4:
        return 4;
    case Look::Gray8:
    case Look::Colour8:
        return 8;
    case Look::Bits24:
        return 24;
    case Look::Bits16:
        return 16;
    case Look::Bits32:
        return 32;
    default: {
        const int depths[] = {0, 2, 3, 5, 6, 7, 9, 10, 12, 14, 15, 17, 23, 31, 33, 48, 64, 250, 65535};
        return depths[random.Range(0, static_cast<int>(sizeof depths / sizeof depths[0]) - 1)];
    }
    }
}

// The entries of one table: a ramp, either way round, or random; gray, coloured, or all but one gray.
void FillTable(Random& random, Picture& picture, std::size_t entries) {
    const bool colour = picture.look == Look::Colour4 || picture.look == Look::Colour8 ||
                        (picture.look != Look::Gray4 && picture.look != Look::Gray8 && random.OneIn(2));
    const int shape = random.Range(0, 3);
    const bool oneColourOnly = colour && random.OneIn(5);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t level = entries > 1 ? i * 255 / (entries - 1) : 0;
        const std::uint8_t gray = static_cast<std::uint8_t>(shape == 0   ? level
                                                            : shape == 1 ? 255 - level
                                                                         : random.Next() >> 7);
        std::uint8_t* entry = &picture.dib[40 + 4 * i];
        for (int channel = 0; channel < 3; ++channel)
            entry[channel] = colour && !oneColourOnly ? static_cast<std::uint8_t>(random.Next() >> 9) : gray;
        entry[3] = static_cast<std::uint8_t>(random.OneIn(2) ? 0 : random.Next());
    }
    if (colour && entries > 0 && (oneColourOnly || random.OneIn(3))) {
        std::uint8_t* entry = &picture.dib[40 + 4 * (random.Next() % entries)];
        entry[random.Range(0, 2)] = static_cast<std::uint8_t>(entry[0] + 77);
    }
    if (picture.look == Look::Bits1 && random.OneIn(3))
        picture.dib[40] = 255;
}

// Noise, a few values, gradients, or patches.
void FillRows(Random& random, Picture& picture, std::size_t first, std::size_t stride) {
    const int unit = std::max(1, picture.bits / 8);
    const int style = random.Range(0, 3);
    const Bytes few = RandomBytes(random, static_cast<std::size_t>(unit * random.Range(1, 8)));
    const Bytes slopes = RandomBytes(random, static_cast<std::size_t>(unit) * 3);
    for (int y = 0; y < picture.height; ++y) {
        const std::size_t row = first + static_cast<std::size_t>(y) * stride;
        for (std::size_t at = 0; at < stride; ++at) {
            const int x = static_cast<int>(at) / unit;
            const std::size_t channel = at % static_cast<std::size_t>(unit);
            std::uint32_t value = random.Next() >> 11;
            if (style == 1)
                value = few[(value % (few.size() / static_cast<std::size_t>(unit))) * static_cast<std::size_t>(unit) +
                            channel];
            else if (style == 2)
                value = static_cast<std::uint32_t>(x * (slopes[3 * channel] % 12) + y * (slopes[3 * channel + 1] % 12) +
                                                   slopes[3 * channel + 2]);
            else if (style == 3)
                value = static_cast<std::uint32_t>((x / 7 * 5 + y / 5 * 3 + static_cast<int>(channel)) * slopes[0]);
            picture.dib[row + at] = static_cast<std::uint8_t>(value);
        }
    }
}

std::uint32_t RandomPels(Random& random) {
    const int dpis[] = {1, 2, 7, 49, 72, 75, 96, 100, 150, 200, 300, 400, 600, 1200, 2400};
    if (random.OneIn(4))
        return random.OneIn(8) ? random.Next() : static_cast<std::uint32_t>(random.Range(20, 30000));
    return static_cast<std::uint32_t>(dpis[random.Range(0, 14)] * 10000 / 254 + random.Range(0, 1));
}

} // namespace

Picture RandomPicture(Random& random, const PictureOptions& options) {
    Picture picture;
    picture.look = options.look != Look::Any ? options.look : static_cast<Look>(random.Range(1, 9));
    picture.bits = DepthOf(picture.look, random);
    const bool small = random.OneIn(3);
    picture.width = random.Range(random.OneIn(20) ? 0 : 1, small ? 9 : options.largestWidth);
    picture.height = random.Range(random.OneIn(20) ? 0 : 1, small ? 9 : options.largestHeight);
    if (picture.bits > 64)
        picture.width = picture.height = random.Range(0, 1);

    const std::size_t entries = picture.bits < 16 ? std::size_t{1} << picture.bits : 0;
    const std::size_t first = 40 + 4 * entries;
    const std::size_t stride = testdib::Stride(picture.width, picture.bits);
    picture.dib.resize(first + stride * static_cast<std::size_t>(picture.height));
    Bytes& dib = picture.dib;
    PutU32(dib, 0, 40);
    PutU32(dib, 4, static_cast<std::uint32_t>(picture.width));
    PutU32(dib, 8, static_cast<std::uint32_t>(picture.height));
    PutU16(dib, 12, 1);
    PutU16(dib, 14, static_cast<unsigned>(picture.bits));
    const std::uint32_t pels = RandomPels(random);
    PutU32(dib, 24, pels);
    PutU32(dib, 28, random.OneIn(3) ? RandomPels(random) : pels);
    if (random.OneIn(25))
        PutU32(dib, random.OneIn(2) ? 24 : 28, random.OneIn(2) ? 0 : 0xFFFFFFFF);
    if (!options.plainHeader && random.OneIn(3)) {
        // The pipeline reads none of these, but some of them travel into an intermediate.
        PutU32(dib, 0, random.OneIn(2) ? 124 : random.Next());
        PutU32(dib, 4, static_cast<std::uint32_t>(picture.width) | random.Next() << 16);
        PutU32(dib, 8, static_cast<std::uint32_t>(picture.height) | random.Next() << 16);
        PutU16(dib, 12, random.Next() & 0xFFFF);
        PutU32(dib, 16, static_cast<std::uint32_t>(random.Range(0, 4)));
        PutU32(dib, 20, random.Next());
        PutU32(dib, 32, random.OneIn(2) ? random.Next() : static_cast<std::uint32_t>(random.Range(0, 256)));
        PutU32(dib, 36, random.Next());
    }
    FillTable(random, picture, entries);
    FillRows(random, picture, first, stride);
    if (random.OneIn(4)) {
        const Bytes tail = RandomBytes(random, static_cast<std::size_t>(random.Range(1, 40)));
        dib.insert(dib.end(), tail.begin(), tail.end());
    }
    return picture;
}

std::uint16_t RandomDpi(Random& random, const Bytes& dib, std::uint64_t largestBytes) {
    const std::uint16_t source = DotsPerInch(testdib::U32(dib, 24));
    for (int attempt = 0; attempt < 30; ++attempt) {
        std::uint16_t dpi = 0;
        switch (random.Range(0, 5)) {
        case 0:
            dpi = source;
            break;
        case 1: {
            const std::uint16_t extremes[] = {0, 1, 2, 32767, 32768, 65534, 65535};
            dpi = extremes[random.Range(0, 6)];
            break;
        }
        case 2:
            dpi = Low16(random.Next());
            break;
        default:
            dpi = Low16(std::uint64_t{source} * static_cast<unsigned>(random.Range(1, 40)) / 12);
        }
        const std::uint64_t size = BufferSize(Store{true, false, dib}, dpi).size;
        if (size <= largestBytes || size == 4294967295u)
            return dpi;
    }
    return 0;
}

int RandomThreshold(Random& random) {
    const int special[] = {-2147483647 - 1, -1, 0, 1, 128, 255, 256, 2147483647};
    return random.OneIn(3) ? special[random.Range(0, 7)] : random.Range(-2, 258);
}

int RandomStop(Random& random) {
    if (random.OneIn(3))
        return -1;
    return random.OneIn(2) ? 0 : random.Range(1, random.OneIn(2) ? 4 : 101);
}

std::size_t RandomCut(Random& random, std::size_t size) {
    switch (random.Range(0, 3)) {
    case 0:
        return size - std::min<std::size_t>(size, static_cast<std::size_t>(random.Range(1, 9)));
    case 1:
        return std::min<std::size_t>(size, static_cast<std::size_t>(random.Range(0, 48)));
    default:
        return static_cast<std::size_t>(random.Next() % (size + 1));
    }
}

Bytes AsFile(Random& random, const Bytes& dib) {
    Bytes file = RandomBytes(random, 14);
    file.insert(file.end(), dib.begin(), dib.end());
    return file;
}

std::string Difference(const Bytes& expected, const Bytes& actual) {
    const std::size_t common = std::min(expected.size(), actual.size());
    for (std::size_t i = 0; i < common; ++i)
        if (expected[i] != actual[i])
            return "byte " + std::to_string(i) + " of " + std::to_string(expected.size()) + ": expected " +
                   std::to_string(expected[i]) + ", got " + std::to_string(actual[i]);
    if (expected.size() != actual.size())
        return "expected " + std::to_string(expected.size()) + " bytes, got " + std::to_string(actual.size());
    return "equal";
}

} // namespace oracle
