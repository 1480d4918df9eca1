// STATIC_COLOR: made empty when the library is loaded; its destructor frees the static palette's
// block, if there is one, when the library is unloaded.
#include "dibprep/memory.h"

CHandle STATIC_COLOR(nullptr); // NOLINT(cert-err58-cpp): nothing is called for no block
