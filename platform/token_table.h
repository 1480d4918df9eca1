// Handles that are checked tokens: a slot number, the slot's generation, and bits that say what
// kind of thing is meant. A freed slot gets a new generation and waits in a queue behind many
// others before it is used again, so a stale handle is refused for a very long time.
//
// A token always has one of its two lowest bits set, so that no address of an aligned object is
// mistaken for one. In 64 bits its upper 16 bits make it an address that no program can have, so
// that a handle taken for a pointer faults at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace dibhost {

// The lowest bits of a token. Blocks, of which there may be very many, take only one.
struct BlockKind {
    static constexpr unsigned int Bits = 1;
    static constexpr std::uintptr_t Value = 1;
};
struct FileKind {
    static constexpr unsigned int Bits = 4;
    static constexpr std::uintptr_t Value = 2;
};
struct PaletteKind {
    static constexpr unsigned int Bits = 4;
    static constexpr std::uintptr_t Value = 6;
};
struct DeviceContextKind {
    static constexpr unsigned int Bits = 4;
    static constexpr std::uintptr_t Value = 10;
};

// The number of no record.
constexpr std::uint32_t None = 0xFFFFFFFF;

// A table of up to 2^IndexBits records. Once more than Queue slots have been in use, a freed slot
// waits until Queue others have been freed after it.
//
// The table is meant for static storage: it is built at compile time and never destroyed, so that
// libraries which are unloaded late can still free what they hold. It does no locking of its own.
template <class Record, class Kind, unsigned int IndexBits, std::uint32_t Queue>
class TokenTable {
public:
    constexpr TokenTable() = default;

    // A new record, value-initialised, and its number; None when the table or the memory is full.
    std::uint32_t Add() {
        std::uint32_t index = None;
        if (m_freeCount <= Queue)
            index = Extend();
        if (index == None)
            index = TakeFree();
        if (index == None)
            return None;
        Slot& slot = At(index);
        slot.record = Record();
        slot.live = true;
        ++m_liveCount;
        return index;
    }

    // Ends the record's life: its token is refused from now on.
    void Remove(std::uint32_t index) {
        Slot& slot = At(index);
        slot.live = false;
        slot.generation = (slot.generation + 1) & GenerationMask;
        if (m_freeCount == 0)
            m_firstFree = index;
        else
            At(m_lastFree).nextFree = index;
        m_lastFree = index;
        ++m_freeCount;
        --m_liveCount;
    }

    Record& operator[](std::uint32_t index) { return At(index).record; }

    void* TokenOf(std::uint32_t index) {
        return reinterpret_cast<void*>(Kind::Value | static_cast<std::uintptr_t>(index) << Kind::Bits |
                                       static_cast<std::uintptr_t>(At(index).generation) << GenerationShift | Mark);
    }

    // The number of the live record that the token names; None for anything else.
    std::uint32_t Find(const void* token) {
        const auto value = reinterpret_cast<std::uintptr_t>(token);
        const auto index = static_cast<std::uint32_t>(value >> Kind::Bits) & (Capacity - 1);
        if (index >= m_used || !At(index).live || TokenOf(index) != token)
            return None;
        return index;
    }

    std::uint32_t LiveCount() const { return m_liveCount; }

private:
    struct Slot {
        Record record;
        std::uint32_t generation;
        std::uint32_t nextFree;
        bool live;
    };

    static constexpr bool Wide = sizeof(void*) == 8;
    static constexpr std::uint32_t Capacity = std::uint32_t{1} << IndexBits;
    static constexpr unsigned int GenerationShift = Kind::Bits + IndexBits;
    static constexpr unsigned int RoomForGeneration = (Wide ? 48 : 32) - GenerationShift;
    static constexpr unsigned int GenerationBits = RoomForGeneration < 31 ? RoomForGeneration : 31;
    static constexpr std::uint32_t GenerationMask = (std::uint32_t{1} << GenerationBits) - 1;
    static constexpr std::uintptr_t Mark =
        Wide ? static_cast<std::uintptr_t>(static_cast<std::uint64_t>(0xD1B0) << 48) : 0;
    static constexpr std::uint32_t ChunkSize = 256;
    static_assert(Queue < Capacity && Capacity % ChunkSize == 0, "fields fit");

    Slot& At(std::uint32_t index) { return m_chunks[index / ChunkSize][index % ChunkSize]; }

    // A slot that was never used; memory for the slots is taken in chunks and never given back.
    std::uint32_t Extend() {
        if (m_used == Capacity)
            return None;
        Slot*& chunk = m_chunks[m_used / ChunkSize];
        if (!chunk)
            chunk = new (std::nothrow) Slot[ChunkSize]();
        return chunk ? m_used++ : None;
    }

    std::uint32_t TakeFree() {
        if (m_freeCount == 0)
            return None;
        const std::uint32_t index = m_firstFree;
        m_firstFree = At(index).nextFree;
        --m_freeCount;
        return index;
    }

    Slot* m_chunks[Capacity / ChunkSize] = {};
    std::uint32_t m_used = 0;
    std::uint32_t m_liveCount = 0;
    std::uint32_t m_freeCount = 0;
    // The queue of freed slots; meaningful while m_freeCount is not 0. All-zero at first, like the
    // rest, so that a table takes no room in the library's file.
    std::uint32_t m_firstFree = 0;
    std::uint32_t m_lastFree = 0;
};

} // namespace dibhost
