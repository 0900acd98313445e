// AttributeScan; contract in report/attribute_scan.h.
#include "report/attribute_scan.h"

#include <algorithm>

#include "engine/position_queue.h"
#include "engine/single_list.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the masks' words are read a byte at a time in memory order");

namespace {

void putWord(unsigned char* at, std::uint64_t value) {
  for (unsigned i = 0; i < 8; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

// Counts the bits of `words` (word `first` of a block of `size` bytes at
// file offset `start`, padding left out) and marks their bytes' cells.
void countWords(const Word* words, std::uint64_t first, std::uint64_t count, bool invert,
                std::uint64_t start, std::uint64_t size, CellClass cellClass, Findings& findings,
                std::uint64_t& counter) {
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t byte = 8 * (first + i);
    const std::uint64_t valid = std::min<std::uint64_t>(8, size - byte);
    Word bits = invert ? ~words[i] : words[i];
    if (valid < 8) bits &= (Word{1} << (8 * valid)) - 1;
    if (bits == 0) continue;
    counter += static_cast<std::uint64_t>(__builtin_popcountll(bits));
    if (findings.bytesPerCell == 0) continue;
    const std::uint64_t low = (start + byte) / findings.bytesPerCell;
    const std::uint64_t high = (start + byte + valid - 1) / findings.bytesPerCell;
    for (unsigned j = 0; j < valid; ++j) {
      if (low != high && ((bits >> (8 * j)) & 0xFF) == 0) continue;
      unsigned char& cell = findings.cells[(start + byte + j) / findings.bytesPerCell];
      cell = std::max<unsigned char>(cell, cellClass);
      if (low == high) break;
    }
  }
}

}  // namespace

AttributeScan::AttributeScan(Ovrell& engine, const FileList& files, std::uint64_t fileSize)
    : engine_(engine), files_(files), fileSize_(fileSize) {
  const std::uint64_t n = files.size();
  blockSize_ = engine.computeBlockSize(n, fileSize, valueWidth_, true);
  mask_ = engine.initVectorBuffer(blockSize_);
  block_ = engine.initArrayBuffer(blockSize_, n);
  groupRows_ = engine.initArrayBuffer(blockSize_, n);
  columnValues_ = engine.initVectorBuffer(8 * valueWidth_ * blockSize_);
  nodes_ = engine.initVectorBuffer(n * sizeof(NodeType));
}

AttributeScan::~AttributeScan() {
  freeBuffer(mask_);
  freeBuffer(block_);
  freeBuffer(groupRows_);
  freeBuffer(columnValues_);
  freeBuffer(nodes_);
}

void AttributeScan::scan(Findings& findings) {
  std::vector<unsigned int> groupSizes;
  std::vector<std::size_t> entryFiles;  // the files of the groups, group after group
  for (const ReportGroup& group : findings.groups) {
    groupSizes.push_back(static_cast<unsigned int>(group.files->size()));
    entryFiles.insert(entryFiles.end(), group.files->begin(), group.files->end());
  }
  single_list<NodeType> zeros(files_.size()), ones(files_.size());
  engine_.pushGroupNodes(reinterpret_cast<NodeType*>(nodes_.data), groupRows_, groupSizes.size(),
                         zeros);
  PositionQueue queue;
  std::uint64_t lastValue = 0;
  regionLength_ = 0;

  std::vector<unsigned long long*> rowPointers;
  std::vector<const Word*> rows;
  unsigned char stretch[16];
  for (std::uint64_t remaining = fileSize_; remaining > 0;) {
    const std::uint64_t size = std::min(remaining, blockSize_);
    const std::uint64_t start = remaining - size;
    block_.rowSize = mask_.size = size;
    auto tile = [&](std::uint64_t first, std::uint64_t end, const std::vector<Word*>& fileRows) {
      rows.clear();
      for (std::size_t file : entryFiles) rows.push_back(fileRows[file]);
      Word* mask = maskWords(mask_) + first;
      engine_.commonalitiesOfWords(groupSizes, rows, mask, end - first);
      countWords(mask, first, end - first, true, start, size, kVaryingCell, findings,
                 findings.varying);
      engine_.excludeOfWords(rows, mask, end - first);
      countWords(mask, first, end - first, false, start, size, kInformativeCell, findings,
                 findings.informative);
    };
    engine_.readBlockInTiles(files_, start, block_, true, tile);

    rowPointers.clear();
    for (std::size_t file : entryFiles) rowPointers.push_back(rowWords(block_, file));
    recordBytes(findings, start, rowPointers);
    const std::uint64_t columns = engine_.gatherColumns(groupRows_, mask_, groupSizes, rowPointers);
    if (columns > 0) {
      engine_.linearColumns(zeros, ones, columnValues_, columns, valueWidth_);
      engine_.findStretches(columnValues_, columns, mask_, start, queue, lastValue, valueWidth_,
                            [&](std::uint64_t first, std::uint64_t last) {
                              putWord(stretch, first);
                              putWord(stretch + 8, last);
                              findings.stretches.append(stretch);
                            });
    }
    remaining -= size;
  }
  findings.constant = 8 * fileSize_ - findings.informative - findings.varying;
}

// The bytes of the block with informative bits, from the last to the first,
// and the counts of regions and fields as they go by.
void AttributeScan::recordBytes(Findings& findings, std::uint64_t start,
                                const std::vector<unsigned long long*>& rowPointers) {
  std::vector<unsigned char> record(findings.bytes.recordSize());
  const unsigned char* mask = mask_.data;
  for (std::uint64_t b = mask_.size; b-- > 0;) {
    if (b % 8 == 7 && zeroWord(mask + b - 7)) {
      b -= 7;
      continue;
    }
    if (mask[b] == 0) continue;
    const std::uint64_t offset = start + b;
    putWord(record.data(), offset);
    record[8] = mask[b];
    std::size_t entry = 0;
    for (std::size_t g = 0; g < findings.groups.size(); ++g) {
      const std::size_t size = findings.groups[g].files->size();
      auto byteOf = [&](std::size_t k) {
        return reinterpret_cast<const unsigned char*>(rowPointers[entry + k])[b];
      };
      unsigned char uniform = 0xFF;
      for (std::size_t k = 1; k < size; ++k) uniform &= ~(byteOf(k - 1) ^ byteOf(k));
      record[9 + 2 * g] = byteOf(0);
      record[10 + 2 * g] = uniform;
      entry += size;
    }
    findings.bytes.append(record.data());

    if (regionLength_ == 0 || offset + 1 != lastOffset_) {
      ++findings.regionCount;
      regionLength_ = 0;
    }
    findings.longestRegion = std::max(findings.longestRegion, ++regionLength_);
    lastOffset_ = offset;
    for (unsigned k = 8; k-- > 0;) {
      if (((mask[b] >> (7 - k)) & 1U) == 0) continue;
      const std::uint64_t position = 8 * offset + k;
      if (findings.fieldCount == 0 || position + 1 != lastPosition_) ++findings.fieldCount;
      lastPosition_ = position;
    }
  }
}
