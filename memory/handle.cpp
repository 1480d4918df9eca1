// CHandle: the owner of a movable memory block.
#include "dibprep/memory.h"

#include "dibprep/host.h"

namespace {

constexpr unsigned int LockCountBits = 0xFF;
constexpr unsigned int InvalidHandleFlags = 32768;

// Brings the block's lock count to 0, whoever raised it.
void DrainLocks(void* handle) {
    while (GlobalFlags(handle) & LockCountBits)
        GlobalUnlock(handle);
}

} // namespace

CHandle::CHandle(void* hMem) : m_hMem(nullptr), m_pMem(nullptr), m_bLocked(false) {
    // An empty object never touches the host's layer: the one made at load time must not.
    if (!hMem || GlobalFlags(hMem) == InvalidHandleFlags)
        return;
    m_hMem = hMem;
    DrainLocks(m_hMem);
}

CHandle::~CHandle() { Cleanup(); }

// Neither frees nor transfers: both objects hold the block afterwards, by decision. A caller that
// wants one owner detaches the other.
CHandle& CHandle::operator=(const CHandle&) = default;

void* CHandle::Lock() {
    if (m_bLocked || !m_hMem)
        return m_pMem;
    m_pMem = GlobalLock(m_hMem);
    m_bLocked = m_pMem != nullptr;
    if (!m_bLocked)
        DrainLocks(m_hMem);
    return m_pMem;
}

void CHandle::UnLock() {
    if (m_bLocked && m_hMem)
        DrainLocks(m_hMem);
    m_bLocked = false;
    m_pMem = nullptr;
}

void CHandle::Free() {
    if (m_hMem) {
        // A lock that somebody else holds does not keep the block alive, by decision.
        if (m_bLocked)
            DrainLocks(m_hMem);
        GlobalFree(m_hMem);
    }
    Detach();
}

void CHandle::Cleanup() { Free(); }

void CHandle::SetHandle(void* hMem) {
    Cleanup();
    m_hMem = hMem;
}

void* CHandle::GetHandle() {
    void* const handle = m_hMem;
    Detach();
    return handle;
}

void CHandle::Detach() {
    m_hMem = nullptr;
    m_pMem = nullptr;
    m_bLocked = false;
}

int CHandle::IsEmpty() { return m_hMem ? 0 : 1; }

CHandle::operator char*() { return static_cast<char*>(Lock()); }
CHandle::operator short*() { return static_cast<short*>(Lock()); }
CHandle::operator int*() { return static_cast<int*>(Lock()); }
CHandle::operator long*() { return static_cast<long*>(Lock()); }
CHandle::operator unsigned char*() { return static_cast<unsigned char*>(Lock()); }
CHandle::operator unsigned short*() { return static_cast<unsigned short*>(Lock()); }
CHandle::operator unsigned int*() { return static_cast<unsigned int*>(Lock()); }

unsigned char& CHandle::operator[](int i) {
    Lock();
    return static_cast<unsigned char*>(m_pMem)[i];
}
