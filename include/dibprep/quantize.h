/*
 * CNiGoRo2: reduces a 16-, 24- or 32-bit DIB to a palette of at most 256 colours, and the fixed
 * palette of 256 colours with its search cube.
 *
 * Methods: the palette comes from an octree of the colours whose least-used nodes are merged until
 * few enough are left (M. Gervautz, W. Purgathofer, "A Simple Method for Color Quantization: Octree
 * Quantization", 1988). The nearest palette colour comes from a cube of cells that list the only
 * entries that can be nearest to a colour inside (S. W. Thomas, "Efficient Inverse Color Map
 * Computation", Graphics Gems II, 1991). No dithering.
 */
#ifndef DIBPREP_QUANTIZE_H
#define DIBPREP_QUANTIZE_H

#include "dibprep/types.h"

/* A palette record, copied by value. */
struct CColorTrans2 {
    tagRGBQUAD m_rgb;
    unsigned int m_dwCount;  /* pixels that it stands for */
    unsigned char m_byIndex; /* its place in the colour table */
};

/* A node of the octree. */
struct CCube2 {
    unsigned int m_dwRed; /* sums of the samples held here; m_dwRed becomes the palette index */
    unsigned int m_dwGreen;
    unsigned int m_dwBlue;
    unsigned int m_dwPixels; /* samples summed; nonzero: a palette colour */
    unsigned int m_dwWeight; /* insertions that passed through; the key of the reduction */
    unsigned char m_byChild; /* bit i: child i exists */
    unsigned int m_dwFixed;  /* nonzero: a default colour that stays exact */
};

/* A cell of a search cube. */
struct CCubeCell {
    int m_nCount;
    CColorTrans2* m_pList; /* made with new[], grows by 32 */
};

static_assert(sizeof(CColorTrans2) == 12, "colour, count, index");
static_assert(sizeof(CCube2) == 28, "seven words");
static_assert(sizeof(CCubeCell) == 2 * sizeof(void*), "a count and a list");

/* Squared distance of a from ref less that of b. */
DIBPREP_API int CompareColor(CColorTrans2 a, CColorTrans2 b, tagRGBQUAD ref);
/* Blue of a less blue of b. */
DIBPREP_API int CompareBlue(CColorTrans2 a, CColorTrans2 b);
/* Pixel count of a less that of b. */
DIBPREP_API int CompareDenom(CColorTrans2 a, CColorTrans2 b);
/* Quicksort (middle element as pivot), not stable: the order of ties is part of the result. */
DIBPREP_API void Qsort(CColorTrans2* v, int n, int (*cmp)(CColorTrans2, CColorTrans2));
DIBPREP_API void Qsort(CColorTrans2* v, tagRGBQUAD ref, int n, int (*cmp)(CColorTrans2, CColorTrans2, tagRGBQUAD));

/* Cells of the static cube: [red >> 4][green >> 4][blue >> 4]. */
extern DIBPREP_API CCubeCell STATIC_CUBE[16][16][16];

class DIBPREP_API CNiGoRo2 {
public:
    /*
     * dib        address of a packed DIB of 16, 24 or 32 bits that stays locked for the object's
     *            life; null behaves as an all-zero header
     * maxColors  at most 256 are ever made
     * depth      levels of the octree: 5 keeps the top five bits of each channel. 0: no octree; the
     *            palette is then what the host put into m_Palette and m_nColors
     */
    CNiGoRo2(unsigned char* dib, unsigned short maxColors, unsigned short depth, int reserved);
    ~CNiGoRo2();
    CNiGoRo2(const CNiGoRo2&) = delete;
    CNiGoRo2& operator=(const CNiGoRo2&) = delete;

    /*
     * The whole reduction: a new, unlocked 8-bit DIB, the caller's. 0 for 8 bits and less, without
     * extent, beyond 32 bits and without memory. std::bad_alloc when the lists of the search cube cannot grow; the
     * output is released then. Arguments are ignored.
     */
    void* QuantizeBitmap(int, int);
    /* The second half alone, with what m_Palette and m_nColors hold: output DIB, search, mapping. */
    void* Quantize();

    /*
     * Octree. Nodes are numbered breadth first, the root is 0. Nothing is checked: call the others
     * only after InitOctree.
     *
     * InitOctree           1 made, 0 not (8 bits or less, memory, above 2^31 bytes)
     * InsertColor          adds one sample; fixed nonzero: a default colour
     * FillTree             adds every pixel of the source
     * CountColors          colours from the node on, default ones only when `all` is nonzero; minWeight
     *                      is lowered to the smallest weight there that is not 0
     * Cut                  adds all samples from the node on to the parent
     * CutBranches          merges each node of this weight into its parent; 1 when the node itself was
     *                      merged: its parent's child bit is then the caller's to clear
     * ReduceColors         merges until few enough are left, and sets m_nColors; the colours left, the
     *                      default ones not counted
     * CreateColorTableRec  writes the colours from the node on to m_Palette, from record `next` on, and
     *                      moves `next` behind them; never past record 255
     * InsertDefaultColors  adds m_pDefaultColors
     */
    int InitOctree();
    void InsertColor(unsigned char r, unsigned char g, unsigned char b, int fixed);
    void FillTree();
    unsigned int CountColors(unsigned int node, unsigned int& minWeight, int all);
    void Cut(unsigned int node, CCube2* parent);
    unsigned int CutBranches(unsigned int node, unsigned int weight);
    unsigned int ReduceColors();
    void CreateColorTableRec(unsigned int node, unsigned int& next);
    void InsertDefaultColors();

    /*
     * Palette order and nearest-colour search. `table` is the output's colour table and receives
     * m_nColors entries. The nearest colour is answered as its m_byIndex: by list (L) after
     * BuildPalette, by cube (C) after BuildSearchCube. BuildSearchCube and AddList leave with
     * std::bad_alloc when a list cannot grow. InitSearchCube forgets the lists, DeleteSearchCube
     * releases them.
     */
    void BuildPalette(tagRGBQUAD* table);
    void BuildSearchCube(tagRGBQUAD* table);
    void InitSearchCube();
    void DeleteSearchCube();
    void AddList(int i, int j, int k, CColorTrans2 entry);
    unsigned char GetNearestColorIndexL(unsigned char r, unsigned char g, unsigned char b);
    unsigned char GetNearestColorIndexC(unsigned char r, unsigned char g, unsigned char b);

    /*
     * Row mappers: 16- and 32-bit bit fields, plain 16 and 24 bits. Rows on both sides are padded to
     * four bytes and may start at any address; padding is neither read nor written. `nearest` is not
     * used: m_wLinear tells the search. QuantizeBM16 takes its extent from m_bih.
     */
    void QuantizeBF16(unsigned short* source, int width, int height, unsigned char* target,
                      unsigned char (CNiGoRo2::*nearest)(unsigned char, unsigned char, unsigned char));
    void QuantizeBF32(unsigned int* source, int width, int height, unsigned char* target,
                      unsigned char (CNiGoRo2::*nearest)(unsigned char, unsigned char, unsigned char));
    void QuantizeBM16(unsigned short* source, int width, int height, unsigned char* target,
                      unsigned char (CNiGoRo2::*nearest)(unsigned char, unsigned char, unsigned char));
    void QuantizeBM24(unsigned char* source, int width, int height, unsigned char* target,
                      unsigned char (CNiGoRo2::*nearest)(unsigned char, unsigned char, unsigned char));

    /*
     * The fixed palette (in STATIC_COLOR: red, green, blue bytes) and its search cube (in
     * STATIC_CUBE). Create once, look up cells, Delete when done: a second Create loses the lists
     * of the first, as Init zeroes the cube without releasing them. Must not overlap with other
     * users. The palette's block stays allocated and locked until the library is unloaded; without
     * memory for it the cube stays empty. Lists that cannot grow leave as std::bad_alloc.
     */
    static void SetStaticColors();
    static void InitStaticSearchCube();
    static void DeleteStaticSearchCube();
    static void AddStaticList(int i, int j, int k, CColorTrans2 entry);
    static void CreateStaticSearchCube();
    static int m_iStcColorNum; /* static colours: 256 once set */

    CCube2* m_pCube;           /* octree nodes, null until built */
    unsigned short m_wDepth;   /* octree depth */
    unsigned char* m_pBits;    /* source pixels, not owned */
    tagBITMAPINFOHEADER m_bih; /* copy of the source header */
    unsigned int m_dwMaxColors;
    CColorTrans2 m_Palette[256];
    CCubeCell m_SearchCube[8][8][8]; /* [red >> 5][green >> 5][blue >> 5] */
    tagRGBQUAD* m_pDefaultColors;    /* owned, made with new[]; colours that must survive exactly */
    int m_nColors;                   /* palette records in use */
    unsigned int m_dwDefaultColors;
    unsigned int m_dwMode;    /* 666, 884, 775: no palette, no search preparation */
    unsigned short m_wLinear; /* 1 list search, 0 cube search */
};

static_assert(sizeof(void*) != 4 ||
                  (offsetof(CNiGoRo2, m_wDepth) == 4 && offsetof(CNiGoRo2, m_pBits) == 8 &&
                   offsetof(CNiGoRo2, m_bih) == 12 && offsetof(CNiGoRo2, m_dwMaxColors) == 52 &&
                   offsetof(CNiGoRo2, m_Palette) == 56 && offsetof(CNiGoRo2, m_SearchCube) == 3128 &&
                   offsetof(CNiGoRo2, m_pDefaultColors) == 7224 && offsetof(CNiGoRo2, m_nColors) == 7228 &&
                   offsetof(CNiGoRo2, m_wLinear) == 7240 && sizeof(CNiGoRo2) == 7244),
              "the layout that 32-bit hosts know");

#endif /* DIBPREP_QUANTIZE_H */
