/*
 * What libdibhost offers beyond the functions of host.h: block scopes, a device context that holds
 * pens, a look at the palettes that CreatePalette keeps, and counts of live blocks. libdibprep uses
 * none of this; it is for the hosts that load libdibhost. This header compiles as C and as C++.
 *
 * All handles of libdibhost (blocks, files, palettes, device contexts) are checked tokens, never
 * addresses: every function refuses a handle that is stale, of another kind or made up. All
 * functions may be called from several threads at once.
 *
 * Limits: 262144 live blocks in 32 bits, 4194304 in 64 bits; 4096 open files, palettes and device
 * contexts each. As long as no table is nearly full, the handle of a freed block is refused for at
 * least the next 130 million allocations, any other for at least 60 million of its kind.
 */
#ifndef DIBPREP_HOSTLAYER_H
#define DIBPREP_HOSTLAYER_H

#include "dibprep/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Block scopes. A scope belongs to the thread that opened it. Closing it frees every block that
 * this thread allocated since and that is still allocated, locked or not, except those named to be
 * kept. So a host converts any number of colour pages in constant memory, although
 * ConvertResolution leaves one block behind for each:
 *
 *     dibhost_scope* scope = dibhost_scope_open();
 *     int status = ConvertResolution(page, &result, NULL, 200, 128);
 *     dibhost_scope_keep(scope, result);
 *     dibhost_scope_close(scope);
 *
 * Scopes nest. A block kept beyond an inner scope counts as allocated in the one around it, and is
 * freed with that unless kept there too. Blocks that other threads allocate are never touched; a
 * block allocated inside a scope may be freed by any thread.
 *
 * Blocks that are to live long must be made outside every scope, or kept: among them the palette
 * block behind STATIC_COLOR, which the static search cube makes on first use.
 */
typedef struct dibhost_scope dibhost_scope;

/* Opens a scope inside this thread's innermost one. Null when memory is short: the functions below
 * take null and do nothing, so the blocks then stay allocated. */
DIBPREP_API dibhost_scope* dibhost_scope_open(void);

/*
 * Keeps a block beyond the scope. 1 when closing the scope will leave the block alone: it was
 * allocated in this scope or in one inside it, or has nothing to do with it. 0 when the handle is
 * no live block, or the scope is not an open one of this thread.
 */
DIBPREP_API int dibhost_scope_keep(dibhost_scope* scope, void* handle);

/*
 * Closes the scope, and first those inside it that are still open. Gives the number of blocks
 * freed; 0 also when the scope is not an open one of this thread. A thread closes its scopes before
 * it ends: what it leaves open stays allocated.
 */
DIBPREP_API size_t dibhost_scope_close(dibhost_scope* scope);

/* Blocks not yet freed, of all threads, and the sum of their sizes in bytes. */
DIBPREP_API size_t dibhost_live_blocks(void);
DIBPREP_API uint64_t dibhost_live_bytes(void);

/*
 * A device context: a list of pens for EnumObjects, in the order they were added. EnumObjects works
 * on a copy of the list, so a callback may add pens or destroy the context.
 */

/* A new device context without pens; null when memory is short. */
DIBPREP_API void* dibhost_dc_create(void);
/* Adds a pen; 1, or 0 when the handle is no device context, the pen null or memory short. */
DIBPREP_API int dibhost_dc_add_pen(void* dc, const struct tagLOGPEN* pen);
/* 1, or 0 when the handle is no device context. */
DIBPREP_API int dibhost_dc_destroy(void* dc);

/*
 * The logical palette that CreatePalette keeps: version 768, the number of entries, and as many
 * entries. Valid until the palette is deleted; null when the handle is no palette.
 */
DIBPREP_API const struct tagLOGPALETTE* dibhost_palette(void* palette);
/* Deletes a palette; 1, or 0 when the handle is none. */
DIBPREP_API int dibhost_palette_delete(void* palette);

#ifdef __cplusplus
}

namespace dibhost {

/* A block scope for the lifetime of an object, also when an exception passes. */
class BlockScope {
public:
    BlockScope() : m_scope(dibhost_scope_open()) {}
    ~BlockScope() { Close(); }
    BlockScope(const BlockScope&) = delete;
    BlockScope& operator=(const BlockScope&) = delete;

    /* False when memory was too short to open the scope. */
    explicit operator bool() const { return m_scope != nullptr; }
    /* True when the block will outlive the scope. */
    bool Keep(void* handle) { return dibhost_scope_keep(m_scope, handle) != 0; }
    /* Closes early; gives the number of blocks freed. */
    size_t Close() {
        dibhost_scope* const scope = m_scope;
        m_scope = nullptr;
        return dibhost_scope_close(scope);
    }

private:
    dibhost_scope* m_scope;
};

} // namespace dibhost
#endif

#endif /* DIBPREP_HOSTLAYER_H */
