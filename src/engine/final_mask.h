// The dissimilarity pass's last step for an attribute: its whole mask, read
// back from the partial results file (engine/partial_results.h) in file
// order, the short head piece first, to the mask sink; then the file goes.
#ifndef OVRELL_ENGINE_FINAL_MASK_H_
#define OVRELL_ENGINE_FINAL_MASK_H_

#include <cstddef>
#include <cstdint>

#include "engine/buffers.h"
#include "engine/sinks.h"

// Puts attribute `position`'s mask; `mask` is the read-back's buffer, left
// with size blockSize. Each piece's bytes become the character '0' once
// put, so a piece that cannot be read back puts zeros.
void putFinalMask(MaskSink& sink, VectorBuff& mask, std::uint64_t blockSize, std::uint64_t fileSize,
                  std::size_t position);

#endif  // OVRELL_ENGINE_FINAL_MASK_H_
