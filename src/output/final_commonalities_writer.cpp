// Members of Ovrell; contracts in engine/ovrell.h.
#include <iostream>

#include "base/output.h"
#include "engine/ovrell.h"
#include "engine/partial_results.h"
#include "output/result_file_name.h"

void Ovrell::writeFinalCommonalities(VectorBuff& mask, std::uint64_t blockSize,
                                     std::uint64_t fileSize, std::size_t position) {
  ResultFile file;
  if (!options.comFile.empty()) {
    const std::string name = resultFileName(options.comFile, options.attributes.size(), position);
    if (!file.open(name)) cannotOpenResultFile(name);
  }
  std::ostream& out = options.comFile.empty() ? std::cout : file.stream();

  const std::uint64_t rest = fileSize % blockSize;
  if (rest != 0) {
    mask.size = rest;
    readPartialResult(mask.data, rest, partialResultsOffset(fileSize - rest));
    printBitRow(mask.data, mask.size, out);
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
    printBitRow(mask.data, mask.size, out);
  }
  file.close();
  removePartialResults();
}
