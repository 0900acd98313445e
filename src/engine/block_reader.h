// Reading one block: the same bytes of every data file, side by side.
//
// A block is the bytes [start, start + rowSize) of each file, file i in row
// i of an ArrayBuff (engine/buffers.h), turned to the run's byte order
// (engine/byte_order.h). The files are read through the run's open data
// files (base/data_files.h); a file that cannot be read, or has changed
// since the checks, ends the run.
#ifndef OVRELL_ENGINE_BLOCK_READER_H_
#define OVRELL_ENGINE_BLOCK_READER_H_

#include <cstdint>

#include "base/data_files.h"
#include "engine/buffers.h"
#include "engine/byte_order.h"

// Fills row i with block.rowSize bytes of file i from offset `start`, then
// inverts bits (the row's padding too) and reorders chunks.
void readBlock(const DataFiles& files, std::uint64_t start, ArrayBuff block,
               const ByteOrder& order);

#endif  // OVRELL_ENGINE_BLOCK_READER_H_
