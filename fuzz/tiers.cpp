// Fuzz target: every tier of kernels that the processor has does the same work, and every byte of the
// outcome must equal the scalar one's. Input: conditions (3 bytes; flag 5: a callback; flag 6: the
// quantiser's tree is compared too), function (1), two numbers (2 and 2), call at which the callback
// stops (1), frame and output rectangle (8 x 2), the DIB.
#include "fuzz/progress.h"

#include "memory/x86/cpu_tier.h"

#include <algorithm>

namespace {

using namespace fuzz;
using dibprep::Tier;

struct Work {
    bool progress;
    bool wholeTree;
    unsigned function;
    unsigned a;
    unsigned b;
    unsigned stop;
    tagRECT frame;
    tagRECT output;
};

class Outcome {
public:
    void Add(std::uint32_t word) {
        for (int shift = 0; shift < 32; shift += 8)
            m_bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
    // A result block, or its absence.
    void AddAndFree(void* block) {
        Add(block ? 1 : 0);
        if (!block)
            return;
        const std::size_t size = testhost::Size(block);
        const std::uint8_t* const bytes = testhost::Address(block);
        Add(static_cast<std::uint32_t>(size));
        m_bytes.insert(m_bytes.end(), bytes, bytes + size);
        GlobalFree(block);
    }
    bool operator==(const Outcome& other) const { return m_bytes == other.m_bytes; }

private:
    Bytes m_bytes;
};

void AddRecord(Outcome& outcome, const CColorTrans2& record) {
    outcome.Add(record.m_rgb.rgbBlue | record.m_rgb.rgbGreen << 8 | record.m_rgb.rgbRed << 16);
    outcome.Add(record.m_dwCount);
    outcome.Add(record.m_byIndex);
}

// What a host can see of the object, field by field: records have bytes between their fields.
void AddObject(Outcome& outcome, const CNiGoRo2& object, bool wholeTree) {
    outcome.Add(static_cast<std::uint32_t>(object.m_nColors));
    outcome.Add(object.m_wLinear);
    for (const CColorTrans2& record : object.m_Palette)
        AddRecord(outcome, record);
    for (const auto& plane : object.m_SearchCube)
        for (const auto& line : plane)
            for (const CCubeCell& cell : line) {
                outcome.Add(static_cast<std::uint32_t>(cell.m_nCount));
                for (int i = 0; i < cell.m_nCount; ++i)
                    AddRecord(outcome, cell.m_pList[i]);
            }
    outcome.Add(object.m_pCube ? 1 : 0);
    if (!object.m_pCube || !wholeTree)
        return;
    std::size_t nodes = 0, inLevel = 1;
    for (unsigned level = 0; level <= object.m_wDepth; ++level, inLevel *= 8)
        nodes += inLevel;
    std::uint64_t sum = 0; // of a megabyte, which would be too slow to keep
    for (std::size_t i = 0; i < nodes; ++i) {
        const CCube2& node = object.m_pCube[i];
        for (const std::uint32_t field : {node.m_dwRed, node.m_dwGreen, node.m_dwBlue, node.m_dwPixels, node.m_dwWeight,
                                          static_cast<unsigned int>(node.m_byChild), node.m_dwFixed})
            sum = (sum ^ field) * 0x9E3779B97F4A7C15 + (sum >> 31);
    }
    outcome.Add(static_cast<std::uint32_t>(sum));
    outcome.Add(static_cast<std::uint32_t>(sum >> 32));
}

void Pipeline(const Work& work, const Bytes& dib, Outcome& outcome) {
    const SourceBlock source(dib);
    void* result = nullptr;
    outcome.Add(static_cast<std::uint32_t>(
        ConvertResolution(source.handle(), &result, work.progress ? Percent : nullptr,
                          static_cast<unsigned short>(work.a), static_cast<std::int16_t>(work.b))));
    outcome.AddAndFree(result);
}

void Transform(const Work& work, const Bytes& dib, Outcome& outcome) {
    const SourceBlock source(dib);
    void* handle = source.handle();
    unsigned int size = 0;
    const auto dpi = static_cast<unsigned short>(work.a);
    outcome.Add(GetTransformImageMemorySize(34, &handle, dpi, &size));
    void* destination = testhost::MakeBlock(Bytes(std::clamp<std::size_t>(size, 1, LargestBlock)));
    outcome.Add(LinearTransformMain(34, &handle, &destination, work.progress ? Percent : nullptr, dpi,
                                    static_cast<std::int16_t>(work.b)));
    outcome.AddAndFree(destination);
}

void Resample(const Work& work, const Bytes& dib, Outcome& outcome) {
    const SourceBlock source(dib);
    unsigned short status = 0;
    void* const result = ConvertResolution2(source.handle(), work.a, work.b, &status);
    outcome.Add(status);
    outcome.AddAndFree(result);
}

void Stretch(const Work& work, Bytes dib, testhost::Side side, Outcome& outcome) {
    if (!Promise(dib, PromisedToResampler))
        return;
    PlacedBytes source(dib, side);
    CConvertResolution resampler;
    void* const result = resampler.BiLinear(source.data(), &work.frame, &work.output, work.progress ? Rows : nullptr);
    outcome.Add(static_cast<std::uint32_t>(resampler.m_nLastError));
    outcome.AddAndFree(result);
    source.RequireUnchanged();
}

void Quantise(const Work& work, Bytes dib, testhost::Side side, Outcome& outcome) {
    if (!Promise(dib, PromisedToQuantiser))
        return;
    PlacedBytes source(dib, side);
    CNiGoRo2 quantiser(source.data(), static_cast<unsigned short>(work.a), static_cast<unsigned short>(work.b % 6), 0);
    const unsigned defaults = work.stop % 16;
    if (defaults != 0) {
        quantiser.m_pDefaultColors = new tagRGBQUAD[defaults];
        quantiser.m_dwDefaultColors = defaults;
        for (unsigned i = 0; i < defaults; ++i)
            quantiser.m_pDefaultColors[i] = tagRGBQUAD{dib[i], dib[i + 1], dib[i + 2], 0};
    }
    outcome.AddAndFree(quantiser.QuantizeBitmap(1, 0));
    AddObject(outcome, quantiser, work.wholeTree);
}

void Change(const Work& work, Bytes dib, testhost::Side side, Outcome& outcome) {
    constexpr void* (*Functions[])(unsigned char*) = {RestoreRLE8,  RestoreRLE4,       TopDownToBottomUp,
                                                      NormalizeDIB, ConvertTo24BPPDIB, ConvertTo16BPPDIB};
    if (!Promise(dib, PromisedToUtilities))
        return;
    PlacedBytes source(dib, side);
    outcome.AddAndFree(Functions[work.a % (sizeof Functions / sizeof *Functions)](source.data()));
    source.RequireUnchanged();
}

void PreConvert(const Work& work, const Bytes& dib, Outcome& outcome) {
    const SourceBlock source(dib);
    void* result = nullptr;
    outcome.Add(work.a % 2 ? ConvertImage(source.handle(), &result) : ConvertImage2(source.handle(), &result));
    outcome.AddAndFree(result);
}

Outcome Do(const Work& work, const Conditions& conditions, const Bytes& dib, Tier tier) {
    dibprep::ForceTier(tier);
    conditions.Prepare();
    conditions.PlanFailures();
    PlanStop(work.stop);
    Outcome outcome;
    switch (work.function % 7) {
    case 0:
        Pipeline(work, dib, outcome);
        break;
    case 1:
        Transform(work, dib, outcome);
        break;
    case 2:
        Resample(work, dib, outcome);
        break;
    case 3:
        Stretch(work, dib, conditions.Side(), outcome);
        break;
    case 4:
        Quantise(work, dib, conditions.Side(), outcome);
        break;
    case 5:
        Change(work, dib, conditions.Side(), outcome);
        break;
    default:
        PreConvert(work, dib, outcome);
        break;
    }
    Conditions::TakeFailuresBack();
    outcome.Add(static_cast<std::uint32_t>(callsUntilStop)); // the callback was called as often
    Require(testhost::OutstandingLocks() == 0, "a block stays locked");
    testhost::Reset();
    dibprep::ForceTier(dibprep::BestKnownTier);
    return outcome;
}

// A page of 1 bit may have many more pixels in a block of the same size.
bool IsTooMuch(const Work& work, const Conditions& conditions, const Bytes& dib) {
    if (work.function % 7 > 1 || U16At(dib, 14) != 1)
        return false;
    conditions.Prepare();
    const SourceBlock source(dib);
    unsigned int size = 0;
    GetBufferSize(source.handle(), static_cast<unsigned short>(work.a), &size);
    return size > MostOneBitBytes;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    Work work;
    work.progress = conditions.Flag(5);
    work.wholeTree = conditions.Flag(6);
    work.function = input.U8();
    work.a = input.U16();
    work.b = input.U16();
    work.stop = input.U8();
    for (tagRECT* const rect : {&work.frame, &work.output})
        for (int tagRECT::*const side : {&tagRECT::left, &tagRECT::top, &tagRECT::right, &tagRECT::bottom})
            rect->*side = input.I16();
    const Bytes dib = input.Rest();
    if (dib.empty())
        return 0; // a block of no bytes is a promise of any size
    if (IsTooMuch(work, conditions, dib))
        return 0;

    const Outcome expected = Do(work, conditions, dib, Tier::Scalar);
    for (const Tier tier : dibprep::EveryTier) {
        if (tier == Tier::Scalar)
            continue;
        if (tier > dibprep::ProcessorTier())
            break;
        if (!(Do(work, conditions, dib, tier) == expected)) {
            std::fprintf(stderr, "fuzz: tier %s\n", dibprep::NameOf(tier));
            Require(false, "a tier gives other bytes than the scalar kernels");
        }
    }
    return 0;
}
