// AttributeScan; contract in report/attribute_scan.h.
#include "report/attribute_scan.h"

#include <algorithm>

#include "engine/position_queue.h"
#include "engine/single_list.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the masks' words are read a byte at a time in memory order");

namespace {

constexpr std::uint64_t kGapLines = 2;

void putWord(unsigned char* at, std::uint64_t value) {
  for (unsigned i = 0; i < 8; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

// Raises the cells of the `valid` bytes from file offset `offset` whose
// bits in `bits` (byte j in bits 8j..8j+7) are set to at least `cellClass`.
void markCells(Word bits, std::uint64_t offset, std::uint64_t valid, CellClass cellClass,
               Findings& findings) {
  for (unsigned j = 0; j < valid; ++j) {
    if (((bits >> (8 * j)) & 0xFF) == 0) continue;
    unsigned char& cell = findings.cells[(offset + j) / findings.bytesPerCell];
    cell = std::max<unsigned char>(cell, cellClass);
  }
}

// Counts the bits of `words` (word `first` of a block of `size` bytes at
// file offset `start`, padding left out; complemented with `invert`) and
// marks their bytes' cells, and the lines (8 words) of `lines` that hold
// one.
void countWords(const Word* words, std::uint64_t first, std::uint64_t count, bool invert,
                std::uint64_t start, std::uint64_t size, CellClass cellClass, Findings& findings,
                std::uint64_t& counter, std::vector<unsigned char>* lines = nullptr) {
  const Word flip = invert ? ~Word{0} : 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    if (i % 8 == 0 && i + 8 <= count) {  // eight words without a bit to count are common
      Word any = 0;
      for (unsigned k = 0; k < 8; ++k) any |= words[i + k] ^ flip;
      if (any == 0) {
        i += 7;
        continue;
      }
    }
    Word bits = words[i] ^ flip;
    if (bits == 0) continue;
    const std::uint64_t byte = 8 * (first + i);
    const std::uint64_t valid = std::min<std::uint64_t>(8, size - byte);
    if (valid < 8) bits &= (Word{1} << (8 * valid)) - 1;
    counter += static_cast<std::uint64_t>(__builtin_popcountll(bits));
    if (lines != nullptr) (*lines)[(first + i) / 8] = 1;
    if (findings.bytesPerCell != 0) markCells(bits, start + byte, valid, cellClass, findings);
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
    lines_.assign(wordsOf(size) / 8 + 1, 0);
    auto tile = [&](std::uint64_t first, std::uint64_t end, const std::vector<Word*>& fileRows) {
      rows.clear();
      for (std::size_t file : entryFiles) rows.push_back(fileRows[file]);
      Word* mask = maskWords(mask_) + first;
      engine_.commonalitiesOfWords(groupSizes, rows, mask, end - first);
      countWords(mask, first, end - first, true, start, size, kVaryingCell, findings,
                 findings.varying);
      engine_.excludeOfWords(rows, mask, end - first);
      countWords(mask, first, end - first, false, start, size, kInformativeCell, findings,
                 findings.informative, &lines_);
    };
    engine_.readBlockInTiles(files_, start, block_, tile, true);

    rowPointers.clear();
    for (std::size_t file : entryFiles) rowPointers.push_back(rowWords(block_, file));
    recordBytes(findings, start, rowPointers);
    // The runs of lines with informative bits, from the block's end: the
    // kernel and the stretch finder go through them as through blocks of
    // their own, and never through the lines between.
    std::vector<unsigned long long*> runRows(rowPointers.size());
    for (std::uint64_t line = lines_.size(); line-- > 0;) {
      if (!lines_[line]) continue;
      // A run takes in gaps of up to kGapLines lines: walking them costs
      // less than a call of the kernel.
      std::uint64_t low = line;
      for (std::uint64_t gap = 0; low > gap && gap <= kGapLines;)
        if (lines_[low - gap - 1])
          low -= gap + 1, gap = 0;
        else
          ++gap;
      const std::uint64_t from = 64 * low, to = std::min(size, 64 * (line + 1));
      VectorBuff run{mask_.data + from, to - from};
      for (std::size_t k = 0; k < rowPointers.size(); ++k) runRows[k] = rowPointers[k] + from / 8;
      const std::uint64_t columns = engine_.gatherColumns(groupRows_, run, groupSizes, runRows);
      if (columns > 0) {
        engine_.linearColumns(zeros, ones, columnValues_, columns, valueWidth_);
        engine_.findStretches(columnValues_, columns, run, start + from, queue, lastValue,
                              valueWidth_, [&](std::uint64_t first, std::uint64_t last) {
                                putWord(stretch, first);
                                putWord(stretch + 8, last);
                                findings.stretches.append(stretch);
                              });
      }
      line = low;
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
  const Word* words = maskWords(mask_);
  for (std::uint64_t word = wordsOf(mask_.size); word-- > 0;) {
    if (!lines_[word / 8]) {
      word -= word % 8;  // to the line's first word
      continue;
    }
    if (words[word] == 0) continue;
    for (std::uint64_t b = std::min(mask_.size, 8 * word + 8); b-- > 8 * word;) {
      if (mask[b] != 0) recordByte(findings, start, b, rowPointers, record);
    }
  }
}

void AttributeScan::recordByte(Findings& findings, std::uint64_t start, std::uint64_t b,
                               const std::vector<unsigned long long*>& rowPointers,
                               std::vector<unsigned char>& record) {
  const unsigned char* mask = mask_.data;
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
