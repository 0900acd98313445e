// DissimilarityPass; contract in engine/dissimilarity_pass.h.
#include "engine/dissimilarity_pass.h"

#include "engine/commonalities.h"
#include "engine/final_mask.h"
#include "engine/linear_dissimilarities.h"
#include "engine/partial_results.h"
#include "engine/quadratic_dissimilarities.h"
#include "engine/stretches.h"

namespace {
// Mask bytes whose masked bits go through the kernel at a time (a multiple
// of 8): up to 128 Ki columns.
constexpr std::uint64_t kColumnBytes = 16 * 1024;
}  // namespace

DissimilarityPass::DissimilarityPass(const Options& options, TileReader& reader, Sinks sinks,
                                     std::uint64_t blockSize, unsigned valueWidth,
                                     std::uint64_t files)
    : options_(options),
      reader_(reader),
      sinks_(sinks),
      blockSize_(blockSize),
      valueWidth_(valueWidth),
      groupRows_(initArrayBuffer(blockSize, files, options.memLimit)),
      columnValues_(initVectorBuffer(8 * valueWidth * blockSize, options.memLimit)),
      // The budget charges 16 bytes per node and (n - 1) × n / 2 pair
      // counters; the storage is sized for what is actually used: a whole
      // node each, and a counter for every pair even when every file is its
      // own group.
      structure_(initVectorBuffer(
          options.linear ? files * sizeof(NodeType) : files * (files - 1) / 2 * valueWidth,
          options.memLimit)),
      zeros_(files),
      ones_(files),
      tileRows_(reader.tileSlots()) {}

DissimilarityPass::~DissimilarityPass() {
  freeBuffer(columnValues_);
  freeBuffer(structure_);
  freeBuffer(groupRows_);
}

void DissimilarityPass::run(const DataFiles& files, AttributeIndex& attributeIndex,
                            std::uint64_t fileSize, ArrayBuff& block, VectorBuff& mask) {
  // Every block is read whole and masked whole (by both threads at once,
  // whose small page faults get in each other's way); the group rows and
  // the column table are only touched a part at a time.
  adviseHugePages(block.data, pitchOf(blockSize_) * files.size());
  adviseHugePages(mask.data, pitchOf(blockSize_));
  for (std::size_t position = 0; position < options_.attributes.size(); ++position)
    attribute(files, *attributeIndex.find(options_.attributes[position])->second, position,
              fileSize, block, mask);
}

void DissimilarityPass::attribute(const DataFiles& files, const ValueGroups& valueIndex,
                                  std::size_t position, std::uint64_t fileSize, ArrayBuff& block,
                                  VectorBuff& mask) {
  const std::uint64_t blockSize = blockSize_;
  PositionQueue queue;
  std::uint64_t lastValue = 0;
  removeStalePartialResults();
  collectGroups(valueIndex, block, groupSizes_, rowPointers_);
  startKernel();
  // Blocks from the end of the files; the short head block last.
  for (std::uint64_t remaining = fileSize; remaining > 0;) {
    std::uint64_t start = 0;
    if (remaining >= blockSize) {
      start = remaining - blockSize;
    } else {
      block.rowSize = remaining;
      mask.size = remaining;
      collectGroups(valueIndex, block, groupSizes_, rowPointers_);
    }
    readAndMask(files, start, block, mask);
    blockStretches(start, mask, position, queue, lastValue);
    remaining = remaining >= blockSize ? remaining - blockSize : 0;
  }
  putFinalMask(sinks_.masks, mask, blockSize, fileSize, position);
}

void DissimilarityPass::startKernel() {
  if (options_.linear)
    pushGroupNodes(reinterpret_cast<NodeType*>(structure_.data), groupRows_, groupSizes_.size(),
                   zeros_);
  else
    resetPairCounters(structure_, valueWidth_);
}

void DissimilarityPass::maskTile(unsigned slot, std::uint64_t first, std::uint64_t end,
                                 VectorBuff& mask) {
  std::vector<const Word*>& rows = tileRows_[slot];
  rows.assign(rowPointers_.begin(), rowPointers_.end());
  for (const Word*& row : rows) row += first;
  commonalitiesOfWords(groupSizes_, rows, maskWords(mask) + first, end - first);
  if (options_.exclude) excludeOfWords(rows, maskWords(mask) + first, end - first);
}

void DissimilarityPass::readAndMask(const DataFiles& files, std::uint64_t start, ArrayBuff& block,
                                    VectorBuff& mask) {
  // The block is read in tiles on every core into its rows, and each tile's
  // mask computed (and narrowed, with -x) as soon as it is in. The last word
  // holds the rows' padding, which is final only when the whole block is:
  // its mask is computed again then.
  TileReader::TileSteps steps{
      [&](unsigned slot, std::uint64_t first, std::uint64_t end, const std::vector<Word*>&) {
        maskTile(slot, first, end, mask);
      },
      0, [](unsigned, std::uint64_t, std::uint64_t, const std::vector<Word*>&) {}};
  steps.intoBlock = true;
  reader_.readBlockInTiles(files, start, block, steps);
  const std::uint64_t last = wordsOf(block.rowSize) - 1;
  maskTile(0, last, last + 1, mask);  // every slot is free again
  appendPartialResult(mask.data, mask.size, kPartialResultsFile);
  if (!options_.exclude) exclude(block, rowPointers_, mask);
}

void DissimilarityPass::blockStretches(std::uint64_t start, const VectorBuff& mask,
                                       std::size_t position, PositionQueue& queue,
                                       std::uint64_t& lastValue) {
  // The masked bits go through the kernel and the stretch sink a part of
  // the mask at a time, from the block's end to its start. Their state
  // carries from part to part as it does from block to block, so the
  // stretches are those of the whole block at once, and only a part's worth
  // of the column table and of the group rows is ever touched. The block's
  // stretches are opened by the first part with masked bits.
  bool opened = false;
  partRows_.resize(rowPointers_.size());
  for (std::uint64_t end = mask.size; end > 0;) {
    const std::uint64_t from = (end - 1) / kColumnBytes * kColumnBytes;
    const VectorBuff part{mask.data + from, end - from};
    for (std::size_t f = 0; f < rowPointers_.size(); ++f) partRows_[f] = rowPointers_[f] + from / 8;
    const std::uint64_t columns = gatherer_.gather(groupRows_, part, groupSizes_, partRows_);
    if (columns > 0) {
      if (options_.linear)
        linearColumns(zeros_, ones_, columnValues_, columns, valueWidth_);
      else
        quadraticColumns(groupRows_, structure_, columnValues_, columns, valueWidth_);
      if (!opened) {
        sinks_.stretches.openBlock(position);
        opened = true;
      }
      findStretches(columnValues_, gatherer_.offsets(), start + from, queue, lastValue, valueWidth_,
                    [this](std::uint64_t first, std::uint64_t last) {
                      sinks_.stretches.stretch(first, last);
                    });
    }
    end = from;
  }
  if (opened) sinks_.stretches.closeBlock();
}
