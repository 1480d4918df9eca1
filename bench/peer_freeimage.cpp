// FreeImage: rescaling, Wu's quantiser, its BMP loader, depth conversions. Its rows are bottom-up
// and padded like a DIB's.
#include "bench/peers.h"

#include <FreeImage.h>
#include <cstring>
#include <memory>

namespace bench {

namespace {

using Picture = std::shared_ptr<FIBITMAP>;

Picture Owned(FIBITMAP* bitmap) {
    return {bitmap, [](FIBITMAP* made) { FreeImage_Unload(made); }};
}

Picture Copied(const Raster& raster) {
    const Picture picture = Owned(FreeImage_Allocate(raster.width, raster.height, raster.bits));
    for (int y = 0; y < raster.height; ++y)
        std::memcpy(FreeImage_GetScanLine(picture.get(), y), raster.rows + static_cast<std::size_t>(y) * raster.stride,
                    (static_cast<std::size_t>(raster.width) * static_cast<std::size_t>(raster.bits) + 7) / 8);
    if (raster.bits == 8)
        for (std::size_t i = 0; i < 256; ++i) {
            RGBQUAD* const entry = FreeImage_GetPalette(picture.get()) + i;
            const auto gray = static_cast<BYTE>(i);
            *entry = raster.table ? RGBQUAD{raster.table[i * 4], raster.table[i * 4 + 1], raster.table[i * 4 + 2], 0}
                                  : RGBQUAD{gray, gray, gray, 0};
        }
    return picture;
}

} // namespace

void AddFreeImage(const Task& task, std::vector<Contestant>& contestants) {
    const auto made = std::make_shared<Picture>();
    // `make` gives a new picture, which lives until the next one is made.
    const auto add = [&](const char* name, std::function<FIBITMAP*()> make) {
        contestants.push_back({name, Memory::Own,
                               [made, make] {
                                   made->reset();
                                   FIBITMAP* const bitmap = make();
                                   *made = bitmap ? Owned(bitmap) : nullptr;
                               },
                               [made, task]() -> std::string {
                                   FIBITMAP* const bitmap = made->get();
                                   if (!bitmap || static_cast<int>(FreeImage_GetBPP(bitmap)) != task.outcome.bits ||
                                       static_cast<int>(FreeImage_GetWidth(bitmap)) != task.outcome.width ||
                                       static_cast<int>(FreeImage_GetHeight(bitmap)) != task.outcome.height)
                                       return "failed";
                                   const BYTE* const rows = FreeImage_GetBits(bitmap);
                                   const std::size_t stride = FreeImage_GetPitch(bitmap);
                                   if (task.job != Job::Reduce)
                                       return Compare(task, rows, stride);
                                   return CompareColours(task, rows, stride,
                                                         reinterpret_cast<BYTE*>(FreeImage_GetPalette(bitmap)), 4);
                               }});
    };
    const int width = task.outcome.width;
    const int height = task.outcome.height;
    if (task.job == Job::ExpandRuns) {
        add("FreeImage, BMP from memory", [task] {
            FIMEMORY* const memory =
                FreeImage_OpenMemory(const_cast<BYTE*>(task.file), static_cast<DWORD>(task.fileSize));
            FIBITMAP* const bitmap = FreeImage_LoadFromMemory(FIF_BMP, memory, 0);
            FreeImage_CloseMemory(memory);
            return bitmap;
        });
        return;
    }
    if (task.source.bits == 1 || task.job == Job::Flip || task.job == Job::ScaleAndReduce ||
        (task.job == Job::Scale && task.source.bits != task.outcome.bits))
        return;
    const Picture source = Copied(task.source);
    if (task.job == Job::Scale)
        add("FreeImage Rescale, bilinear",
            [source, width, height] { return FreeImage_Rescale(source.get(), width, height, FILTER_BILINEAR); });
    if (task.job == Job::Reduce)
        add("FreeImage, Wu's quantiser",
            [source] { return FreeImage_ColorQuantizeEx(source.get(), FIQ_WUQUANT, 256); });
    if (task.job == Job::Convert && task.outcome.bits == 24)
        add("FreeImage ConvertTo24Bits", [source] { return FreeImage_ConvertTo24Bits(source.get()); });
    if (task.job == Job::Convert && task.outcome.bits == 16)
        add("FreeImage ConvertTo16Bits555", [source] { return FreeImage_ConvertTo16Bits555(source.get()); });
}

} // namespace bench
