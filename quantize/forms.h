// The two forms of the quantiser's loops over pixels, nodes and records. The scalar forms define the
// results. The fast forms leave exactly the same bytes in every field a host can see; they answer
// false, with nothing done, where they do not apply (the scalar tier, too little work to pay for
// their tables, no memory for these, fields that only a host can have set so).
#pragma once

#include "dibprep/quantize.h"

namespace dibprep {

void ScalarFillTree(CNiGoRo2& quantiser);
bool FastFillTree(CNiGoRo2& quantiser);

// Answers the colours that are left, default ones not counted.
unsigned int ScalarReduceColors(CNiGoRo2& quantiser);
bool FastReduceColors(CNiGoRo2& quantiser, unsigned int& left);

// QuantizeBitmap for an object that no host can look into: what it makes is the same, but the nodes of
// the octree are left unwritten.
void* QuantizeUnseen(CNiGoRo2& quantiser);
// Its palette records, without a tree: false, with nothing done, where they cannot be had so.
bool MakePalette(CNiGoRo2& quantiser);

// Allocates the node array: InitOctree, but for zeroing it where `zeroed` is false.
bool AllocateOctree(CNiGoRo2& quantiser, bool zeroed);

bool FastBuildPalette(CNiGoRo2& quantiser, tagRGBQUAD* table);
void ScalarBuildPalette(CNiGoRo2& quantiser, tagRGBQUAD* table);

void ScalarBuildSearchCube(CNiGoRo2& quantiser, tagRGBQUAD* table);
bool FastBuildSearchCube(CNiGoRo2& quantiser, tagRGBQUAD* table);

// Rows of 24 bits, and plain rows of 16, to indices; rows of both sides are padded to four bytes.
void ScalarMap24(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target);
bool FastMap24(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target);
void ScalarMap16(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target);
bool FastMap16(CNiGoRo2& quantiser, const unsigned char* source, int width, int height, unsigned char* target);

} // namespace dibprep
