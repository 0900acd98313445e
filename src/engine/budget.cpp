#include "engine/budget.h"

#include "engine/buffers.h"

unsigned valueWidthFor(bool dissimilarities, std::uint64_t fileSize) {
  if (!dissimilarities) return 0;
  if (fileSize <= 30) return 1;
  if (fileSize <= 8190) return 2;
  if (fileSize <= 536870910) return 4;
  return 8;
}

std::uint32_t rawBlockSize(std::uint32_t memLimit, std::uint32_t files, unsigned valueWidth,
                           bool linear) {
  const std::uint32_t w = valueWidth;
  const std::uint32_t rowsPerByte = w == 0 ? 1 : 2;
  const std::uint32_t divisor = rowsPerByte * files + 8 * w + 1;
  const std::uint32_t fixedCost = linear ? 16 * files : (files - 1) * files * w / 2;
  if (divisor == 0) return 0;  // only with about 2^32 files
  return (memLimit - fixedCost) / divisor;
}

std::uint64_t blockSizeFor(std::uint32_t rawBlock, std::uint64_t fileSize) {
  const std::uint64_t clamped = rawBlock < fileSize ? rawBlock : fileSize;
  return pitchOf(clamped);
}
