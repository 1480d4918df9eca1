/*
 * The resolution pipeline behind ConvertResolution: the source and destination adapter, the size
 * query, the row-by-row transform and the pre-conversion of colour-table sources.
 */
#ifndef DIBPREP_TRANSFORM_H
#define DIBPREP_TRANSFORM_H

#include "dibprep/types.h"

#include <vector>

/*
 * Bits of the transfer-mode word. A memory handle is always passed as the address of a variable
 * that holds it. A file wins over a memory handle of the same side.
 */
enum {
    TRANSFER_SOURCE_FILE = 1,
    TRANSFER_SOURCE_MEMORY = 2,
    TRANSFER_DESTINATION_FILE = 16,
    TRANSFER_DESTINATION_MEMORY = 32
};

/*
 * One cursor over a memory block (type 1), a file (type 2) or a plain address (type 3); any other
 * type is inert and every access through it fails.
 */
class DIBPREP_API CBufTransfer {
public:
    /*
     * target  type 1: address of a variable holding the handle, which is locked; type 2: path;
     *         type 3: the bytes themselves
     * create  type 2: 1 makes the file anew, anything else opens an existing one
     */
    CBufTransfer(void* target, unsigned short type, int create);
    /* Unlocks the block or closes the file. The block stays allocated. */
    ~CBufTransfer();
    CBufTransfer(const CBufTransfer&) = delete;
    CBufTransfer& operator=(const CBufTransfer&) = delete;

    void* handle;          /* memory handle, or file handle, 0 if the open failed */
    unsigned char* data;   /* address of the bytes; null for files and failed locks */
    unsigned short type;   /* 1, 2, 3; anything else is inert */
    unsigned int position; /* byte offset of the cursor */
};

static_assert(offsetof(CBufTransfer, data) == sizeof(void*) && offsetof(CBufTransfer, type) == 2 * sizeof(void*) &&
                  offsetof(CBufTransfer, position) == 2 * sizeof(void*) + 4,
              "handle, address, type, cursor");

/*
 * Bytes that the result of a transform needs, from the source header alone: rows, and 1078 bytes
 * for both headers and a full colour table.
 *
 * mode    TRANSFER_SOURCE_FILE (source: a path) or TRANSFER_SOURCE_MEMORY (address of a handle)
 * dpi     wanted resolution in dots per inch
 * size    set to 0 first; 4294967295 where the size leaves 32 bits
 *
 * Returns 0; 5 when the header cannot be read or size is null; 11 when mode names no source.
 */
DIBPREP_API unsigned int GetTransformImageMemorySize(unsigned short mode, const void* source, unsigned short dpi,
                                                     unsigned int* size);

/*
 * Changes the resolution of a DIB by bilinear interpolation, row by row, from a memory block or BMP
 * file into a memory block of the queried size or a new BMP file.
 *
 * mode         TRANSFER_ bits for both sides
 * source       path, or address of a handle variable
 * destination  likewise; the block must be zero-filled
 * progress     null, or called with 0 to 99; 0 stops the work
 * dpi          wanted dots per inch, both axes
 * threshold    for 1-bit pages: see ConvertResolution
 *
 * Returns 0, 1 (stopped), 2 (memory), 5 (source), 6 (destination), 11 (no source resolution).
 * Nothing is written before the statuses 5 and 11 of a memory source are known.
 */
DIBPREP_API unsigned int LinearTransformMain(unsigned short mode, const void* source, void* destination,
                                             int (*progress)(unsigned short), unsigned short dpi, int threshold);

/*
 * Expands a 4- or 8-bit DIB with a colour table into a 24-bit one (ConvertImage), or widens a 4-bit
 * gray DIB to 8-bit gray with a table of 256 entries (ConvertImage2).
 *
 * source  memory handle of a DIB as ConvertResolution takes it; never changed or freed
 * result  receives the handle of a new block, unlocked, which the caller owns and frees
 *
 * Returns 1 with the new block in *result, or 0 with *result 0 when there is nothing to do (another
 * depth, a gray table for ConvertImage, a coloured one for ConvertImage2) or it cannot be done (no
 * memory, a block too small, rows of more than 21844 or, for ConvertImage2, 65532 pixels).
 */
DIBPREP_API unsigned int ConvertImage(void* source, void** result);
DIBPREP_API unsigned int ConvertImage2(void* source, void** result);

/* Where one output column lies in the source row. */
struct CPosition {
    double fraction;      /* weight of the right sample, 0 to 1 */
    unsigned short x0;    /* left source column */
    unsigned short x1;    /* right source column, at most the last */
    unsigned short byte0; /* x0 / 8: the byte that holds it in a 1-bit row */
    unsigned short byte1; /* x1 / 8 */
};

static_assert(sizeof(CPosition) == 16, "a double and four 16-bit words");

/*
 * The transform at work: reads the source header, writes header and colour table, builds the rows.
 * LinearTransformMain makes one per call; a host may drive its own, with source and destination
 * set to transfers that outlive it. All fields start at zero.
 *
 * The image kinds: 1 one bit; 2 four-bit gray; 3 eight-bit gray; 5 eight-bit colour table; 6 24
 * bits; 0 none of these. Kinds 0 and 2 get a header but no rows.
 */
class DIBPREP_API CLinearTransformMem {
public:
    CLinearTransformMem();
    ~CLinearTransformMem();
    CLinearTransformMem(const CLinearTransformMem&) = delete;
    CLinearTransformMem& operator=(const CLinearTransformMem&) = delete;

    /* The whole transform; a status as LinearTransformMain gives it. */
    int LinearTransform(unsigned short transferMode, int (*callback)(unsigned short), unsigned short dpi,
                        int blackWhiteThreshold);
    /* Reads header and colour table and sets the source fields and the kind; 0 or 5. */
    int GetSourceImageInfo();
    /* 1 when all 256 stored entries have blue = green = red. */
    int IsGrayImage();
    /* Fills 54 bytes (file header and info header) when withFileHeader is 1, else 40, from the out fields. */
    void SetOutputBitmapInfoHeader(void* buffer, int withFileHeader);
    /* Writes header and colour table; 0 or 6. */
    int CreateOutputData();
    /* Makes and locks the scratch rows; 0, or 2 with what was made left for CloseImage to free. */
    unsigned int OpenImage(unsigned short mode);
    /* Unlocks and frees the scratch rows. */
    void CloseImage(unsigned short mode);
    /* Builds all rows with this threshold; 0, 1, 2, or 5 and 6 when a row of a file fails. */
    int CreateImage(unsigned short mode, int threshold);
    /* Copies source row `line` (srcStride bytes) into buffer; 1, or 0 when it cannot be read. */
    int GetImageLine(unsigned short line, unsigned char* buffer);

    /*
     * The line builders: one output row of outWidth pixels from source rows row0 and row1, mixed by
     * the vertical fraction fy. They use sourcePalette, and ratioX and srcWidth to find the columns.
     * The 1-bit builder takes its columns from `positions` and ORs into a zeroed row; the 4-bit builder
     * is never called by CreateImage. The rows are srcWidth pixels long and lie wherever the caller
     * says; nothing is checked.
     */
    void MakeBWImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out);
    void Make4bitGrayImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out);
    void Make8bitGrayImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out);
    void Make8bitPaletteColorImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out);
    void MakeRGBColorImageLine(double fy, unsigned char* row0, unsigned char* row1, unsigned char* out);

    unsigned short mode;              /* transfer-mode word */
    int threshold;                    /* black/white threshold of kind 1 */
    tagRGBQUAD sourcePalette[256];    /* source colour table; reserved bytes 0 */
    unsigned int grayHistogram[256];  /* values written by the 8-bit gray builder; never read */
    double ratioX;                    /* dpi / srcDpiX */
    double ratioY;                    /* dpi / srcDpiY */
    int (*progress)(unsigned short);  /* may be null */
    void* lineBlock;                  /* two source rows of scratch */
    void* outLineBlock;               /* one output row of scratch */
    unsigned char* line0;             /* the locked lineBlock */
    unsigned char* line1;             /* line0 + srcStride */
    unsigned char* outLine;           /* the locked outLineBlock */
    std::vector<CPosition> positions; /* column map of the 1-bit builder */
    CBufTransfer* source;
    unsigned short srcBitsOffset; /* where the first source row stands, kept to 16 bits */
    unsigned short srcDpiX;       /* source resolution, dots per inch */
    unsigned short srcDpiY;
    unsigned int srcStride; /* source row in bytes */
    unsigned short srcWidth;
    unsigned short srcHeight;
    unsigned short srcBitCount;
    unsigned short kind;
    CBufTransfer* destination;
    unsigned short outBitsOffset; /* where the first output row stands */
    unsigned short outDpiX;
    unsigned short outDpiY;
    unsigned int outStride; /* output row in bytes */
    unsigned short outWidth;
    unsigned short outHeight;
    unsigned short outBitCount;
    unsigned short outKind;
};

static_assert(sizeof(void*) != 4 ||
                  (offsetof(CLinearTransformMem, sourcePalette) == 8 &&
                   offsetof(CLinearTransformMem, grayHistogram) == 1032 &&
                   offsetof(CLinearTransformMem, ratioX) == 2056 && offsetof(CLinearTransformMem, progress) == 2072 &&
                   offsetof(CLinearTransformMem, positions) == 2096 && offsetof(CLinearTransformMem, source) == 2108 &&
                   offsetof(CLinearTransformMem, srcStride) == 2120 &&
                   offsetof(CLinearTransformMem, destination) == 2132 &&
                   offsetof(CLinearTransformMem, outStride) == 2144 && sizeof(CLinearTransformMem) == 2156),
              "the layout that 32-bit hosts know");

#endif /* DIBPREP_TRANSFORM_H */
