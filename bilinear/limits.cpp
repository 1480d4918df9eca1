// The writable limits of stored channels. A host lowers them to keep results below a level; with
// the values below they never act on colours, because a mix of four samples stays between them.
#include "dibprep/bilinear.h"

int COLOR_MAX_VALUE = 255;
int COLOR_MAX_VALUE16 = 32767;
int WHITE_POINT_VALUE = 255;
// Half of the colour range, deliberately.
int WHITE_POINT_VALUE16 = 16383;
int BLACK_POINT_VALUE = 0;
int BLACK_POINT_VALUE16 = 0;
