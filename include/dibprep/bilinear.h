/*
 * The bilinear resampler behind ConvertResolution2: fixed-point sampling with corners aligned, for
 * uncompressed bottom-up DIBs of 1, 4, 8, 16, 24, 32, 48 and 64 bits per pixel.
 */
#ifndef DIBPREP_BILINEAR_H
#define DIBPREP_BILINEAR_H

#include "dibprep/types.h"

/* A view of one packed DIB, as the kernels need it. Owns nothing. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier): the name is part of exported ones */
struct _tagDIBPARAM {
    int nWidth;                 /* pixels */
    int nHeight;                /* rows, as stored: negative for a top-down DIB, which is refused */
    int nBitCount;              /* bits per pixel */
    int nLineBytes;             /* bytes per row */
    int nBytesPerPixel;         /* nBitCount / 8 */
    int nChannels;              /* 4 for 32 and 64 bits, else 3 */
    int nColors;                /* biClrUsed, or 1 << nBitCount up to 8 bits, else 0 */
    unsigned int dwCompression; /* biCompression */
    int nBitsOffset;            /* header to pixels, bytes */
    int nImageSize;             /* row bytes times nHeight */
    unsigned char byMask;       /* one pixel within a byte */
    int nPixelsPerByte;         /* 8, 2, 1; 0 above 8 bits */
    const tagBITMAPINFOHEADER* pHeader;
    const tagRGBQUAD* pColorTable; /* always header + 40 */
    unsigned char* pBits;          /* first stored row */
};

/* Where one output column lies in the source row. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier): here, too */
struct _tagCOORDENTRY {
    int nOffset0;  /* left sample: column times sample unit */
    int nOffset1;  /* right sample: the next column, or the same at the right edge */
    int nFraction; /* weight of the right sample in 1/1024 */
};

static_assert(sizeof(_tagCOORDENTRY) == 12, "three 32-bit words");
static_assert(sizeof(void*) != 4 || sizeof(_tagDIBPARAM) == 60, "fifteen 32-bit words");
static_assert(offsetof(_tagDIBPARAM, byMask) == 40 && offsetof(_tagDIBPARAM, nPixelsPerByte) == 44,
              "the mask keeps a word of its own");

/*
 * The limits of stored channels. Writable; read anew for every row, so that a callback between two
 * rows may change them. Nothing guards them.
 */
extern DIBPREP_API int COLOR_MAX_VALUE;     /* 255: 8-bit colour channels, upper */
extern DIBPREP_API int COLOR_MAX_VALUE16;   /* 32767: 16-bit colour channels, upper */
extern DIBPREP_API int WHITE_POINT_VALUE;   /* 255: fourth byte, upper */
extern DIBPREP_API int WHITE_POINT_VALUE16; /* 16383: fourth 16-bit channel, upper */
extern DIBPREP_API int BLACK_POINT_VALUE;   /* 0: fourth byte, lower */
extern DIBPREP_API int BLACK_POINT_VALUE16; /* 0: fourth 16-bit channel, lower */

/*
 * The resampler. Cheap, short-lived, holds nothing between calls but the last error.
 *
 * Error codes in m_nLastError, never reset: -1 memory, -4 invalid argument, -5 cancelled by the
 * callback, -7 compressed source.
 */
class DIBPREP_API CConvertResolution {
public:
    CConvertResolution();
    virtual ~CConvertResolution();
    CConvertResolution(const CConvertResolution&) = delete;
    CConvertResolution& operator=(const CConvertResolution&) = delete;

    /* ConvertResolution2 on this object, which keeps the error. A null hDib leaves the status alone. */
    void* ConvertResolution_(void* hDib, unsigned int xRes, unsigned int yRes, unsigned short* pStatus);
    /*
     * Stretches the DIB onto the frame and makes the part inside the output rectangle.
     *
     * dib       address of a DIB that the caller keeps locked; at least 44 readable bytes
     * frame     whole target extent in target pixels: fixes the scale
     * output    the part to make, clipped to the frame
     * progress  null, or called after every row with (rows finished, rows); 0 cancels
     *
     * A new unlocked block owned by the caller, or null with the reason in m_nLastError.
     */
    void* BiLinear(const unsigned char* dib, const tagRECT* frame, const tagRECT* output, int (*progress)(int, int));

    /* Bytes of the colour table; 0 with -4 when 44 bytes of header cannot be read. */
    unsigned int GetPaletteSize(const void* header);
    /* Address of the pixels; null with -4 when 44 bytes of header cannot be read. */
    unsigned char* GetBitsTop(const unsigned char* header);
    /* (1 << min(bits, 8)) - 1 */
    unsigned char GetBitsMask(const _tagDIBPARAM& param);
    /*
     * Fills the record from a DIB of which 44 bytes can be read. Of 40 to 43 bytes pBits becomes null and
     * no table is counted, of a null dib all is 0; both set -4. The record points into the DIB.
     */
    void SetDIBParam(const unsigned char* dib, _tagDIBPARAM& param);
    /*
     * Sampling steps in 1/32768 source pixel per target pixel, horizontal in cx, vertical in cy; both 0
     * with -4 for a target of 0 pixels in a direction.
     */
    tagSIZE GetCoordUnit(const _tagDIBPARAM& source, const tagSIZE& target);
    /*
     * `count` entries from target column `start` on, each `step` farther, made with new[]: the caller
     * deletes them with delete[]. Null with -1 when they cannot be made.
     */
    _tagCOORDENTRY* GetCoordTable(const _tagDIBPARAM& source, int start, int step, int count);
    /*
     * A new unlocked block, owned by the caller, with header and colour table of info and the pixels of
     * bits (null: white, 0xFF in every byte). Null with -4 when something cannot be read, with -1 when
     * there is no memory or the size leaves 32 bits.
     */
    void* CreateDIB(const tagBITMAPINFO* info, const void* bits);

    /*
     * The kernels, one per family of source formats: 1 when every row was made, 0 with -1, -5, or -4 for
     * a frame without extent, in m_nLastError. The destination has the size of clip, in pixels of the
     * source's depth, at least 24 bits. Sample addresses are not checked.
     */
    int BiLinearSmallBits(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip,
                          _tagDIBPARAM& destination, int (*progress)(int, int));
    int BiLinear8(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                  int (*progress)(int, int));
    int BiLinear16(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                   int (*progress)(int, int));
    int BiLinear24(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                   int (*progress)(int, int));
    int BiLinear32(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                   int (*progress)(int, int));
    int BiLinear48(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                   int (*progress)(int, int));
    int BiLinear64(const _tagDIBPARAM& source, const tagRECT* frame, const tagRECT* clip, _tagDIBPARAM& destination,
                   int (*progress)(int, int));

    int m_nLastError;
};

static_assert(sizeof(CConvertResolution) == (sizeof(void*) == 4 ? 8 : 16), "a table and one word");

#endif /* DIBPREP_BILINEAR_H */
