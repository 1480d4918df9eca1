// Old 32-bit hosts keep their stack aligned to four bytes only. Every entry that runs vector code or
// calls others that do is called with the stack at each of the four places in sixteen bytes.
#include "tests/reliability/pages.h"

#include "dibprep.h"
#include "tests/support/test_host.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <initializer_list>

using namespace hostile;

// Calls function(args...) with the stack pointer `offset` bytes above a multiple of 16 at the call.
extern "C" std::uint32_t CallWithStackAt(void* function, unsigned offset, const std::uint32_t* args, unsigned count);

asm(R"(
    .text
    .globl CallWithStackAt
    .type CallWithStackAt, @function
CallWithStackAt:
    pushl %ebp
    movl %esp, %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    movl 20(%ebp), %ecx
    movl 16(%ebp), %esi
    movl 8(%ebp), %ebx
    leal (,%ecx,4), %eax
    subl %eax, %esp
    subl $16, %esp
    andl $-16, %esp
    addl 12(%ebp), %esp
    xorl %edx, %edx
1:  cmpl %ecx, %edx
    jae 2f
    movl (%esi,%edx,4), %eax
    movl %eax, (%esp,%edx,4)
    incl %edx
    jmp 1b
2:  call *%ebx
    leal -12(%ebp), %esp
    popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    ret
    .size CallWithStackAt, .-CallWithStackAt
    .section .note.GNU-stack,"",@progbits
    .text
)");

namespace {

unsigned stackOffset;

std::uint32_t Word(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }
std::uint32_t Word(int value) { return static_cast<std::uint32_t>(value); }
template <typename Result, typename... Args>
std::uint32_t Word(Result (*function)(Args...)) {
    return reinterpret_cast<std::uintptr_t>(function);
}

std::uint32_t CallWords(const char* name, std::initializer_list<std::uint32_t> words) {
    void* const function = dlsym(RTLD_DEFAULT, name);
    if (!function) {
        ADD_FAILURE() << name << " is not exported";
        return 0;
    }
    return CallWithStackAt(function, stackOffset, words.begin(), static_cast<unsigned>(words.size()));
}

// An exported function or member by its mangled name; a member's first argument is its object.
template <typename... Args>
std::uint32_t Call(const char* name, Args... args) {
    return CallWords(name, {Word(args)...});
}
template <typename... Args>
void* CallForBlock(const char* name, Args... args) {
    return reinterpret_cast<void*>(Call(name, args...));
}

int Percent(unsigned short) { return 1; }
int Rows(int, int) { return 1; }

Bytes Taken(void* block) { return block ? testhost::Bytes(block) : Bytes(); }

// Storage for an object that its own constructor fills.
template <typename T>
struct Storage {
    alignas(16) unsigned char bytes[sizeof(T)] = {};
    T* operator->() { return reinterpret_cast<T*>(bytes); }
    T* get() { return reinterpret_cast<T*>(bytes); }
};

// Everything that one page goes through, as bytes.
std::vector<Bytes> Everything(const std::string& kind) {
    testhost::Reset();
    const Bytes page = Page(kind, 200, 120);
    void* source = testhost::MakeBlock(page);
    unsigned char* const dib = testhost::Address(source);
    std::vector<Bytes> made;

    void* result = nullptr;
    EXPECT_EQ(Call("ConvertResolution", source, &result, Percent, 77, 128), 0u);
    made.push_back(Taken(result));
    unsigned size = 0;
    EXPECT_EQ(Call("GetBufferSize", source, 77, &size), 0u);
    EXPECT_EQ(Call("_Z27GetTransformImageMemorySizetPKvtPj", TRANSFER_SOURCE_MEMORY, &source, 77, &size), 0u);
    void* destination = testhost::MakeBlock(Bytes(size));
    EXPECT_EQ(Call("_Z19LinearTransformMaintPKvPvPFitEti", 34, &source, &destination, Percent, 77, 128), 0u);
    made.push_back(Taken(destination));
    for (const char* name : {"_Z12ConvertImagePvPS_", "_Z13ConvertImage2PvPS_"}) {
        Call(name, source, &result);
        made.push_back(Taken(result));
    }

    unsigned short status = 0;
    made.push_back(Taken(CallForBlock("ConvertResolution2", source, 5000, 3000, &status)));
    Storage<CConvertResolution> resampler;
    Call("_ZN18CConvertResolutionC1Ev", resampler.get());
    const tagRECT frame = {0, 0, 150, 90};
    made.push_back(Taken(CallForBlock("_ZN18CConvertResolution8BiLinearEPKhPK7tagRECTS4_PFiiiE", resampler.get(), dib,
                                      &frame, &frame, Rows)));
    Call("_ZN18CConvertResolutionD1Ev", resampler.get());

    for (const char* name : {"_Z17ConvertTo24BPPDIBPh", "_Z17ConvertTo16BPPDIBPh", "_Z12NormalizeDIBPh"})
        made.push_back(Taken(CallForBlock(name, dib)));
    Storage<CNiGoRo2> quantiser;
    Call("_ZN8CNiGoRo2C1EPhtti", quantiser.get(), dib, 256, 5, 0);
    made.push_back(Taken(CallForBlock("_ZN8CNiGoRo214QuantizeBitmapEii", quantiser.get(), 1, 0)));
    Call("_ZN8CNiGoRo2D1Ev", quantiser.get());

    // The line builders take their fraction as a double, two words.
    Storage<CLinearTransformMem> transform;
    Call("_ZN19CLinearTransformMemC1Ev", transform.get());
    transform->srcWidth = 190;
    transform->outWidth = 140;
    transform->srcDpiX = 100;
    transform->outDpiX = 74;
    transform->ratioX = 0.74;
    transform->positions.resize(140);
    const Bytes row(800, 0x5A), other(800, 0xC3);
    const std::uint32_t half[] = {0, 0x3FE00000}; // 0.5
    for (const char* name : {"_ZN19CLinearTransformMem15MakeBWImageLineEdPhS0_S0_",
                             "_ZN19CLinearTransformMem21Make8bitGrayImageLineEdPhS0_S0_",
                             "_ZN19CLinearTransformMem29Make8bitPaletteColorImageLineEdPhS0_S0_",
                             "_ZN19CLinearTransformMem21MakeRGBColorImageLineEdPhS0_S0_"}) {
        Bytes out(800);
        CallWords(name,
                  {Word(transform.get()), half[0], half[1], Word(row.data()), Word(other.data()), Word(out.data())});
        made.push_back(out);
    }
    Call("_ZN19CLinearTransformMemD1Ev", transform.get());
    EXPECT_EQ(testhost::OutstandingLocks(), 0);
    EXPECT_EQ(testhost::BadCalls(), 0);
    return made;
}

class StackAlignment : public testing::TestWithParam<std::string> {
protected:
    void TearDown() override {
        stackOffset = 0;
        testhost::Reset();
    }
};

TEST_P(StackAlignment, FourBytesAreEnoughForEveryEntry) {
    stackOffset = 0;
    const std::vector<Bytes> aligned = Everything(GetParam());
    for (const unsigned offset : {4u, 8u, 12u}) {
        stackOffset = offset;
        const std::vector<Bytes> now = Everything(GetParam());
        ASSERT_EQ(now.size(), aligned.size());
        for (std::size_t i = 0; i < now.size(); ++i)
            EXPECT_TRUE(now[i] == aligned[i]) << "result " << i << ", offset " << offset;
    }
}

TEST_P(StackAlignment, FourBytesAreEnoughForTheStaticCube) {
    for (const unsigned offset : {0u, 4u, 8u, 12u}) {
        stackOffset = offset;
        Call("_ZN8CNiGoRo222CreateStaticSearchCubeEv");
        EXPECT_EQ(STATIC_CUBE[0][0][0].m_nCount, 5);
        Call("_ZN8CNiGoRo222DeleteStaticSearchCubeEv");
        EXPECT_EQ(Call("_Z14ColorToMono256j", 0x00FFFFFF) & 0xFF, 247u);
    }
    STATIC_COLOR.Free();
}

INSTANTIATE_TEST_SUITE_P(Of, StackAlignment, testing::ValuesIn(Kinds),
                         [](const testing::TestParamInfo<std::string>& kind) { return "Kind" + kind.param; });

} // namespace
