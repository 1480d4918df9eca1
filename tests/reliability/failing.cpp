// The calls of failing.h, and how their answers are put into words.

#include "tests/reliability/failing.h"

#include "dibprep.h"
#include "tests/reliability/pages.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_host.h"

#include <memory>

namespace failing {

namespace {

using hostile::Edited;
using testdib::Bytes;

constexpr unsigned short MemoryToMemory = TRANSFER_SOURCE_MEMORY | TRANSFER_DESTINATION_MEMORY;
constexpr unsigned short FileToFile = TRANSFER_SOURCE_FILE | TRANSFER_DESTINATION_FILE;

// What the current call works on.
void* source;
void* destination;

int newsOfCall;
std::vector<Bytes> blocksOfCall;
int pageWidth, pageHeight; // of the list that is made

Bytes Page(const std::string& kind) { return hostile::Page(kind, pageWidth, pageHeight); }

// A number, or whether there is a block.
struct Word {
    Word(int value) : number(value), isNumber(true) {}
    Word(unsigned value) : Word(static_cast<int>(value)) {}
    Word(void* handle) : number(0), isNumber(false), block(handle) {}
    int number;
    bool isNumber;
    void* block = nullptr;
};

// What a call gave, which is over when its words are made: they need memory of their own.
std::string Words(std::initializer_list<Word> words) {
    newsOfCall = testhost::News();
    testhost::FailNew(0);
    blocksOfCall.clear();
    std::string text;
    for (const Word& word : words) {
        text += (text.empty() ? "" : ", ") +
                (word.isNumber ? std::to_string(word.number) : std::string(word.block ? "block" : "none"));
        if (word.block && testhost::IsLive(word.block))
            blocksOfCall.push_back(testhost::Bytes(word.block));
    }
    return text;
}

Entry WithSource(const std::string& name, const Bytes& dib, std::function<std::string()> call) {
    return {name, [dib] { source = testhost::MakeBlock(dib); }, std::move(call)};
}

Entry Conversion(const std::string& name, const Bytes& dib) {
    return WithSource("ConvertResolution." + name, dib, [] {
        void* result = &source;
        const int status = ConvertResolution(source, &result, nullptr, 50, 128);
        return Words({status, result});
    });
}

Entry Utility(const std::string& name, void* (*function)(unsigned char*), const Bytes& dib) {
    return WithSource(name, dib, [function] { return Words({function(testhost::Address(source))}); });
}

Entry PreConversion(const std::string& name, unsigned (*function)(void*, void**), const Bytes& dib) {
    return WithSource(name, dib, [function] {
        void* result = &source;
        const unsigned made = function(source, &result);
        return Words({made, result});
    });
}

Bytes RunLengths(int bits, bool topDown) {
    Bytes dib = Edited(Page(bits == 8 ? "8c" : "4c"), {hostile::Compression(bits == 8 ? 1 : 2), hostile::ImageSize(4)});
    if (topDown)
        testdib::PutU32(dib, 8, static_cast<std::uint32_t>(-pageHeight));
    dib.resize(dib.size() + 258);
    return dib;
}

Bytes TopDown(const std::string& kind) {
    return Edited(Page(kind), {hostile::Height(static_cast<std::uint32_t>(-pageHeight))});
}

std::vector<Entry> Made(int width, int height) {
    pageWidth = width;
    pageHeight = height;
    std::vector<Entry> entries;
    for (const char* kind : {"1", "4c", "4g", "8c", "8g", "16", "24", "32"})
        entries.push_back(Conversion(kind, Page(kind)));

    entries.push_back({"LinearTransformMain.MemoryToMemory",
                       [page = Page("1")] {
                           source = testhost::MakeBlock(page);
                           destination = testhost::MakeBlock(Bytes(page.size() + 1078));
                       },
                       [] {
                           const unsigned status =
                               LinearTransformMain(MemoryToMemory, &source, &destination, nullptr, 50, 128);
                           return Words({status, destination});
                       }});
    static const transformtest::TempFolder folder;
    const std::string in = folder.Write(std::to_string(width) + ".bmp", transformtest::AsFile(Page("24")));
    const std::string path = folder.Path("out.bmp");
    entries.push_back({"LinearTransformMain.FileToFile", [] {},
                       [in, path] {
                           auto* const out = const_cast<char*>(path.c_str());
                           return Words({LinearTransformMain(FileToFile, in.c_str(), out, nullptr, 50, 128)});
                       }});
    entries.push_back(WithSource("GetTransformImageMemorySize", Page("24"), [] {
        unsigned size = 0;
        return Words({GetTransformImageMemorySize(TRANSFER_SOURCE_MEMORY, &source, 50, &size)});
    }));
    entries.push_back(WithSource("GetBufferSize", Page("24"), [] {
        unsigned size = 0;
        return Words({GetBufferSize(source, 50, &size)});
    }));
    entries.push_back(PreConversion("ConvertImage", ConvertImage, Page("8c")));
    entries.push_back(PreConversion("ConvertImage2", ConvertImage2, Page("4g")));

    entries.push_back(WithSource("ConvertResolution2.Resampling", Page("24"), [] {
        unsigned short status = 0;
        void* const made = ConvertResolution2(source, 2000, 2000, &status);
        return Words({made, int{status}});
    }));
    entries.push_back(WithSource("ConvertResolution2.Copy", Edited(Page("24"), {hostile::PpmX(0)}), [] {
        unsigned short status = 0;
        void* const made = ConvertResolution2(source, 2000, 2000, &status);
        return Words({made, int{status}});
    }));
    for (const char* kind : {"1", "8c", "16", "32"}) {
        entries.push_back(WithSource(std::string("BiLinear.") + kind, Page(kind), [width, height] {
            CConvertResolution resampler;
            const tagRECT frame = {0, 0, width * 5 / 8, height * 5 / 8};
            void* const made = resampler.BiLinear(testhost::Address(source), &frame, &frame, nullptr);
            return Words({made, resampler.m_nLastError});
        }));
    }
    entries.push_back(WithSource("CConvertResolution.CreateDIB", Page("24"), [] {
        CConvertResolution resampler;
        void* const made =
            resampler.CreateDIB(reinterpret_cast<const tagBITMAPINFO*>(testhost::Address(source)), nullptr);
        return Words({made, resampler.m_nLastError});
    }));
    entries.push_back(WithSource("CConvertResolution.GetCoordTable", Page("24"), [] {
        CConvertResolution resampler;
        _tagDIBPARAM param;
        resampler.SetDIBParam(testhost::Address(source), param);
        const std::unique_ptr<_tagCOORDENTRY[]> table(resampler.GetCoordTable(param, 0, 32768, 5));
        return Words({table.get()});
    }));

    entries.push_back({"CreateDIB", [] {}, [] { return Words({CreateDIB(8, 8, 8)}); }});
    entries.push_back(Utility("CreateDIBPalette", CreateDIBPalette, Page("8c")));
    entries.push_back(Utility("RestoreRLE8", RestoreRLE8, RunLengths(8, false)));
    entries.push_back(Utility("RestoreRLE4", RestoreRLE4, RunLengths(4, false)));
    entries.push_back(Utility("TopDownToBottomUp", TopDownToBottomUp, TopDown("24")));
    entries.push_back(Utility("NormalizeDIB.RunLengths", NormalizeDIB, RunLengths(8, false)));
    entries.push_back(Utility("NormalizeDIB.TopDown", NormalizeDIB, TopDown("24")));
    for (const char* kind : {"1", "4c", "8c", "16", "24", "32"}) {
        entries.push_back(Utility(std::string("ConvertTo24BPPDIB.") + kind, ConvertTo24BPPDIB, Page(kind)));
        entries.push_back(Utility(std::string("ConvertTo16BPPDIB.") + kind, ConvertTo16BPPDIB, Page(kind)));
    }
    entries.push_back(Utility("ConvertTo24BPPDIB.RunLengths", ConvertTo24BPPDIB, RunLengths(8, false)));
    entries.push_back(Utility("ConvertTo16BPPDIB.TopDown", ConvertTo16BPPDIB, TopDown("24")));

    for (const char* kind : {"16", "24"}) {
        entries.push_back(WithSource(std::string("QuantizeBitmap.") + kind, Page(kind), [] {
            CNiGoRo2 quantiser(testhost::Address(source), 256, 5, 0);
            return Words({quantiser.QuantizeBitmap(1, 0)});
        }));
    }
    entries.push_back(WithSource("CImgConverter", Page("24"), [] {
        CImgConverter converter;
        converter.header = reinterpret_cast<tagBITMAPINFOHEADER*>(testhost::Address(source));
        void* gray = &source;
        void* colour = &source;
        const int made = converter.MakeGray256Image(gray) + converter.MakeFullColorImage(colour);
        return Words({made, gray, colour});
    }));
    entries.push_back({"SetStaticColors", [] { STATIC_COLOR.Free(); },
                       [] {
                           CNiGoRo2::SetStaticColors();
                           const int empty = STATIC_COLOR.IsEmpty();
                           STATIC_COLOR.Free();
                           return Words({empty});
                       }});
    return entries;
}

} // namespace

int NewsOfCall() { return newsOfCall; }

const std::vector<Bytes>& BlocksOfCall() { return blocksOfCall; }

std::vector<Entry> Entries(int width, int height) { return Made(width, height); }

} // namespace failing
