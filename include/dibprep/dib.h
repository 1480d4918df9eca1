/*
 * DIB utilities: header arithmetic, construction, pixels and colour tables, run-length expansion,
 * orientation, depth conversion.
 *
 * All of them work on a packed DIB at a plain address: header, colour table, pixel rows, in a block
 * that the caller keeps locked. A size word of exactly 40 is a BITMAPINFOHEADER with 4-byte
 * colour-table entries; every other size word is read as the 12-byte BITMAPCOREHEADER with 3-byte
 * entries. A row takes ((width * bits) + 31) / 32 * 4 bytes. Pointers are not checked. Blocks that
 * are returned are new, unlocked and the caller's; 0 means failure or nothing to do.
 */
#ifndef DIBPREP_DIB_H
#define DIBPREP_DIB_H

#include "dibprep/types.h"

/* ---- header arithmetic ---------------------------------------------------------------------- */

/* Width in pixels: signed 32 bits, or the core header's unsigned 16. */
DIBPREP_API int DIBWidth(unsigned char* dib);
/* Height in rows as stored, so negative for a top-down DIB; the core header's unsigned 16 bits. */
DIBPREP_API int DIBHeight(unsigned char* dib);
/* Bits per pixel. */
DIBPREP_API unsigned short DIBBitCount(unsigned char* dib);
/*
 * Entries of the colour table: the info header's colours-used field, kept to 16 bits, unless that
 * is 0; otherwise 2, 16, 256 for 1, 4, 8 bits and 0 for every other depth.
 */
DIBPREP_API unsigned short DIBNumColors(unsigned char* dib);
/* Bytes of the colour table, kept to 16 bits. Bit-field masks are not included. */
DIBPREP_API unsigned short PaletteSize(unsigned char* dib);
/* Address of the pixels; of the masks, for a bit-field DIB without a colours-used count. */
DIBPREP_API unsigned char* DIBBits(unsigned char* dib);
/* Bytes of the DIB. Ignores the image-size field; a negative height counts as it is. */
DIBPREP_API unsigned int DIBSize(unsigned char* dib);

/* ---- construction ---------------------------------------------------------------------------- */

/*
 * A new zero-filled bottom-up DIB with a 40-byte header and a colour table of 2, 16 or 256 black
 * entries for 1, 4 and 8 bits.
 *
 * bitCount is stored as: 0 and 1 as 1; 2 to 4 as 4; 5 to 8 as 8; 9 to 16 as 16; 25 to 32 as they
 * are; everything else as 24. Gives 0 when width or height is 0, when the size leaves 32 bits, and
 * when memory is short. A height that is negative as a signed number is stored and its product
 * wraps: such a block may be smaller than its colour table.
 */
DIBPREP_API void* CreateDIB(unsigned int width, unsigned int height, unsigned short bitCount);
/*
 * Fills the 40 bytes at header: a plain bottom-up DIB. Deliberately not CreateDIB's rule: 0 and 1
 * as 1; 2 to 4 as 4; 5 to 8 as 8; 9 to 24 as 24; 25 and above as 4.
 */
DIBPREP_API void SetDIB(unsigned char* header, unsigned int width, unsigned int height, unsigned short bitCount);
/*
 * Copies the smaller of the two colour counts from src to dst, converting between 4- and 3-byte
 * entries. A reserved byte is not written when src has 3-byte entries.
 */
DIBPREP_API void CopyColorTable(unsigned char* src, unsigned char* dst);
/* What the host's CreatePalette makes of the DIB's colours; 0 without colours or memory. */
DIBPREP_API void* CreateDIBPalette(unsigned char* dib);

/* ---- colours, colour-table entries, pixels --------------------------------------------------- */

/* 1 when the entry has these channel values, else 0. The reserved byte is ignored. */
DIBPREP_API int CompareRGBQUAD(tagRGBQUAD q, unsigned char r, unsigned char g, unsigned char b);
DIBPREP_API int CompareRGBTRIPLE(tagRGBTRIPLE t, unsigned char r, unsigned char g, unsigned char b);
/* The same with a packed colour (RGB). */
DIBPREP_API int CompareRGB(tagRGBQUAD q, unsigned int colour);
DIBPREP_API int CompareRGBT(tagRGBTRIPLE t, unsigned int colour);
/* Write the three channels of a packed colour; a reserved byte stays as it was. */
DIBPREP_API void CopyRGB(tagRGBQUAD* q, unsigned int colour);
DIBPREP_API void CopyRGBT(tagRGBTRIPLE* t, unsigned int colour);
/* Packed colour of a table entry; 0xFF000000 for an index outside the table. */
DIBPREP_API unsigned int GetIndexColor(unsigned char* dib, int index);
/* Writes a table entry; nothing for an index outside the table. */
DIBPREP_API void SetIndexColor(unsigned char* dib, int index, unsigned int colour);
/* First entry that equals the colour as a 32-bit word; -1 when there is none. */
DIBPREP_API int GetColorIndex(unsigned char* dib, unsigned int colour);
/* Palette index of pixel x of stored row y, for 1, 4 and 8 bits; -1 otherwise. No bounds check. */
DIBPREP_API int GetBitIndex(unsigned char* dib, int x, int y);
/*
 * Writes a pixel of 1, 4 or 8 bits; no bounds check. Write rows from left to right into zeroed
 * memory: 4-bit values are only ORed in, and a 1-bit write covers up to three pixels to the right.
 */
DIBPREP_API void SetBitIndex(unsigned char* dib, int x, int y, unsigned short index);
/*
 * The three masks behind a 40-byte header: 1 for a 16- or 32-bit bit-field DIB, else 0 and zeros.
 * Looks at bytes 14 to 19 whatever the size word says.
 */
DIBPREP_API int DIBMask(unsigned char* dib, unsigned int& red, unsigned int& green, unsigned int& blue);
/*
 * The shifts that bring a masked channel to 8 bits: ((pixel & mask) >> right) << left. A mask of 0
 * gives right 32 and left 8: shifting by 32 means 0.
 */
DIBPREP_API void GetShifts(unsigned int mask, unsigned short& left, unsigned short& right);

/* ---- run-length expansion, orientation, depth ------------------------------------------------ */

/*
 * Expand a run-length DIB into a plain one of the same size and depth with the same colours.
 * RestoreRLE expands 8-bit DIBs only; call RestoreRLE4 for 4-bit ones. The stream is bounded by the
 * header's image-size field; a run's own data may lie past it, so the caller provides at least 258
 * readable bytes behind the last counted one. What a stream would draw outside the picture is
 * dropped. 0 for any other header, a negative width, or when memory is short.
 */
DIBPREP_API void* RestoreRLE(unsigned char* dib);
DIBPREP_API void* RestoreRLE8(unsigned char* dib);
DIBPREP_API void* RestoreRLE4(unsigned char* dib);
/*
 * A bottom-up copy of a top-down DIB; 0 when it is bottom-up already. The copy has no colours
 * (black table), no masks and no resolution: copy what you need.
 */
DIBPREP_API void* TopDownToBottomUp(unsigned char* dib);
/* Expanded (RLE8) and turned as needed; 0 when nothing needs doing or it cannot be done. */
DIBPREP_API void* NormalizeDIB(unsigned char* dib);
/*
 * A new bottom-up DIB of 24 bits (blue, green, red) or 16 bits (5-5-5). Sources: 1, 4, 8, 16, 24
 * and 32 bits; 0 for others. A source of the target depth is copied with its header as it stands.
 * 32 bits with bit fields to 16 bits: red stands in the place of blue, too.
 */
DIBPREP_API void* ConvertTo24BPPDIB(unsigned char* dib);
DIBPREP_API void* ConvertTo16BPPDIB(unsigned char* dib);

#endif /* DIBPREP_DIB_H */
