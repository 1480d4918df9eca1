// The two ways to the rows of an image: the line builders, which define every result, and the fast
// road, which gives the same bytes from what is the same in all rows.
#pragma once

#include "transform/colour_rows.h"
#include "transform/estimated_rows.h"
#include "transform/mono_rows.h"

#include <cstdint>

namespace dibprep {

enum class RowRoad { LineBuilders, Fast };

// The transform and its row loop, on either road. The fast road is for an object that nobody else
// sees: it leaves the line builders' traces (gray histogram) out and takes the object's fields to
// stay as they are while the progress callback runs.
int RunTransform(CLinearTransformMem& engine, unsigned short mode, int (*progress)(unsigned short), unsigned short dpi,
                 int threshold, RowRoad road);
int BuildImage(CLinearTransformMem& engine, unsigned short mode, int threshold, RowRoad road);

// The fast road of one image from memory to memory.
class PipelineRows {
public:
    // Whether this image can take it: both sides in memory and apart from each other, a kind that
    // has a fast form, a processor that has one, scratch memory. To be asked once, when the columns
    // are mapped.
    bool Prepare(const CLinearTransformMem& engine);

    // Builds output row y. False if the line builders must.
    bool Build(const CLinearTransformMem& engine, unsigned int y);

    // To be called whenever foreign code ran: it may have written into the source.
    void Forget();

    // The best tier among the kernels that build the rows.
    Tier KernelTier() const { return m_tier; }
    const EstimatedRows::Counts& Estimates() const { return m_estimated.Made(); }

private:
    enum class Form { None, Colour, Estimated, Mono };

    Form m_form = Form::None;
    Tier m_tier = Tier::Scalar;
    ColourRows m_colour;
    EstimatedRows m_estimated;
    MonoRows m_mono;
};

} // namespace dibprep
