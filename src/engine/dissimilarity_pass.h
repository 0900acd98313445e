// The pass with dissimilarities: for each named attribute, the blocks from
// the end of the files to their start. Each block is read in tiles on every
// core into its rows and masked as the tiles come in; the mask goes to the
// partial results file (engine/partial_results.h), the masked bits through
// the dissimilarity kernel (linear or quadratic, -q) and the stretch finder
// to the stretch sink, and at the attribute's end the whole mask, read back
// in file order, to the mask sink (engine/final_mask.h).
//
// The pass allocates the kernel's buffers for the run's block size and
// value width; the options, the reader and the sinks must outlive it.
#ifndef OVRELL_ENGINE_DISSIMILARITY_PASS_H_
#define OVRELL_ENGINE_DISSIMILARITY_PASS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/data_files.h"
#include "engine/buffers.h"
#include "engine/gather_columns.h"
#include "engine/position_queue.h"
#include "engine/single_list.h"
#include "engine/sinks.h"
#include "engine/tile_reader.h"
#include "options/options.h"
#include "project/attribute_index.h"

class DissimilarityPass {
 public:
  struct Sinks {
    MaskSink& masks;
    StretchSink& stretches;
  };
  DissimilarityPass(const Options& options, TileReader& reader, Sinks sinks,
                    std::uint64_t blockSize, unsigned valueWidth, std::uint64_t files);
  ~DissimilarityPass();
  DissimilarityPass(const DissimilarityPass&) = delete;
  DissimilarityPass& operator=(const DissimilarityPass&) = delete;

  // `block` and `mask` have room for one block; the short head block's
  // rowSize is kept for the later attributes (they then read and compare
  // only that many bytes of each block), kept so on purpose.
  void run(const DataFiles& files, AttributeIndex& attributeIndex, std::uint64_t fileSize,
           ArrayBuff& block, VectorBuff& mask);

 private:
  // The blocks of attribute `position`, then its whole mask.
  void attribute(const DataFiles& files, const ValueGroups& valueIndex, std::size_t position,
                 std::uint64_t fileSize, ArrayBuff& block, VectorBuff& mask);
  // The kernel's state at an attribute's start.
  void startKernel();
  // Reads the block at `start` and makes its mask, stores it in the
  // partial results file and narrows it to the bits that differ.
  void readAndMask(const DataFiles& files, std::uint64_t start, ArrayBuff& block, VectorBuff& mask);
  // The mask of words [first, end) of the block, narrowed with -x.
  void maskTile(unsigned slot, std::uint64_t first, std::uint64_t end, VectorBuff& mask);
  // The stretches of the block at `start`, a part of the mask at a time.
  void blockStretches(std::uint64_t start, const VectorBuff& mask, std::size_t position,
                      PositionQueue& queue, std::uint64_t& lastValue);

  const Options& options_;
  TileReader& reader_;
  Sinks sinks_;
  const std::uint64_t blockSize_;
  const unsigned valueWidth_;
  ArrayBuff groupRows_;
  VectorBuff columnValues_, structure_;  // the values, and the nodes or pair counters
  single_list<NodeType> zeros_, ones_;
  ColumnGatherer gatherer_;
  std::vector<unsigned int> groupSizes_;
  std::vector<unsigned long long*> rowPointers_, partRows_;
  std::vector<std::vector<const Word*>> tileRows_;  // per slot
};

#endif  // OVRELL_ENGINE_DISSIMILARITY_PASS_H_
