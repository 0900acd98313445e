// Ovrell; contract in engine/ovrell.h.
#include "engine/ovrell.h"

#include "base/fatal.h"
#include "engine/budget.h"
#include "engine/buffers.h"
#include "engine/commonalities_pass.h"
#include "engine/dissimilarity_pass.h"
#include "project/file_checks.h"

std::uint64_t Ovrell::checkFiles(DataFiles& files) { return checkFileSet(files); }

std::uint64_t Ovrell::checkInput(DataFiles& files) {
  const std::uint64_t fileSize = checkFiles(files);
  if (fileSize % options.chunkSize != 0) {
    warn("Warning - file length is not multiple of ", options.chunkSize,
         ". Ignoring -e command line argument.\n");
    options.chunkSize = 1;
  }
  tiles_.order = ByteOrder{options.inverseByteOrder, options.chunkSize};
  return fileSize;
}

void Ovrell::runAnalysis(const FileList& paths, AttributeIndex& attributeIndex, MaskSink& masks,
                         StretchSink* stretches) {
  DataFiles files(paths);
  const std::uint64_t fileSize = checkInput(files);
  unsigned valueWidth = 0;
  const std::uint64_t blockSize =
      computeBlockSize(files.size(), fileSize, valueWidth, stretches != nullptr);

  VectorBuff mask = initVectorBuffer(blockSize, options.memLimit);
  ArrayBuff block = initArrayBuffer(blockSize, files.size(), options.memLimit);
  if (stretches == nullptr) {
    CommonalitiesPass(options, tiles_, masks)
        .run(files, attributeIndex, fileSize, blockSize, block);
  } else {
    DissimilarityPass pass(options, tiles_, {masks, *stretches}, blockSize, valueWidth,
                           files.size());
    pass.run(files, attributeIndex, fileSize, block, mask);
  }
  freeBuffer(mask);
  freeBuffer(block);
}

std::uint64_t Ovrell::computeBlockSize(std::uint64_t fileCount, std::uint64_t fileSize,
                                       unsigned& valueWidth, bool dissimilarities) {
  if (dissimilarities && fileSize > kLargestFileSize)
    fatal("Program is not able to parse files larger than 2^61 bytes.\n");
  valueWidth = valueWidthFor(dissimilarities, fileSize);
  const std::uint32_t raw = rawBlockSize(options.memLimit, static_cast<std::uint32_t>(fileCount),
                                         valueWidth, options.linear);
  if (raw <= 7)
    fatal("Too many files to process. Try to increase memory limit using '-m' option\n");
  return blockSizeFor(raw, fileSize);
}
