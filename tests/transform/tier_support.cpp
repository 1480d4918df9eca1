// Pictures and runs for the tests of the fast road.
#include "tests/transform/tier_support.h"

#include "dibprep/host.h"
#include "tests/support/dib_builder.h"
#include "tests/support/test_host.h"
#include "transform/row_road.h"

#include <algorithm>
#include <cstring>

namespace tiertest {

std::vector<int> percentsSeen;
std::uint8_t* sourceBytes;
std::size_t sourceSize;

namespace {

constexpr unsigned short MemoryToMemory = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_MEMORY;

int PelsPerMeter(int dpi) { return (dpi * 10000 + 253) / 254; }

std::uint8_t Sample(Picture picture, testdib::Random& random, std::size_t at) {
    switch (picture) {
    case Picture::Random:
        return static_cast<std::uint8_t>(random.Next());
    case Picture::FewLevels: // differences that thirds and quarters divide
        return static_cast<std::uint8_t>(random.Range(0, 7) * 36);
    case Picture::Flat:
        return random.OneIn(40) ? 200 : 173;
    case Picture::White:
        return 255;
    case Picture::Black:
        return 0;
    case Picture::Stripes:
        return at % 5 < 2 ? 255 : 0;
    case Picture::Levels: // runs of one level, longer than vectors
        return static_cast<std::uint8_t>(at / 300 % 4 * 60);
    case Picture::Lines: // whole rows of white and black among others
        return at / 200 % 3 == 0 ? static_cast<std::uint8_t>(random.Next()) : at / 200 % 3 == 1 ? 255 : 0;
    case Picture::Margins: // long runs of paper, in some rows of another, beside differences that thirds divide
        if (at % 2400 < 800)
            return static_cast<std::uint8_t>(random.Range(0, 7) * 36);
        return at / 2400 % 5 == 3 ? 254 : 255;
    }
    return 0;
}

// The source and destination blocks of one run.
struct Blocks {
    void* source;
    void* destination = nullptr;

    explicit Blocks(const Call& call) : source(testhost::MakeBlock(call.source)) {
        unsigned int size = 0;
        GetTransformImageMemorySize(MemoryToMemory, &source, static_cast<unsigned short>(call.dpi), &size);
        destination = testhost::MakeBlock(Bytes(size, call.fill));
        sourceBytes = testhost::Address(source);
        sourceSize = call.source.size();
        percentsSeen.clear();
        testhost::ResetCounters();
    }
    ~Blocks() {
        GlobalFree(source);
        GlobalFree(destination);
        dibprep::ForceTier(dibprep::BestKnownTier);
    }
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    Outcome Take(unsigned int status) const {
        return {status, testhost::Bytes(destination), percentsSeen, testhost::Calls()};
    }
};

} // namespace

int Record(unsigned short percent) {
    percentsSeen.push_back(percent);
    return 1;
}

Bytes MakePage(const Page& page, std::uint32_t start) {
    testdib::Random random(start);
    Bytes dib = testdib::MakeDib(page.width, page.height, page.bits, PelsPerMeter(page.dpiX), PelsPerMeter(page.dpiY));
    if (page.bits == 1)
        testdib::SetEntry(dib, page.clearIsWhite ? 0 : 1, 255, 255, 255);
    if (page.bits == 8) {
        for (int i = 0; i < 256; ++i) {
            const int level = page.ownGrays ? (i * 7 + 13) & 255 : i;
            testdib::SetEntry(dib, i, level, level, level);
        }
    }
    const std::size_t rows = page.bits == 1 ? 48 : page.bits == 8 ? 1064 : 40;
    for (std::size_t i = rows; i < dib.size(); ++i)
        dib[i] = Sample(page.picture, random, i);
    return dib;
}

Outcome RunEntry(const Call& call, dibprep::Tier tier) {
    Blocks blocks(call);
    dibprep::ForceTier(tier);
    return blocks.Take(LinearTransformMain(MemoryToMemory, &blocks.source, &blocks.destination, call.callback,
                                           static_cast<unsigned short>(call.dpi), call.threshold));
}

Outcome RunLineBuilders(const Call& call) {
    Blocks blocks(call);
    unsigned int status = 0;
    {
        CBufTransfer from(&blocks.source, 1, 0);
        CBufTransfer to(&blocks.destination, 1, 1);
        CLinearTransformMem engine;
        engine.source = &from;
        engine.destination = &to;
        status = static_cast<unsigned int>(engine.LinearTransform(
            MemoryToMemory, call.callback, static_cast<unsigned short>(call.dpi), call.threshold));
    }
    return blocks.Take(status);
}

std::string CompareRows(const Call& call, dibprep::Tier tier) {
    Blocks blocks(call);
    CBufTransfer from(&blocks.source, 1, 0);
    CBufTransfer to(&blocks.destination, 1, 1);
    CLinearTransformMem engine;
    engine.source = &from;
    engine.destination = &to;
    if (engine.LinearTransform(MemoryToMemory, nullptr, static_cast<unsigned short>(call.dpi), call.threshold) != 0)
        return "the transform failed";
    const Bytes expected = testhost::Bytes(blocks.destination);
    std::fill(to.data + engine.outBitsOffset, to.data + expected.size(), call.fill);
    dibprep::ForceTier(tier);
    dibprep::PipelineRows rows;
    if (!rows.Prepare(engine))
        return "the fast road does not take this picture";
    if (rows.KernelTier() != tier)
        return std::string("the kernels are of the tier ") + dibprep::NameOf(rows.KernelTier());
    for (unsigned int y = engine.outHeight; y-- > 0;) {
        if (!rows.Build(engine, y))
            return "the fast road does not take row " + std::to_string(y);
    }
    const Bytes got = testhost::Bytes(blocks.destination);
    const auto differ = std::mismatch(expected.begin(), expected.end(), got.begin());
    if (differ.first == expected.end())
        return "";
    const auto at = static_cast<std::size_t>(differ.first - expected.begin()) - engine.outBitsOffset;
    return "row " + std::to_string(at / engine.outStride) + " byte " + std::to_string(at % engine.outStride) + ": " +
           std::to_string(*differ.second) + " instead of " + std::to_string(*differ.first);
}

std::string CompareEntry(const Call& call, dibprep::Tier tier) {
    const Outcome expected = RunLineBuilders(call);
    const Outcome got = RunEntry(call, tier);
    if (got.status != expected.status)
        return "status " + std::to_string(got.status) + " instead of " + std::to_string(expected.status);
    if (got.percents != expected.percents)
        return "other percentages";
    return got.block == expected.block ? "" : "other bytes";
}

} // namespace tiertest
