// Little-endian fields at any address. A host's block may start anywhere, so header fields are
// never read through a typed pointer.
#pragma once

#include <cstdint>
#include <cstring>

namespace dibprep {

inline std::uint16_t LoadU16(const void* at) {
    std::uint16_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

inline std::uint32_t LoadU32(const void* at) {
    std::uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

inline std::int32_t LoadI32(const void* at) { return static_cast<std::int32_t>(LoadU32(at)); }

inline void StoreU16(void* at, std::uint16_t value) { std::memcpy(at, &value, sizeof value); }

inline void StoreU32(void* at, std::uint32_t value) { std::memcpy(at, &value, sizeof value); }

} // namespace dibprep
