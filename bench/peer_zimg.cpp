// zimg: its bilinear resizer on one plane of bytes.
#include "bench/peers.h"

#include <algorithm>
#include <memory>
#include <zimg.h>

namespace bench {

namespace {

zimg_image_format Plane(const Raster& raster) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(raster.width);
    format.height = static_cast<unsigned>(raster.height);
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.color_family = ZIMG_COLOR_GREY;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

// Rows that start at multiples of 64 bytes, as zimg asks for.
struct Aligned {
    std::size_t stride;
    Buffer memory;
    explicit Aligned(const Raster& shape)
        : stride((static_cast<std::size_t>(shape.width) + 63) / 64 * 64),
          memory(stride * static_cast<std::size_t>(shape.height) + 64) {}
    std::uint8_t* data() {
        const auto at = reinterpret_cast<std::uintptr_t>(memory.data());
        return memory.data() + ((at + 63) / 64 * 64 - at);
    }
};

} // namespace

void AddZimg(const Task& task, std::vector<Contestant>& contestants) {
    if (task.job != Job::Scale || task.source.bits != 8 || task.outcome.bits != 8)
        return;
    const zimg_image_format from = Plane(task.source);
    const zimg_image_format to = Plane(task.outcome);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = ZIMG_RESIZE_BILINEAR;
    params.cpu_type = ZIMG_CPU_AUTO_64B;
    const std::shared_ptr<zimg_filter_graph> graph(zimg_filter_graph_build(&from, &to, &params),
                                                   [](zimg_filter_graph* built) { zimg_filter_graph_free(built); });
    const auto source = std::make_shared<Aligned>(task.source);
    const auto result = std::make_shared<Aligned>(task.outcome);
    for (int y = 0; y < task.source.height; ++y)
        std::copy_n(task.source.rows + static_cast<std::size_t>(y) * task.source.stride, task.source.width,
                    source->data() + static_cast<std::size_t>(y) * source->stride);
    std::size_t bytes = 0;
    if (graph)
        zimg_filter_graph_get_tmp_size(graph.get(), &bytes);
    const auto scratch = std::make_shared<Buffer>(bytes + 64);
    contestants.push_back(
        {"zimg, bilinear (widened when shrinking)", Memory::Touched,
         [=] {
             if (!graph)
                 return;
             zimg_image_buffer_const in = {};
             zimg_image_buffer out = {};
             in.version = out.version = ZIMG_API_VERSION;
             in.plane[0] = {source->data(), static_cast<std::ptrdiff_t>(source->stride), ZIMG_BUFFER_MAX};
             out.plane[0] = {result->data(), static_cast<std::ptrdiff_t>(result->stride), ZIMG_BUFFER_MAX};
             const auto at = reinterpret_cast<std::uintptr_t>(scratch->data());
             zimg_filter_graph_process(graph.get(), &in, &out, scratch->data() + ((at + 63) / 64 * 64 - at), nullptr,
                                       nullptr, nullptr, nullptr);
         },
         [=]() -> std::string { return graph ? Compare(task, result->data(), result->stride) : "failed"; }});
}

} // namespace bench
