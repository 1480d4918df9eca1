// Weights around a centre pixel, for hosts that spread an error or a dot. Nothing in the library
// reads them.
#include "dibprep/image.h"

const unsigned short WEIGHT_TABLE_A[5][5] = {
    {1, 2, 3, 2, 1}, {2, 5, 7, 5, 2}, {3, 7, 0, 7, 3}, {2, 4, 7, 4, 2}, {1, 2, 3, 2, 1},
};

const unsigned short WEIGHT_TABLE_B[5][5] = {
    {1, 3, 2, 3, 1}, {3, 7, 5, 7, 3}, {2, 5, 0, 5, 2}, {3, 7, 5, 7, 3}, {1, 3, 2, 3, 1},
};
