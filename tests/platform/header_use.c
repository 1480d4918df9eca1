/* The plain headers used from C. */
#include "dibprep/entries.h"
#include "dibprep/hostlayer.h"

int UseHostLayerFromC(void);

static int CountPen(void* pen, intptr_t state) {
    *(unsigned int*)state += ((const LOGPEN*)pen)->lopnColor;
    return 1;
}

/* 0, or the number of the step that went wrong. */
int UseHostLayerFromC(void) {
    LOGPEN pen = {0, {1, 1}, 5};
    unsigned int sum = 0;
    dibhost_scope* scope = dibhost_scope_open();
    void* kept = GlobalAlloc(66, 10);
    void* dc = dibhost_dc_create();
    if (scope == NULL || kept == NULL || GlobalAlloc(66, 10) == NULL)
        return 1;
    if (dibhost_scope_keep(scope, kept) != 1 || dibhost_scope_close(scope) != 1)
        return 2;
    if (GlobalFree(kept) != NULL)
        return 3;
    if (dibhost_dc_add_pen(dc, &pen) != 1 || dibhost_dc_add_pen(dc, &pen) != 1)
        return 4;
    if (EnumObjects(dc, 1, CountPen, (intptr_t)&sum) != 1 || sum != 10)
        return 5;
    return dibhost_dc_destroy(dc) == 1 ? 0 : 6;
}
