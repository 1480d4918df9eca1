/* A host in C: uses the plain entries and the records only. */
#include "dibprep/entries.h"

#include <string.h>

int main(void) {
    struct tagBITMAPINFOHEADER header;
    unsigned int size = 0;
    unsigned short status = 0;
    void* result = &size;
    void* const block = GlobalAlloc(66, sizeof header + 2 * 4);
    memset(&header, 0, sizeof header);
    header.biSize = sizeof header;
    header.biWidth = 1;
    header.biHeight = 2;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biXPelsPerMeter = header.biYPelsPerMeter = 11811;
    memcpy(GlobalLock(block), &header, sizeof header);
    GlobalUnlock(block);

    /* 1 x 2 pixels at 300 dpi are 2 x 4 at 600: four rows of 8 bytes and 1078 bytes in front. */
    if (GetBufferSize(block, 600, &size) != 0 || size != 4 * 8 + 1078)
        return 1;
    if (ConvertResolution(block, &result, NULL, 600, 128) != 0 || GlobalSize(result) != size)
        return 2;
    GlobalFree(result);
    result = ConvertResolution2(block, 0, 0, &status);
    if (!result || status != 0)
        return 3;
    GlobalFree(result);
    return GlobalFree(block) == NULL ? 0 : 4;
}
