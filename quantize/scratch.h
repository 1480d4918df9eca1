// Memory for the length of one call. Not having it is never an error: the caller then takes the
// scalar form. It comes from malloc and not from operator new, which in this folder makes only what
// the object owns: a host that replaces operator new sees the same requests whatever form runs.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>

namespace dibprep {

template <typename T>
class Scratch {
    static_assert(std::is_trivial_v<T>, "neither constructed nor destroyed");

public:
    enum class Fill { None, Zeros };

    Scratch(std::size_t count, Fill fill)
        : m_data(static_cast<T*>(fill == Fill::Zeros ? std::calloc(count, sizeof(T)) : Uninitialised(count))) {}
    ~Scratch() { std::free(m_data); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    explicit operator bool() const { return m_data != nullptr; }
    T* get() const { return m_data; }
    T& operator[](std::size_t i) const { return m_data[i]; }

private:
    static void* Uninitialised(std::size_t count) {
        return count > static_cast<std::size_t>(-1) / sizeof(T) ? nullptr : std::malloc(count * sizeof(T));
    }

    T* m_data;
};

} // namespace dibprep
