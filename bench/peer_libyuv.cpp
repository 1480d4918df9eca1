// libyuv: its bilinear scalers and conversions of packed pixels.
#include "bench/peers.h"

#include <libyuv.h>
#include <libyuv/scale_rgb.h>
#include <memory>

namespace bench {

void AddLibyuv(const Task& task, std::vector<Contestant>& contestants) {
    const Raster& from = task.source;
    const Raster& shape = task.outcome;
    const auto buffer = std::make_shared<Buffer>(shape.stride * static_cast<std::size_t>(shape.height) + 64);
    const int in = static_cast<int>(from.stride);
    const int out = static_cast<int>(shape.stride);
    const auto add = [&](const char* name, std::function<void()> run) {
        contestants.push_back({name, Memory::Touched, std::move(run),
                               [task, buffer] { return Compare(task, buffer->data(), task.outcome.stride); }});
    };
    if (task.job == Job::Scale && from.bits == 24)
        add("libyuv RGBScale, bilinear", [=] {
            libyuv::RGBScale(from.rows, in, from.width, from.height, buffer->data(), out, shape.width, shape.height,
                             libyuv::kFilterBilinear);
        });
    if (task.job == Job::Scale && from.bits == 32)
        add("libyuv ARGBScale, bilinear", [=] {
            libyuv::ARGBScale(from.rows, in, from.width, from.height, buffer->data(), out, shape.width, shape.height,
                              libyuv::kFilterBilinear);
        });
    if (task.job == Job::Scale && from.bits == 8 && shape.bits == 8 && !from.table)
        add("libyuv ScalePlane, bilinear", [=] {
            libyuv::ScalePlane(from.rows, in, from.width, from.height, buffer->data(), out, shape.width, shape.height,
                               libyuv::kFilterBilinear);
        });
    if (task.job == Job::Flip)
        add("libyuv CopyPlane",
            [=] { libyuv::CopyPlane(from.rows, in, buffer->data(), out, from.width * from.bits / 8, -from.height); });
    if (task.job == Job::Convert && from.bits == 32)
        add("libyuv ARGBToRGB24",
            [=] { libyuv::ARGBToRGB24(from.rows, in, buffer->data(), out, from.width, from.height); });
}

} // namespace bench
