// How the works of the benchmarks are put together.
#pragma once

#include "bench/harness.h"
#include "bench/pages.h"
#include "bench/peers.h"

#include <functional>
#include <memory>
#include <string>

namespace bench {

// A conversion as a host calls it: from the handle and the address of a locked source to the handle
// of the result.
struct Source {
    void* handle;
    std::uint8_t* address;
};
using Convert = std::function<void*(const Source&)>;

// LIMIT (with plain and with streaming stores), memcpy, the entry into a fresh block, the same on
// every tier into a touched block, and other libraries at the same job. LIMIT reads the source once
// and writes the result once and does nothing else: no conversion can be faster on this machine.
struct Page {
    std::shared_ptr<Dib> dib;
    std::shared_ptr<Bytes> runs = nullptr; // the DIB as it is converted, when not the above
};
Work Conversion(const Page& page, const Convert& convert, Job job);

void RegisterPipeline();
void RegisterResampler();
void RegisterUtilities();
void RegisterSmallImages();

} // namespace bench
