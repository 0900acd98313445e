// readBlock; contract in engine/block_reader.h.
#include "engine/block_reader.h"

void readBlock(const DataFiles& files, std::uint64_t start, ArrayBuff block,
               const ByteOrder& order) {
  const std::uint64_t pitch = pitchOf(block.rowSize);
  for (std::size_t i = 0; i < files.size(); ++i) {
    unsigned char* row = block.data + i * pitch;
    files.read(i, row, block.rowSize, start);
    if (order.invertBits) invertBits(reinterpret_cast<Word*>(row), pitch / 8);
    if (order.chunkSize != 1) reorderBytes(row, block.rowSize, order.chunkSize);
  }
}
