/*
 * dibprep: prepares page images for printing, faxing, scanning and archiving hosts. This header
 * declares everything that libdibprep exports and imports; the headers it includes go by subject.
 */
#ifndef DIBPREP_H
#define DIBPREP_H

#include "dibprep/entries.h"
#include "dibprep/host.h"
#include "dibprep/types.h"

#ifdef __cplusplus
#include "dibprep/bilinear.h"
#include "dibprep/colour.h"
#include "dibprep/dib.h"
#include "dibprep/image.h"
#include "dibprep/memory.h"
#include "dibprep/quantize.h"
#include "dibprep/transform.h"
#endif

#endif /* DIBPREP_H */
