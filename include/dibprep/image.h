/*
 * Image buffer classes: pixel read and draw access to a buffer that the host owns, and a converter
 * that prepares result blocks. No bounds are checked anywhere.
 */
#ifndef DIBPREP_IMAGE_H
#define DIBPREP_IMAGE_H

#include "dibprep/types.h"

#include <type_traits>

/* Rows and columns, both ranges inclusive. */
class CImgRect {
public:
    unsigned short firstRow = 0;
    unsigned short lastRow = 0;
    unsigned short firstColumn = 0;
    unsigned short lastColumn = 0;
};

class CImgParameter : public CImgRect {
public:
    unsigned int parameter1 = 0;
    unsigned int parameter2 = 0;
    unsigned short stride = 0; /* bytes per pixel row */
};

class CImgBuffer {
public:
    unsigned char* data = nullptr; /* first pixel byte */
    unsigned int size = 0;         /* bytes of the block that holds the image */
};

static_assert(sizeof(CImgRect) == 8, "four 16-bit words");
static_assert(sizeof(CImgParameter) == 20, "a rectangle, two words and the stride");
static_assert(sizeof(CImgBuffer) == 2 * sizeof(void*), "an address and a size");

/*
 * Gray images. The virtual slots, in order: read a pixel of a row, read pixel (x, y), draw pixel
 * (x, y), draw every pixel of a rectangle through the third slot. x is the column, y the row from
 * the start of the buffer.
 */
class DIBPREP_API CGrayImage : public CImgBuffer, public CImgParameter {
public:
    CGrayImage();
    virtual unsigned char GetGrayScale(unsigned char* row, unsigned short x) = 0;
    virtual unsigned char GetGrayScale(unsigned short x, unsigned short y) = 0;
    virtual void Draw(unsigned short x, unsigned short y, unsigned char value) = 0;
    virtual void Draw(CImgRect rect, unsigned char value) = 0;
};

/* 16 grays: reads give 0 and drawing does nothing. */
class DIBPREP_API CGray16Image : public CGrayImage {
public:
    CGray16Image();
    unsigned char GetGrayScale(unsigned char* row, unsigned short x) override;
    unsigned char GetGrayScale(unsigned short x, unsigned short y) override;
    void Draw(unsigned short x, unsigned short y, unsigned char value) override;
    void Draw(CImgRect rect, unsigned char value) override;
};

/* 256 grays, a byte each. */
class DIBPREP_API CGray256Image : public CGrayImage {
public:
    CGray256Image();
    unsigned char GetGrayScale(unsigned char* row, unsigned short x) override;
    unsigned char GetGrayScale(unsigned short x, unsigned short y) override;
    void Draw(unsigned short x, unsigned short y, unsigned char value) override;
    void Draw(CImgRect rect, unsigned char value) override;
};

/*
 * Colour images: all three classes address pixels as blue, green, red triples. Reading (x, y)
 * takes data + y as its row, y bytes in, not y rows, and goes through the first slot; drawing (x, y)
 * uses the stride. The reserved byte is read as 0 and not drawn. The virtual slots are in the order
 * of the gray images.
 */
class DIBPREP_API CColorImage : public CImgBuffer, public CImgParameter {
public:
    CColorImage();
    virtual tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) = 0;
    virtual tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) = 0;
    virtual void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) = 0;
    virtual void Draw(CImgRect rect, tagRGBQUAD colour) = 0;
};

class DIBPREP_API CColor16Image : public CColorImage {
public:
    CColor16Image();
    tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
    tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
    void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
    void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

class DIBPREP_API CColor256Image : public CColorImage {
public:
    CColor256Image();
    tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
    tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
    void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
    void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

class DIBPREP_API CFullColorImage : public CColorImage {
public:
    CFullColorImage();
    tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
    tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
    void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
    void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

/*
 * Prepares a gray or 24-bit result block for an image. The conversion step itself is not carried
 * out: result blocks stay zero-filled, and both Make functions return 0. The host sets the fields.
 * A null header has size 0 and gets no block.
 */
class DIBPREP_API CImgConverter {
public:
    /*
     * Bytes of an 8-bit gray DIB, or of a 24-bit DIB, of the source's size. Rows are kept to 16
     * bits, a negative height lowers the size, and 4294967295 stands for what leaves 32 bits.
     */
    unsigned int GetGray256ImageSize();
    unsigned int GetFullColorImageSize();
    /*
     * 4 and 8 bits: 1, with isGray telling whether every table entry is gray. Other depths and a
     * null table: 0, and isGray stays as it was.
     */
    int CheckColorMap(int& isGray);
    /* result receives a new zero-filled block, the caller's, or 0, for every depth. Always returns 0. */
    int MakeGray256Image(void*& result);
    int MakeFullColorImage(void*& result);

    void* source = nullptr;                /* memory handle of the source image */
    tagBITMAPINFOHEADER* header = nullptr; /* its header */
    tagRGBQUAD* colorTable = nullptr;      /* its colour table */
    unsigned char* bits = nullptr;         /* its pixel rows */
};

static_assert(sizeof(void*) != 4 || (sizeof(CGray256Image) == 32 && sizeof(CFullColorImage) == 32),
              "a table, an address, a size, and 20 bytes of parameters");
static_assert(sizeof(CImgConverter) == 4 * sizeof(void*), "a handle and three addresses");
static_assert(std::is_polymorphic<CGrayImage>::value && !std::has_virtual_destructor<CGrayImage>::value,
              "four virtual slots and no virtual destructor");
static_assert(std::is_polymorphic<CColorImage>::value && !std::has_virtual_destructor<CColorImage>::value,
              "four virtual slots and no virtual destructor");

/* Two 5 x 5 tables of weights for hosts that spread an error or a dot; nothing here reads them. */
extern DIBPREP_API const unsigned short WEIGHT_TABLE_A[5][5];
extern DIBPREP_API const unsigned short WEIGHT_TABLE_B[5][5];

#endif /* DIBPREP_IMAGE_H */
