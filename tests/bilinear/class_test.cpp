// The shape of the class and of its records, as hosts built elsewhere rely on it.
#include "tests/bilinear/bilinear_test.h"

#include <cstddef>
#include <type_traits>

namespace {

static_assert(std::is_polymorphic_v<CConvertResolution> && std::has_virtual_destructor_v<CConvertResolution>);
static_assert(sizeof(CConvertResolution) == sizeof(void*) * 2, "the table and one word, padded");
static_assert(offsetof(_tagCOORDENTRY, nOffset0) == 0 && offsetof(_tagCOORDENTRY, nOffset1) == 4 &&
              offsetof(_tagCOORDENTRY, nFraction) == 8 && sizeof(_tagCOORDENTRY) == 12);
static_assert(offsetof(_tagDIBPARAM, nWidth) == 0 && offsetof(_tagDIBPARAM, nHeight) == 4 &&
              offsetof(_tagDIBPARAM, nBitCount) == 8 && offsetof(_tagDIBPARAM, nLineBytes) == 12 &&
              offsetof(_tagDIBPARAM, nBytesPerPixel) == 16 && offsetof(_tagDIBPARAM, nChannels) == 20 &&
              offsetof(_tagDIBPARAM, nColors) == 24 && offsetof(_tagDIBPARAM, dwCompression) == 28 &&
              offsetof(_tagDIBPARAM, nBitsOffset) == 32 && offsetof(_tagDIBPARAM, nImageSize) == 36 &&
              offsetof(_tagDIBPARAM, byMask) == 40 && offsetof(_tagDIBPARAM, nPixelsPerByte) == 44 &&
              offsetof(_tagDIBPARAM, pHeader) == 48 && offsetof(_tagDIBPARAM, pColorTable) == 48 + sizeof(void*) &&
              offsetof(_tagDIBPARAM, pBits) == 48 + 2 * sizeof(void*));

int destroyed, deleted;

class Watched : public CConvertResolution {
public:
    ~Watched() override { ++destroyed; }
    static void* operator new(std::size_t bytes) { return ::operator new(bytes); }
    static void operator delete(void* memory) {
        ++deleted;
        ::operator delete(memory);
    }
};

TEST(ResamplerClass, StartsWithoutAnError) {
    const CConvertResolution object;
    EXPECT_EQ(object.m_nLastError, 0);
}

TEST(ResamplerClass, ErrorStandsRightBehindTheTable) {
    CConvertResolution object;
    EXPECT_EQ(reinterpret_cast<char*>(&object.m_nLastError) - reinterpret_cast<char*>(&object),
              static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST(ResamplerClass, DeletingThroughTheBaseDestroysTheWholeObject) {
    destroyed = deleted = 0;
    CConvertResolution* const object = new Watched;
    delete object;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(deleted, 1);
}

TEST(ResamplerClass, TableHoldsTheDestructorThenTheDeletingDestructor) {
    using Destructor = void (*)(void*);
    destroyed = deleted = 0;
    CConvertResolution* object = new Watched;
    Destructor* table;
    std::memcpy(&table, static_cast<void*>(object), sizeof table);
    table[1](object);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(deleted, 1);

    object = new Watched;
    std::memcpy(&table, static_cast<void*>(object), sizeof table);
    table[0](object);
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(deleted, 1);
    Watched::operator delete(object);
}

TEST(LimitGlobals, HaveTheirInitialValues) {
    EXPECT_EQ(COLOR_MAX_VALUE, 255);
    EXPECT_EQ(COLOR_MAX_VALUE16, 32767);
    EXPECT_EQ(WHITE_POINT_VALUE, 255);
    EXPECT_EQ(WHITE_POINT_VALUE16, 16383);
    EXPECT_EQ(BLACK_POINT_VALUE, 0);
    EXPECT_EQ(BLACK_POINT_VALUE16, 0);
}

} // namespace
