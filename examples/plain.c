/*
 * A host in C99 that needs the plain entries only (dibprep/entries.h): brings a page to 200 dpi, asks
 * beforehand how much memory that takes, and shows the progress. libdibhost supplies the memory blocks.
 *
 * Built from the installed packages; for 32 bits, gcc -m32:
 *
 *     $ gcc -std=c99 plain.c $(pkg-config --cflags --libs dibprep dibhost) -o plain
 *     $ ./plain page-1bit.bmp fax.bmp
 *     The result takes 487382 bytes at most.
 *     0 % 20 % 40 % 60 % 80 % done
 *     1653 x 2338 pixels, depth 1
 */
#include <dibprep/entries.h>

#include <stdio.h>
#include <string.h>

/* Called with 0 to 99; whoever answers 0 stops the work. */
static int show_progress(unsigned short percent) {
    if (percent % 20 == 0)
        printf("%d %% ", percent);
    return 1;
}

/* The DIB of a BMP file in a memory block; null when it cannot be read. */
static void* read_page(const char* path) {
    BITMAPFILEHEADER head; /* what follows it is the DIB */
    void* page = NULL;
    FILE* file = fopen(path, "rb");
    if (!file)
        return NULL;
    if (fread(&head, sizeof head, 1, file) == 1 && head.bfSize > sizeof head + sizeof(BITMAPINFOHEADER))
        page = GlobalAlloc(66, head.bfSize - sizeof head); /* 66: movable and zeroed */
    if (page) {
        const size_t read = fread(GlobalLock(page), head.bfSize - sizeof head, 1, file);
        GlobalUnlock(page);
        if (read != 1)
            page = GlobalFree(page);
    }
    fclose(file);
    return page;
}

/* Writes the DIB of a memory block as a BMP file; 1 when all of it could be written. */
static int write_page(const char* path, void* page) {
    BITMAPFILEHEADER head;
    BITMAPINFOHEADER header;
    size_t colours, rows, size;
    int complete;
    const void* const dib = GlobalLock(page);
    FILE* file = fopen(path, "wb");
    if (!dib || !file)
        return 0;
    memcpy(&header, dib, sizeof header); /* a block may start at any address */
    colours = header.biClrUsed ? header.biClrUsed : header.biBitCount <= 8 ? (size_t)1 << header.biBitCount : 0;
    rows = ((size_t)header.biWidth * header.biBitCount + 31) / 32 * 4 * (size_t)header.biHeight;
    size = sizeof header + 4 * colours + rows; /* the block may be larger */
    memset(&head, 0, sizeof head);
    head.bfType = 0x4D42; /* "BM" */
    head.bfSize = (unsigned int)(sizeof head + size);
    head.bfOffBits = (unsigned int)(head.bfSize - rows);
    complete = fwrite(&head, sizeof head, 1, file) == 1 && fwrite(dib, size, 1, file) == 1;
    GlobalUnlock(page);
    printf("%d x %d pixels, depth %d\n", header.biWidth, header.biHeight, header.biBitCount);
    return fclose(file) == 0 && complete;
}

int main(int argc, char** argv) {
    unsigned int bytes;
    void* result = NULL;
    int status;
    void* const page = argc == 3 ? read_page(argv[1]) : NULL;
    if (!page || GetBufferSize(page, 200, &bytes) != 0) {
        fprintf(stderr, "plain IN.bmp OUT.bmp: cannot read the page\n");
        return 1;
    }
    printf("The result takes %u bytes at most.\n", bytes);
    status = ConvertResolution(page, &result, show_progress, 200, 128); /* 128: pixels half black are black */
    if (status == DIBPREP_OK) {
        printf("done\n");
        if (!write_page(argv[2], result))
            status = 1;
        GlobalFree(result); /* what a call returns is yours */
    }
    GlobalFree(page);
    return status;
}
