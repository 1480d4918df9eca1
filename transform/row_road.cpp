// Which images take the fast road, and its step from one row to the next.
#include "transform/row_road.h"

#include "transform/columns.h"
#include "transform/kinds.h"
#include "transform/transfer_io.h"

namespace dibprep {

namespace {

const std::uint8_t* FirstSourceRow(const CLinearTransformMem& engine) {
    return engine.source->data + engine.srcBitsOffset;
}

// Whether rows are read where others are written.
bool RowsOverlap(const CLinearTransformMem& engine) {
    const auto from = reinterpret_cast<std::uintptr_t>(FirstSourceRow(engine));
    const auto to = reinterpret_cast<std::uintptr_t>(engine.destination->data) + engine.outBitsOffset;
    const std::uint64_t fromEnd = from + std::uint64_t{engine.srcHeight} * engine.srcStride;
    const std::uint64_t toEnd = to + std::uint64_t{engine.outHeight} * engine.outStride;
    return from < toEnd && to < fromEnd;
}

} // namespace

bool PipelineRows::Prepare(const CLinearTransformMem& engine) {
    if (CurrentTier() == Tier::Scalar || IsFile(*engine.source) || IsFile(*engine.destination) ||
        engine.srcHeight == 0 || engine.outHeight == 0 || RowsOverlap(engine))
        return false;
    const RowKernels kernels = RowKernelsFor(CurrentTier());
    const ColumnFacts columns = ReadColumns(engine);
    if (!columns.usable)
        return false;
    if (engine.kind == KindBlackWhite) {
        if (m_mono.Prepare(engine, kernels))
            m_form = Form::Mono;
    } else if (engine.kind == KindGray8 || engine.kind == KindTrueColour) {
        if (columns.fractionBits == NotShort && m_estimated.Prepare(engine, kernels))
            m_form = Form::Estimated;
        else if (m_colour.Prepare(engine, columns, kernels))
            m_form = Form::Colour;
    }
    m_tier = kernels.tier;
    return m_form != Form::None;
}

bool PipelineRows::Build(const CLinearTransformMem& engine, unsigned int y) {
    const SamplePair rows = PairAt(y, engine.ratioY, engine.srcHeight);
    if (rows.second >= engine.srcHeight || !(rows.fraction >= 0 && rows.fraction < 1))
        return false;
    const std::uint8_t* const source = FirstSourceRow(engine);
    std::uint8_t* const out = engine.destination->data + engine.outBitsOffset + std::size_t{y} * engine.outStride;
    if (m_form == Form::Mono) {
        m_mono.Build(source, rows, out);
        return true;
    }
    if (m_form == Form::Estimated) {
        m_estimated.Build(source, rows, out);
        return true;
    }
    std::uint32_t nextFirst = ~0u;
    if (y + 1 < engine.outHeight)
        nextFirst = PairAt(y + 1, engine.ratioY, engine.srcHeight).first;
    m_colour.Build(source, rows, nextFirst, out);
    return true;
}

void PipelineRows::Forget() {
    m_colour.Forget();
    m_estimated.Forget();
    m_mono.Forget();
}

} // namespace dibprep
