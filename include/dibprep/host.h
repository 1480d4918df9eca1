/*
 * The functions that the host supplies. libdibprep imports them by name and brings none of its
 * own: a host either has such a layer already or loads libdibhost, which implements all of them.
 * This header compiles as C and as C++.
 *
 * What the library expects of them:
 *
 * - Memory blocks are named by handles. GlobalAlloc is always called with flags 66 (movable 2 and
 *   zero-filled 64) and must zero the block; it returns null when it cannot. GlobalLock gives the
 *   address and raises the lock count, null on failure; GlobalUnlock lowers the count. GlobalFlags
 *   reports the lock count in its low 8 bits, and 32768 as a whole for an invalid handle.
 *   GlobalSize gives the block's size in bytes, 0 when the host cannot tell: the library then
 *   trusts the header it finds in the block.
 * - CreatePalette takes a LOGPALETTE, which it must copy, and answers null on failure.
 * - IsBadReadPtr answers nonzero when the range cannot be read.
 * - Files: CreateFile answers (void*)-1 on failure; ReadFile and WriteFile answer nonzero on
 *   success and store the count; SetFilePointer answers the new offset, 0xFFFFFFFF on failure.
 * - EnumObjects calls the callback for every object of the type (1: pens) until it answers 0, and
 *   gives the callback's last answer; -1 where it cannot enumerate.
 */
#ifndef DIBPREP_HOST_H
#define DIBPREP_HOST_H

#include "dibprep/types.h"

#ifdef __cplusplus
extern "C" {
#endif

DIBPREP_API void* GlobalAlloc(unsigned int flags, size_t bytes);
DIBPREP_API void* GlobalLock(void* handle);
DIBPREP_API int GlobalUnlock(void* handle);
DIBPREP_API void* GlobalFree(void* handle);
DIBPREP_API size_t GlobalSize(void* handle);
DIBPREP_API unsigned int GlobalFlags(void* handle);

DIBPREP_API void CopyMemory(void* destination, const void* source, size_t bytes);
DIBPREP_API void FillMemory(void* destination, size_t bytes, unsigned char value);
DIBPREP_API void ZeroMemory(void* destination, size_t bytes);
DIBPREP_API int IsBadReadPtr(const void* address, size_t bytes);

DIBPREP_API void* CreateFile(const char* path, unsigned int access, unsigned int share, void* security,
                             unsigned int creation, unsigned int flags, void* templateFile);
DIBPREP_API int ReadFile(void* file, void* buffer, unsigned int bytes, unsigned int* bytesRead, void* overlapped);
DIBPREP_API int WriteFile(void* file, const void* buffer, unsigned int bytes, unsigned int* bytesWritten,
                          void* overlapped);
DIBPREP_API unsigned int SetFilePointer(void* file, int distance, int* distanceHigh, unsigned int method);
DIBPREP_API int CloseHandle(void* file);

DIBPREP_API int SetRect(struct tagRECT* rect, int left, int top, int right, int bottom);
DIBPREP_API void* CreatePalette(const void* logicalPalette);

/* Packed colours: red in the low byte, then green, then blue. */
DIBPREP_API unsigned int RGB(unsigned char red, unsigned char green, unsigned char blue);
DIBPREP_API unsigned char GetRValue(unsigned int colour);
DIBPREP_API unsigned char GetGValue(unsigned int colour);
DIBPREP_API unsigned char GetBValue(unsigned int colour);

DIBPREP_API int EnumObjects(void* deviceContext, int objectType, int (*callback)(void*, intptr_t), intptr_t state);

#ifdef __cplusplus
}
#endif

#endif /* DIBPREP_HOST_H */
