// putFinalMask; contract in engine/final_mask.h.
#include "engine/final_mask.h"

#include <cstring>

#include "engine/partial_results.h"

namespace {

void putPiece(MaskSink& sink, unsigned char* piece, std::uint64_t length) {
  sink.putMask(piece, length);
  if (length > 0) std::memset(piece, '0', length);  // an empty piece may have no storage
}

}  // namespace

void putFinalMask(MaskSink& sink, VectorBuff& mask, std::uint64_t blockSize, std::uint64_t fileSize,
                  std::size_t position) {
  sink.openMask(position);
  const std::uint64_t rest = fileSize % blockSize;
  if (rest != 0) {
    mask.size = rest;
    readPartialResult(mask.data, rest, partialResultsOffset(fileSize - rest));
    putPiece(sink, mask.data, mask.size);
  }
  // The count of full pieces is cut to a signed 32-bit number. When the
  // file is shorter than one block, fileSize - blockSize wraps around: a
  // negative count skips the loop, kept so on purpose; a positive one, which
  // would print pieces of records that do not exist until the disk is full,
  // is refused before the run starts.
  mask.size = blockSize;
  const std::int32_t last = lastPartialRecord(fileSize, blockSize);
  for (std::int64_t k = last; k >= 0; --k) {
    readPartialResult(mask.data, blockSize,
                      partialResultsOffset(static_cast<std::uint64_t>(k) * blockSize));
    putPiece(sink, mask.data, mask.size);
  }
  sink.closeMask();
  removePartialResults();
}
