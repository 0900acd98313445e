// The per-attribute pass: for each named attribute, the blocks from the end
// of the files to their start; the masks go to the partial results file, the
// masked bits through the dissimilarity kernel to the dissimilarities writer,
// and at the attribute's end the final writer prints the masks in file order.
#include "engine/ovrell.h"
#include "engine/partial_results.h"
#include "engine/position_queue.h"
#include "engine/single_list.h"

namespace {
// Mask bytes whose masked bits go through the kernel at a time (a multiple
// of 8): up to 128 Ki columns.
constexpr std::uint64_t kColumnBytes = 16 * 1024;
}  // namespace

void Ovrell::dissimilarityPass(const DataFiles& files, AttributeIndex& attributeIndex,
                               std::uint64_t fileSize, std::uint64_t blockSize, unsigned valueWidth,
                               ArrayBuff& block, VectorBuff& mask) {
  const std::uint64_t n = files.size();
  // Every block is read whole and masked whole (by both threads at once,
  // whose small page faults get in each other's way); the group rows and
  // the column table are only touched a part at a time.
  adviseHugePages(block.data, pitchOf(blockSize) * n);
  adviseHugePages(mask.data, pitchOf(blockSize));
  ArrayBuff groupRows = initArrayBuffer(blockSize, n);
  VectorBuff columnValues = initVectorBuffer(8 * valueWidth * blockSize);
  // The budget charges 16 bytes per node and (n - 1) × n / 2 pair counters;
  // the storage is sized for what is actually used: a whole node each, and
  // a counter for every pair even when every file is its own group.
  VectorBuff structure =
      initVectorBuffer(options.linear ? n * sizeof(NodeType) : n * (n - 1) / 2 * valueWidth);
  NodeType* nodes = reinterpret_cast<NodeType*>(structure.data);
  single_list<NodeType> zeros(n), ones(n);

  std::vector<unsigned int> groupSizes;
  std::vector<unsigned long long*> rowPointers, partRows;
  std::vector<std::vector<const Word*>> tileRows(tileSlots());  // per slot
  // The mask of words [first, end) of the block (narrowed with -x), with the
  // slot's row list.
  auto maskWordsOf = [&](unsigned slot, std::uint64_t first, std::uint64_t end,
                         const std::vector<Word*>&) {
    std::vector<const Word*>& rows = tileRows[slot];
    rows.assign(rowPointers.begin(), rowPointers.end());
    for (const Word*& row : rows) row += first;
    commonalitiesOfWords(groupSizes, rows, maskWords(mask) + first, end - first);
    if (options.exclude) excludeOfWords(rows, maskWords(mask) + first, end - first);
  };
  for (std::size_t position = 0; position < options.attributes.size(); ++position) {
    PositionQueue queue;
    std::uint64_t lastValue = 0;
    removeStalePartialResults();
    const ValueGroups& valueIndex = *attributeIndex.find(options.attributes[position])->second;
    collectGroups(valueIndex, block, groupSizes, rowPointers);
    if (options.linear)
      pushGroupNodes(nodes, groupRows, groupSizes.size(), zeros);
    else
      resetPairCounters(structure, valueWidth);

    // Blocks from the end of the files; the short head block last. Its
    // shortened rowSize is kept for the later attributes (they then read
    // and compare only that many bytes of each block); kept so on purpose.
    for (std::uint64_t remaining = fileSize; remaining > 0;) {
      std::uint64_t start = 0;
      if (remaining >= blockSize) {
        start = remaining - blockSize;
      } else {
        block.rowSize = remaining;
        mask.size = remaining;
        collectGroups(valueIndex, block, groupSizes, rowPointers);
      }
      // The block is read in tiles on every core into its rows, and each
      // tile's mask computed (and narrowed, with -x) as soon as it is in.
      // The last word holds the rows' padding, which is final only when the
      // whole block is: its mask is computed again then.
      TileSteps steps{maskWordsOf, 0,
                      [](unsigned, std::uint64_t, std::uint64_t, const std::vector<Word*>&) {}};
      steps.intoBlock = true;
      readBlockInTiles(files, start, block, steps);
      const std::uint64_t last = wordsOf(block.rowSize) - 1;
      maskWordsOf(0, last, last + 1, {});  // every slot is free again
      partRows.resize(rowPointers.size());
      appendPartialResult(mask.data, mask.size, kPartialResultsFile);
      if (!options.exclude) exclude(block, rowPointers, mask);

      // The masked bits go through the kernel and the writer a part of the
      // mask at a time, from the block's end to its start. Their state
      // carries from part to part as it does from block to block, so the
      // lines are those of the whole block at once, and only a part's
      // worth of the column table and of the group rows is ever touched.
      ResultFile lines;  // opened by the first part with masked bits
      for (std::uint64_t end = mask.size; end > 0;) {
        const std::uint64_t from = (end - 1) / kColumnBytes * kColumnBytes;
        VectorBuff part{mask.data + from, end - from};
        for (std::size_t f = 0; f < rowPointers.size(); ++f)
          partRows[f] = rowPointers[f] + from / 8;
        const std::uint64_t columns = gatherColumns(groupRows, part, groupSizes, partRows);
        if (columns > 0) {
          if (options.linear)
            linearColumns(zeros, ones, columnValues, columns, valueWidth);
          else
            quadraticColumns(groupRows, structure, columnValues, columns, valueWidth);
          writeDissimilarities(columnValues, columns, part, start + from, queue, lastValue,
                               position, valueWidth, lines);
        }
        end = from;
      }
      remaining = remaining >= blockSize ? remaining - blockSize : 0;
    }
    writeFinalCommonalities(mask, blockSize, fileSize, position);
  }

  freeBuffer(columnValues);
  freeBuffer(structure);
  freeBuffer(groupRows);
}
