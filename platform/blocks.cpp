// Movable memory blocks and the block scopes of a thread.
#include "platform/block_memory.h"
#include "platform/token_table.h"

#include "dibprep/host.h"
#include "dibprep/hostlayer.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>

namespace {

struct Block;
constexpr unsigned int IndexBits = sizeof(void*) == 8 ? 22 : 18;
constexpr std::uint32_t Queue = 16384;
using BlockTable = dibhost::TokenTable<Block, dibhost::BlockKind, IndexBits, Queue>;
using dibhost::None;

struct Block {
    dibhost::BlockMemory memory;
    std::size_t size = 0;
    std::uint32_t locks = 0;
    // The scope whose closing frees the block, and its neighbours in the list of that scope.
    dibhost_scope* scope = nullptr;
    std::uint32_t previous = None;
    std::uint32_t next = None;
};

constexpr unsigned int InvalidHandle = 32768;
constexpr std::uint32_t MostLocksShown = 255;

} // namespace

// An open scope. The chain of scopes belongs to one thread; the list of blocks is shared, since any
// thread may free a block of it.
struct dibhost_scope {
    dibhost_scope* outer = nullptr;
    std::uint32_t first = None;
};

namespace {

// Neither is ever destroyed: both are trivially destructible, so that a library which is unloaded
// at exit can still free its blocks.
BlockTable table;
std::mutex mutex;
std::uint64_t liveBytes;

thread_local dibhost_scope* innermost = nullptr;

// The functions below are called with the mutex held.

void Link(std::uint32_t index, dibhost_scope* scope) {
    Block& block = table[index];
    block.scope = scope;
    block.previous = None;
    block.next = None;
    if (!scope)
        return;
    block.next = scope->first;
    if (block.next != None)
        table[block.next].previous = index;
    scope->first = index;
}

void Unlink(std::uint32_t index) {
    Block& block = table[index];
    if (!block.scope)
        return;
    if (block.previous != None)
        table[block.previous].next = block.next;
    else
        block.scope->first = block.next;
    if (block.next != None)
        table[block.next].previous = block.previous;
    block.scope = nullptr;
}

// Forgets the block; its memory is the caller's to release, best without the mutex.
dibhost::BlockMemory Forget(std::uint32_t index) {
    Unlink(index);
    const dibhost::BlockMemory memory = table[index].memory;
    liveBytes -= table[index].size;
    table.Remove(index);
    return memory;
}

// The functions below are called without the mutex.

bool IsOpenHere(const dibhost_scope* scope) {
    const dibhost_scope* at = innermost;
    while (at && at != scope)
        at = at->outer;
    return scope && at;
}

// Whether closing `scope` would close `inner`, directly or with the scopes inside it. Both belong to
// this thread.
bool Encloses(const dibhost_scope* scope, const dibhost_scope* inner) {
    for (const dibhost_scope* at = innermost; at; at = at->outer) {
        if (at == inner)
            return true;
        if (at == scope)
            return false;
    }
    return false;
}

std::size_t CloseInnermost() {
    dibhost_scope* const scope = innermost;
    std::size_t freed = 0;
    for (;;) {
        dibhost::BlockMemory memory;
        {
            const std::lock_guard<std::mutex> guard(mutex);
            if (scope->first == None)
                break;
            memory = Forget(scope->first);
        }
        dibhost::ReleaseMemory(memory);
        ++freed;
    }
    innermost = scope->outer;
    delete scope;
    return freed;
}

} // namespace

extern "C" {

// Every block is movable and zero-filled, whatever the flags say: 66 is the only value in use.
void* GlobalAlloc(unsigned int, size_t bytes) {
    const dibhost::BlockMemory memory = dibhost::TakeMemory(bytes);
    if (!memory.data)
        return nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const std::uint32_t index = table.Add();
        if (index != None) {
            table[index].memory = memory;
            table[index].size = bytes;
            liveBytes += bytes;
            Link(index, innermost);
            return table.TokenOf(index);
        }
    }
    dibhost::ReleaseMemory(memory);
    return nullptr;
}

void* GlobalLock(void* handle) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(handle);
    if (index == None || table[index].locks == 0xFFFFFFFF)
        return nullptr;
    ++table[index].locks;
    return table[index].memory.data;
}

// Nonzero while the block is still locked.
int GlobalUnlock(void* handle) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(handle);
    if (index == None || table[index].locks == 0)
        return 0;
    return --table[index].locks != 0;
}

// Null when done, the handle when it is no block. A locked block is freed too: the library and its
// hosts do so deliberately.
void* GlobalFree(void* handle) {
    dibhost::BlockMemory memory;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const std::uint32_t index = table.Find(handle);
        if (index == None)
            return handle;
        memory = Forget(index);
    }
    dibhost::ReleaseMemory(memory);
    return nullptr;
}

size_t GlobalSize(void* handle) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(handle);
    return index == None ? 0 : table[index].size;
}

// Eight bits show the lock count, so more than 255 locks show as 255: whoever unlocks until the
// flags say 0 takes back every lock, and a locked block never shows 0.
unsigned int GlobalFlags(void* handle) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(handle);
    return index == None ? InvalidHandle : std::min(table[index].locks, MostLocksShown);
}

dibhost_scope* dibhost_scope_open(void) {
    auto* const scope = new (std::nothrow) dibhost_scope;
    if (!scope)
        return nullptr;
    scope->outer = innermost;
    innermost = scope;
    return scope;
}

int dibhost_scope_keep(dibhost_scope* scope, void* handle) {
    if (!IsOpenHere(scope))
        return 0;
    const std::lock_guard<std::mutex> guard(mutex);
    const std::uint32_t index = table.Find(handle);
    if (index == None)
        return 0;
    if (table[index].scope && Encloses(scope, table[index].scope)) {
        Unlink(index);
        Link(index, scope->outer);
    }
    return 1;
}

size_t dibhost_scope_close(dibhost_scope* scope) {
    if (!IsOpenHere(scope))
        return 0;
    std::size_t freed = 0;
    while (innermost != scope)
        freed += CloseInnermost();
    return freed + CloseInnermost();
}

size_t dibhost_live_blocks(void) {
    const std::lock_guard<std::mutex> guard(mutex);
    return table.LiveCount();
}

uint64_t dibhost_live_bytes(void) {
    const std::lock_guard<std::mutex> guard(mutex);
    return liveBytes;
}

} // extern "C"
