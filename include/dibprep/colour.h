/*
 * Colour helpers: packed colours to gray, and the colours of a device context's solid pens.
 */
#ifndef DIBPREP_COLOUR_H
#define DIBPREP_COLOUR_H

#include "dibprep/types.h"

/*
 * Each maps a packed colour (RGB) to the packed gray of its level: 16 levels (multiples of 17) or
 * 256. "Easy" is the average of the channels, "MinMax" the middle of the largest and the smallest,
 * no suffix a weighted luminance. ColorToMono16 rounds its luminance to nearest, then down to a multiple
 * of 17. The weights of ColorToMono256 add up to 62/64: white gives 247.
 */
DIBPREP_API unsigned int ColorToMono16Easy(unsigned int colour);
DIBPREP_API unsigned int ColorToMono16MinMax(unsigned int colour);
DIBPREP_API unsigned int ColorToMono16(unsigned int colour);
DIBPREP_API unsigned int ColorToMono256Easy(unsigned int colour);
DIBPREP_API unsigned int ColorToMono256MinMax(unsigned int colour);
DIBPREP_API unsigned int ColorToMono256(unsigned int colour);

/*
 * Colours of the solid pens of a device context, through the host's EnumObjects. With a null array
 * counts every solid pen; with an array stores and counts each colour once, so that an array sized by
 * the first call always suffices. 4294967295 when the host cannot enumerate.
 */
DIBPREP_API unsigned int GetBaseColors(void* dc, unsigned int* colours);

/* What GetBaseColors hands to GetColorsCallback as the address in its second argument. */
struct CBaseColorsState {
    int count;
    unsigned int* colours;
};

/* The callback of GetBaseColors: pen is a LOGPEN. 2 for a colour already stored, else 1. */
DIBPREP_API int GetColorsCallback(void* pen, intptr_t state);

#endif /* DIBPREP_COLOUR_H */
