// Damaged pages against every entry that takes one: what each answers, and that it takes no more time
// and memory than the page declares, leaves every block and lock in order, and changes no source.
// The blocks lie between unreadable pages.
#pragma once

#include "tests/reliability/pages.h"

#include <string>

namespace hostile {

// What the entries answer, in this order, as words between blanks:
//   GetTransformImageMemorySize  status
//   GetBufferSize                status
//   ConvertResolution            status/blocks left behind
//   LinearTransformMain          status, memory to memory
//   LinearTransformMain          status, file to file
//   ConvertResolution2           + (a block) or - (none), and the status word
//   NormalizeDIB                 + or -
//   ConvertTo24BPPDIB            + or -
//   ConvertTo16BPPDIB            + or -
//   CNiGoRo2::QuantizeBitmap     + or -
// A dot stands for an entry that takes addresses, cannot know where the block ends, and is not called
// because its caller must provide the bytes that the header declares.
std::string Answers(const Bytes& page, unsigned short dpi = Dpi);

// Seconds of processor time that one call may take.
constexpr double MostSeconds = 5;

} // namespace hostile
