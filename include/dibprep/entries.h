/*
 * The plain entries: the three functions with unmangled names. With host.h and types.h this is all
 * that a host needs that is written in C or that loads the library with dlopen.
 */
#ifndef DIBPREP_ENTRIES_H
#define DIBPREP_ENTRIES_H

#include "dibprep/host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes of the pipeline: ConvertResolution, LinearTransformMain and the size queries. */
enum {
    DIBPREP_OK = 0,            /* done */
    DIBPREP_ABORTED = 1,       /* the progress callback returned 0 */
    DIBPREP_NO_MEMORY = 2,     /* a memory block could not be allocated or is beyond 32 bits */
    DIBPREP_BAD_SOURCE = 5,    /* source header, colour table or rows cannot be read */
    DIBPREP_BAD_OUTPUT = 6,    /* output header, colour table or rows cannot be written */
    DIBPREP_LOCK_FAILED = 10,  /* GetBufferSize only: the handle cannot be locked */
    DIBPREP_NO_RESOLUTION = 11 /* the source records no resolution, or no source was named */
};

/*
 * Changes the resolution of a DIB.
 *
 * source     memory handle of the DIB: 40-byte header, colour table of full length (2, 16 or 256
 *            entries, whatever biClrUsed says), rows bottom-up, uncompressed, extents below 65536.
 *            1, 4, 8 or 24 bits per pixel give a picture; for 16 and 32 bits only a header with
 *            zeroed rows is made (bring them to 24 bits first). Its resolution must be recorded in
 *            the header. Never changed or freed.
 * result     receives the handle of a new block, unlocked, which the caller owns and frees; 0
 *            whenever the status is not 0. A null address gives status 2.
 * progress   null, or called with a percentage 0 to 99 whenever it changes; 0 stops the work.
 * dpi        wanted resolution in dots per inch, for both axes.
 * threshold  1-bit pages only: a pixel whose interpolated blackness (0 to 255) is below it comes
 *            out white. 128 is the usual value; 0 or less gives an all-black page, 256 or more an
 *            all-white one.
 *
 * Depth of the result: 1 bit stays 1 bit (black, white); 4-bit and 8-bit gray become 8-bit gray;
 * 4-bit and 8-bit colour tables become an 8-bit DIB of at most 256 colours; 24 bits stay.
 *
 * Returns a status above (0, 1, 2, 5, 6, 11). For a colour-table source one 24-bit intermediate
 * block stays allocated after the call; docs/behaviours.md says what a host does about it. May
 * leave with std::bad_alloc when the lists of the colour search cannot grow.
 *
 * Method: each output pixel mixes the four source pixels around its position by their distances
 * (bilinear interpolation, in double precision, truncated).
 */
DIBPREP_API int ConvertResolution(void* source, void** result, int (*progress)(unsigned short), unsigned short dpi,
                                  int threshold);

/*
 * How many bytes the block for the result of a conversion needs at most, read from the header of
 * the source DIB alone. A 4-bit source counts as 24 bits.
 *
 * handle  memory handle of the source DIB
 * dpi     wanted resolution in dots per inch
 * size    receives the bytes, 4294967295 where they leave 32 bits; untouched on failure
 *
 * Returns 0, or 10 when the handle is 0, the block cannot be locked or has no room for a header, or
 * size is null.
 */
DIBPREP_API unsigned int GetBufferSize(void* handle, unsigned short dpi, unsigned int* size);

/*
 * Changes the resolution of a DIB by bilinear resampling with corners aligned, to the pixel size
 * that the wanted resolution implies.
 *
 * hDib     memory handle of the DIB: 40-byte header, bottom-up, uncompressed, 1, 4, 8, 16, 24, 32,
 *          48 or 64 bits per pixel, at most 65535 pixels in either direction. Never changed or freed.
 * xRes     wanted horizontal resolution in pixels per metre; 0: not given
 * yRes     wanted vertical resolution in pixels per metre; 0: not given. With either 0 the pixels
 *          are made square at the finer of the two recorded resolutions.
 * pStatus  the caller's status word, preset to 0 by the caller. Written only: 1 null handle, 2 the
 *          handle cannot be locked, 3 the source records no resolution (the result is then an
 *          unchanged copy of the block).
 *
 * Returns the handle of a new block, unlocked, owned by the caller; 24 bits for sources of 1, 4, 8
 * and 16 bits, the source depth otherwise. Null on failure; a status word left untouched then says
 * that the resampling itself failed. A null pStatus gives null.
 */
DIBPREP_API void* ConvertResolution2(void* hDib, unsigned int xRes, unsigned int yRes, unsigned short* pStatus);

#ifdef __cplusplus
}
#endif

#endif /* DIBPREP_ENTRIES_H */
