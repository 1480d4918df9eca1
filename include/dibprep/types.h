/*
 * The records that a host and the library share, with their published names, field names and
 * layouts. This header compiles as C and as C++.
 *
 * All multi-byte fields are little-endian in memory. A DIB block may start at any address: the
 * library reads and writes header fields byte by byte and never relies on their alignment.
 */
#ifndef DIBPREP_TYPES_H
#define DIBPREP_TYPES_H

#include <stddef.h>
#include <stdint.h>

/* Marks what the library exports. Everything else it holds is hidden. */
#if defined(__GNUC__)
#define DIBPREP_API __attribute__((visibility("default")))
#else
#define DIBPREP_API
#endif

/* A colour-table entry of a DIB with a 40-byte header. */
typedef struct tagRGBQUAD {
    unsigned char rgbBlue;
    unsigned char rgbGreen;
    unsigned char rgbRed;
    unsigned char rgbReserved;
} RGBQUAD;

/* A colour-table entry of a DIB with a 12-byte core header, and a 24-bit pixel. */
typedef struct tagRGBTRIPLE {
    unsigned char rgbtBlue;
    unsigned char rgbtGreen;
    unsigned char rgbtRed;
} RGBTRIPLE;

/* A rectangle; right and bottom are exclusive. */
typedef struct tagRECT {
    int left;
    int top;
    int right;
    int bottom;
} RECT;

/* A width and a height, or a pair of per-axis values. */
typedef struct tagSIZE {
    int cx;
    int cy;
} SIZE;

/* A point, as the logical pen record below uses it. */
typedef struct tagPOINT {
    int x;
    int y;
} POINT;

/* A pen as EnumObjects hands it to its callback: style 0 is solid; colour as RGB() packs it. */
typedef struct tagLOGPEN {
    unsigned int lopnStyle;
    POINT lopnWidth;
    unsigned int lopnColor;
} LOGPEN;

/* The 40-byte DIB header. Resolutions are in pixels per metre. */
typedef struct tagBITMAPINFOHEADER {
    unsigned int biSize;
    int biWidth;
    int biHeight;
    unsigned short biPlanes;
    unsigned short biBitCount;
    unsigned int biCompression;
    unsigned int biSizeImage;
    int biXPelsPerMeter;
    int biYPelsPerMeter;
    unsigned int biClrUsed;
    unsigned int biClrImportant;
} BITMAPINFOHEADER;

/* The 12-byte DIB header. */
typedef struct tagBITMAPCOREHEADER {
    unsigned int bcSize;
    unsigned short bcWidth;
    unsigned short bcHeight;
    unsigned short bcPlanes;
    unsigned short bcBitCount;
} BITMAPCOREHEADER;

/* A 40-byte header and the first entry of its colour table. */
typedef struct tagBITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
} BITMAPINFO;

/* The 14 bytes in front of a DIB in a BMP file. */
#pragma pack(push, 2)
typedef struct tagBITMAPFILEHEADER {
    unsigned short bfType;
    unsigned int bfSize;
    unsigned short bfReserved1;
    unsigned short bfReserved2;
    unsigned int bfOffBits;
} BITMAPFILEHEADER;
#pragma pack(pop)

/* One entry of a logical palette. */
typedef struct tagPALETTEENTRY {
    unsigned char peRed;
    unsigned char peGreen;
    unsigned char peBlue;
    unsigned char peFlags;
} PALETTEENTRY;

/* A logical palette: version 768, the number of entries, then that many entries. */
typedef struct tagLOGPALETTE {
    unsigned short palVersion;
    unsigned short palNumEntries;
    PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

#if !defined(DIBPREP_COMPRESSION_CODES)
#define DIBPREP_COMPRESSION_CODES
enum {
    BI_RGB = 0,      /* plain */
    BI_RLE8 = 1,     /* run lengths, 8 bits per pixel */
    BI_RLE4 = 2,     /* run lengths, 4 bits per pixel */
    BI_BITFIELDS = 3 /* three 32-bit masks, red, green, blue, right after the 40-byte header */
};
#endif

#if defined(__cplusplus)
static_assert(sizeof(tagRGBQUAD) == 4 && sizeof(tagRGBTRIPLE) == 3, "colour entries are packed");
static_assert(sizeof(tagRECT) == 16 && sizeof(tagSIZE) == 8, "rectangles are 32-bit words");
static_assert(sizeof(tagLOGPEN) == 16, "a pen is four 32-bit words");
static_assert(sizeof(tagBITMAPINFOHEADER) == 40, "the info header has 40 bytes");
static_assert(offsetof(tagBITMAPINFOHEADER, biBitCount) == 14, "bit count at byte 14");
static_assert(offsetof(tagBITMAPINFOHEADER, biCompression) == 16, "compression at byte 16");
static_assert(offsetof(tagBITMAPINFOHEADER, biSizeImage) == 20, "image size at byte 20");
static_assert(offsetof(tagBITMAPINFOHEADER, biXPelsPerMeter) == 24, "resolution at byte 24");
static_assert(offsetof(tagBITMAPINFOHEADER, biClrUsed) == 32, "colours used at byte 32");
static_assert(sizeof(tagBITMAPCOREHEADER) == 12, "the core header has 12 bytes");
static_assert(sizeof(tagBITMAPINFO) == 44, "a header and one entry");
static_assert(sizeof(tagBITMAPFILEHEADER) == 14, "the file header has 14 bytes");
static_assert(offsetof(tagBITMAPFILEHEADER, bfOffBits) == 10, "pixel offset at byte 10");
static_assert(sizeof(tagLOGPALETTE) == 8, "a palette head and one entry");
#endif

#endif /* DIBPREP_TYPES_H */
