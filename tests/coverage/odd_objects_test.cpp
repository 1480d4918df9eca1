// Objects whose public fields a host has set to what the library never makes, and host functions that
// fail where there is nothing to lose.
#include "dibprep.h"
#include "tests/support/dib_builder.h"
#include "tests/support/memory_test.h"

namespace {

using testdib::Bytes;

class OddObjects : public testhost::MemoryTest {};

} // namespace

TEST_F(OddObjects, AHandleMarkedAsLockedWithoutABlockUnlocksNothing) {
    CHandle handle(nullptr);
    testhost::ResetCounters();
    char byte = 0;
    handle.m_bLocked = true;
    handle.m_pMem = &byte;
    handle.UnLock();
    EXPECT_FALSE(handle.m_bLocked);
    EXPECT_EQ(handle.m_pMem, nullptr);
    EXPECT_EQ(testhost::Calls(), 0);
}

// 65536 colours used are none in 16 bits: the block for the table's colours is empty then.
TEST_F(OddObjects, AnEmptyColourLookupThatCannotBeLockedIsNoFailure) {
    Bytes dib = testdib::MakeDib(4, 2, 8);
    testdib::PutU32(dib, 32, 65536);
    const auto convert = [&] {
        void* const result = ConvertTo16BPPDIB(dib.data());
        Bytes bytes;
        if (result) {
            bytes = testhost::Bytes(result);
            GlobalFree(result);
        }
        return bytes;
    };
    const Bytes undisturbed = convert();
    ASSERT_EQ(undisturbed.size(), 40u + 2 * 8);
    testhost::ResetCounters();
    convert();
    const int locks = testhost::Locks();
    // The lookup's lock comes last; each before it is the result's, without which there is none.
    for (int n = 1; n <= locks; ++n) {
        testhost::FailLock(n);
        EXPECT_EQ(convert(), n == locks ? undisturbed : Bytes()) << "lock " << n << " of " << locks;
        EXPECT_EQ(testhost::LiveBlocks(), 0);
    }
}

TEST_F(OddObjects, AConverterWithoutATableMakesItsBlockAllTheSame) {
    for (const int bits : {4, 8}) {
        Bytes dib = testdib::MakeDib(4, 2, bits);
        CImgConverter converter;
        converter.header = reinterpret_cast<tagBITMAPINFOHEADER*>(dib.data());
        converter.colorTable = nullptr;
        converter.bits = dib.data();
        void* result = nullptr;
        EXPECT_EQ(converter.MakeGray256Image(result), 0);
        ASSERT_TRUE(testhost::IsLive(result));
        EXPECT_EQ(testhost::Bytes(result), Bytes(40 + 1024 + 8));
        GlobalFree(result);
    }
}
