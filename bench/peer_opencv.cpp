// OpenCV: resize, cvtColor, flip. One thread.
#include "bench/peers.h"

#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

namespace {

int TypeOf(int bits) { return bits == 32 ? CV_8UC4 : bits == 24 ? CV_8UC3 : bits == 16 ? CV_8UC2 : CV_8UC1; }

cv::Mat View(const Raster& raster) {
    return {raster.height, raster.width, TypeOf(raster.bits), const_cast<std::uint8_t*>(raster.rows), raster.stride};
}

cv::Mat View(const Raster& shape, Buffer& buffer) {
    return {shape.height, shape.width, TypeOf(shape.bits), buffer.data(), shape.stride};
}

} // namespace

void AddOpenCv(const Task& task, std::vector<Contestant>& contestants) {
    cv::setNumThreads(1);
    const Raster& from = task.source;
    const Raster& shape = task.outcome;
    const auto buffer = std::make_shared<Buffer>(shape.stride * static_cast<std::size_t>(shape.height) + 64);
    const auto add = [&](const char* name, std::function<void()> run) {
        contestants.push_back({name, Memory::Touched, std::move(run),
                               [task, buffer] { return Compare(task, buffer->data(), task.outcome.stride); }});
    };
    if (task.job == Job::Scale && from.bits == 1) {
        const std::size_t across = (static_cast<std::size_t>(from.width) + 7) / 8 * 8;
        const std::size_t outAcross = (static_cast<std::size_t>(shape.width) + 7) / 8 * 8;
        const auto bytes = std::make_shared<Buffer>(across * static_cast<std::size_t>(from.height));
        const auto scaled = std::make_shared<Buffer>(outAcross * static_cast<std::size_t>(shape.height));
        add("OpenCV resize, INTER_LINEAR, on bytes", [=] {
            ExpandBits(from, bytes->data(), across);
            const cv::Mat in(from.height, from.width, CV_8UC1, bytes->data(), across);
            cv::Mat out(shape.height, shape.width, CV_8UC1, scaled->data(), outAcross);
            cv::resize(in, out, out.size(), 0, 0, cv::INTER_LINEAR);
            PackBits(scaled->data(), outAcross, shape.width, shape.height, buffer->data(), shape.stride);
        });
    } else if (task.job == Job::Scale && !from.table && from.bits < shape.bits) {
        Raster gray = shape;
        gray.bits = 8;
        gray.stride = (static_cast<std::size_t>(shape.width) + 3) / 4 * 4;
        const auto scaled = std::make_shared<Buffer>(gray.stride * static_cast<std::size_t>(gray.height));
        add("OpenCV resize, then cvtColor", [=] {
            cv::Mat bytes = View(gray, *scaled);
            cv::resize(View(from), bytes, bytes.size(), 0, 0, cv::INTER_LINEAR);
            cv::Mat out = View(shape, *buffer);
            cv::cvtColor(bytes, out, cv::COLOR_GRAY2BGR);
        });
    } else if (task.job == Job::Scale && !from.table) {
        add("OpenCV resize, INTER_LINEAR", [=] {
            cv::Mat out = View(shape, *buffer);
            cv::resize(View(from), out, out.size(), 0, 0, cv::INTER_LINEAR);
        });
    } else if (task.job == Job::Scale) {
        const std::size_t stride = (static_cast<std::size_t>(from.width) * 3 + 3) / 4 * 4;
        const auto colours = std::make_shared<Buffer>(stride * static_cast<std::size_t>(from.height) + 4);
        add("table, then OpenCV resize", [=] {
            ExpandTable(from, colours->data(), stride);
            const cv::Mat in(from.height, from.width, CV_8UC3, colours->data(), stride);
            cv::Mat out = View(shape, *buffer);
            cv::resize(in, out, out.size(), 0, 0, cv::INTER_LINEAR);
        });
    } else if (task.job == Job::Flip) {
        add("OpenCV flip", [=] {
            cv::Mat out = View(shape, *buffer);
            cv::flip(View(from), out, 0);
        });
    } else if (task.job == Job::Convert && from.bits > 8) {
        add("OpenCV cvtColor", [=] {
            cv::Mat out = View(shape, *buffer);
            cv::cvtColor(View(from), out, shape.bits == 16 ? cv::COLOR_BGR2BGR555 : cv::COLOR_BGRA2BGR);
        });
    } else if (task.job == Job::Convert) {
        const auto table = std::make_shared<Buffer>(768);
        for (std::size_t i = 0; i < 768; ++i)
            (*table)[i] = from.table[i / 3 * 4 + i % 3];
        add("OpenCV cvtColor and LUT", [=] {
            const cv::Mat colours(1, 256, CV_8UC3, table->data());
            cv::Mat out = View(shape, *buffer);
            cv::cvtColor(View(from), out, cv::COLOR_GRAY2BGR);
            cv::LUT(out, colours, out);
        });
    }
}

} // namespace bench
