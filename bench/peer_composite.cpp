// What no single library does: colour table in, colour table out. The table by hand, OpenCV's resize,
// FreeImage's reduction.
#include "bench/peers.h"

#include <FreeImage.h>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

void AddComposite(const Task& task, std::vector<Contestant>& contestants) {
    if (task.job != Job::ScaleAndReduce)
        return;
    const Raster& from = task.source;
    const std::size_t stride = (static_cast<std::size_t>(from.width) * 3 + 3) / 4 * 4;
    const auto colours = std::make_shared<Buffer>(stride * static_cast<std::size_t>(from.height) + 4);
    const auto unload = [](FIBITMAP* bitmap) { FreeImage_Unload(bitmap); };
    const std::shared_ptr<FIBITMAP> scaled(FreeImage_Allocate(task.outcome.width, task.outcome.height, 24), unload);
    const auto made = std::make_shared<std::shared_ptr<FIBITMAP>>();
    contestants.push_back({"table, OpenCV resize, FreeImage Wu", Memory::Own,
                           [=] {
                               made->reset();
                               ExpandTable(from, colours->data(), stride);
                               const cv::Mat in(from.height, from.width, CV_8UC3, colours->data(), stride);
                               cv::Mat out(task.outcome.height, task.outcome.width, CV_8UC3,
                                           FreeImage_GetBits(scaled.get()), FreeImage_GetPitch(scaled.get()));
                               cv::resize(in, out, out.size(), 0, 0, cv::INTER_LINEAR);
                               FIBITMAP* const reduced = FreeImage_ColorQuantizeEx(scaled.get(), FIQ_WUQUANT, 256);
                               if (reduced)
                                   made->reset(reduced, unload);
                           },
                           [=]() -> std::string {
                               FIBITMAP* const bitmap = made->get();
                               return bitmap
                                          ? CompareColours(task, FreeImage_GetBits(bitmap), FreeImage_GetPitch(bitmap),
                                                           reinterpret_cast<BYTE*>(FreeImage_GetPalette(bitmap)), 4)
                                          : "failed";
                           }});
}

} // namespace bench
