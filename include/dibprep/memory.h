/*
 * CHandle: the owner of a movable memory block.
 */
#ifndef DIBPREP_MEMORY_H
#define DIBPREP_MEMORY_H

#include "dibprep/types.h"

/*
 * Owns one movable memory block and locks it on demand. One object and its block belong to one
 * thread at a time. No member reports an error except through its result.
 *
 * "Draining" below means bringing the block's lock count to 0, whoever raised it.
 */
class DIBPREP_API CHandle {
public:
    /* Takes ownership of hMem and drains its locks. 0 and invalid handles give an empty object. */
    explicit CHandle(void* hMem);
    /* Frees the block, as Cleanup does. */
    virtual ~CHandle();

    CHandle(const CHandle&) = delete;
    /*
     * Copies the three fields. Neither frees the block held before nor moves ownership: both
     * objects then hold the same handle, and the caller must Detach one of them.
     */
    CHandle& operator=(const CHandle& other);

    /* Locks once and caches the address; a second call never locks again. 0 when empty or failed. */
    void* Lock();
    /* Drains every lock when this object has locked the block; always forgets the address. */
    void UnLock();
    /* Unlocks what this object locked, frees the block and empties the object. */
    void Free();
    /* The same as Free. */
    void Cleanup();
    /* Frees the block held and takes hMem as it is: no validity test, no draining. */
    void SetHandle(void* hMem);
    /* Gives up ownership and returns the handle, locked or not as it stands: UnLock first. */
    void* GetHandle();
    /* Forgets the block without touching it. */
    void Detach();
    /* 1 when no block is held, else 0. */
    int IsEmpty();

    /* Each is Lock() with its result cast. */
    operator char*();
    operator short*();
    operator int*();
    operator long*();
    operator unsigned char*();
    operator unsigned short*();
    operator unsigned int*();

    /* Locks, then the byte at offset i, unchecked. An empty object has no bytes: test IsEmpty. */
    unsigned char& operator[](int i);

    void* m_hMem;   /* the owned block, 0 when empty */
    void* m_pMem;   /* its address while this object holds it locked, else 0 */
    bool m_bLocked; /* whether this object has locked the block */
};

static_assert(sizeof(CHandle) == (sizeof(void*) == 4 ? 16 : 32), "a table, two pointers and a flag");

/*
 * The block of the static palette (CNiGoRo2::SetStaticColors): empty when the library is loaded,
 * freed when it is unloaded.
 */
extern DIBPREP_API CHandle STATIC_COLOR;

#endif /* DIBPREP_MEMORY_H */
