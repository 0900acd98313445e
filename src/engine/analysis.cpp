// Members of Ovrell; contracts in engine/ovrell.h.
#include "base/fatal.h"
#include "engine/budget.h"
#include "engine/ovrell.h"
#include "project/file_checks.h"

std::uint64_t Ovrell::checkFiles(DataFiles& files) { return checkFileSet(files); }

std::uint64_t Ovrell::checkInput(DataFiles& files) {
  const std::uint64_t fileSize = checkFiles(files);
  if (fileSize % options.chunkSize != 0) {
    warn("Warning - file length is not multiple of ", options.chunkSize,
         ". Ignoring -e command line argument.\n");
    options.chunkSize = 1;
  }
  return fileSize;
}

void Ovrell::runAnalysis(const FileList& paths, AttributeIndex& attributeIndex) {
  DataFiles files(paths);
  const std::uint64_t fileSize = checkInput(files);
  unsigned valueWidth = 0;
  const std::uint64_t blockSize =
      computeBlockSize(files.size(), fileSize, valueWidth, !options.disFile.empty());

  VectorBuff mask = initVectorBuffer(blockSize);
  ArrayBuff block = initArrayBuffer(blockSize, files.size());
  if (options.disFile.empty())
    commonalitiesOnlyPass(files, attributeIndex, fileSize, blockSize, block);
  else
    dissimilarityPass(files, attributeIndex, fileSize, blockSize, valueWidth, block, mask);
  freeBuffer(mask);
  freeBuffer(block);
}

std::uint64_t Ovrell::computeBlockSize(std::uint64_t fileCount, std::uint64_t fileSize,
                                       unsigned& valueWidth, bool dissimilarities) {
  if (dissimilarities && fileSize > kLargestFileSize)
    fatal("Program is not able to parse files larger than 2^61 ", "bytes.\n");
  valueWidth = valueWidthFor(dissimilarities, fileSize);
  const std::uint32_t raw = rawBlockSize(options.memLimit, static_cast<std::uint32_t>(fileCount),
                                         valueWidth, options.linear);
  if (raw <= 7)
    fatal("Too many files to process. Try to increase memory limit using", " '-m' option\n");
  return blockSizeFor(raw, fileSize);
}

// Blocks from the start of the files to their end, the short block last;
// every attribute's mask of a block goes straight to its output.
void Ovrell::commonalitiesOnlyPass(const DataFiles& files, AttributeIndex& attributeIndex,
                                   std::uint64_t fileSize, std::uint64_t blockSize,
                                   ArrayBuff& block) {
  for (std::uint64_t end = blockSize; end <= fileSize; end += blockSize) {
    std::uint64_t start = end - blockSize;
    doCommAllBlock(attributeIndex, start, files, block);
  }
  const std::uint64_t rest = fileSize % blockSize;
  if (rest != 0) {
    block.rowSize = rest;
    std::uint64_t start = fileSize - rest;
    doCommAllBlock(attributeIndex, start, files, block);
  }
}
