// Rows so wide that the plan of a faster form would outweigh them are left to the scalar rows.
#include "bilinear/deep_rows.h"
#include "bilinear/fast_rows.h"
#include "bilinear/row.h"
#include "tests/bilinear/bilinear_test.h"
#include "tests/support/tiers.h"

using namespace bilinear_test;
using namespace testdib;
using dibprep::DeepRows;
using dibprep::DeepRowsFor;
using dibprep::FastRows;
using dibprep::RowsFor;
using dibprep::RowTask;

namespace {

class WideRows : public testtiers::OnTier<BilinearTest> {
protected:
    // Whether a row of so many pixels is made fast, from a source of two.
    bool IsFast(int bits, int pixels) {
        const Bytes dib = MakeDib(2, 1, bits);
        _tagDIBPARAM source;
        object.SetDIBParam(dib.data(), source);
        const int unit = bits / 8;
        const std::vector<_tagCOORDENTRY> columns(static_cast<std::size_t>(pixels), _tagCOORDENTRY{0, unit, 100});
        RowTask task = {};
        task.columns = columns.data();
        task.count = pixels;
        task.outStep = unit;
        task.source = &source;
        return bits < 48 ? FastRows(RowsFor(GetParam()), task, true).Active()
                         : DeepRows(DeepRowsFor(GetParam()), task, true).Active();
    }
};

TEST_P(WideRows, UpToSixtyFourMebibytesOfPlan) {
    for (const int bits : {24, 32, 48, 64}) {
        EXPECT_TRUE(IsFast(bits, 65535)) << bits;
        EXPECT_FALSE(IsFast(bits, 4 << 20)) << bits;
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, WideRows, testtiers::FastTiers(), testtiers::NameOfTier);

} // namespace
