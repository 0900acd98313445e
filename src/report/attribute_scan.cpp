// AttributeScan; contract in report/attribute_scan.h.
#include "report/attribute_scan.h"

#include <algorithm>
#include <cstring>

#include "base/scratch_file.h"
#include "engine/commonalities.h"
#include "engine/linear_dissimilarities.h"
#include "engine/stretches.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the masks' words are read a byte at a time in memory order");

namespace {

constexpr std::uint64_t kGapLines = 2;
// A tile's scratch: its mask, and the uniform bits' mask for the picture.
constexpr std::uint64_t kScratchPerByte = 2;

// What a tile's mask tells: the bits not uniform inside some group
// (varying), the informative bits, and the lines (8 words) that hold one.
struct MaskCounts {
  std::uint64_t varying = 0, informative = 0;
};

// Narrows `mask`, the bits uniform inside every group (`size` bytes in
// whole words), to those that also differ between the rows, and counts as
// it goes; appends to `lines` the lines that hold an informative bit. Runs
// over stretches of words, row by row, which vectorises; lines without a
// bit to count are passed over at once. With `allUniform` (no group has two
// files, so every bit is uniform inside every group) the mask is not read:
// it becomes the bits that differ. Built twice, with the `popcnt`
// instruction for the processors that have it and with the library's count
// for the others, and the loader picks one.
__attribute__((target_clones("popcnt", "default"))) MaskCounts excludeAndCount(
    const std::vector<const Word*>& rows, Word* mask, std::uint64_t size, bool allUniform,
    std::vector<std::uint32_t>& lines) {
  constexpr std::uint64_t kStretch = 256;  // words, a multiple of a line
  Word differs[kStretch];
  MaskCounts counts;
  const std::uint64_t count = (size + 7) / 8;
  // The row's padding counts for nothing: uniform, so not varying, and
  // then not informative either.
  const Word padding = size % 8 == 0 ? 0 : ~((Word{1} << (8 * (size % 8))) - 1);
  if (count > 0 && !allUniform) mask[count - 1] |= padding;
  for (std::uint64_t base = 0; base < count; base += kStretch) {
    const std::uint64_t n = std::min(kStretch, count - base);
    Word* const at = mask + base;
    differencesOf(rows, base, n, allUniform ? at : differs);
    if (base + n == count) (allUniform ? at : differs)[n - 1] &= ~padding;
    // Most stretches hold no bit that is not uniform, and none that is
    // informative: passes over the whole stretch, which vectorise, tell.
    Word anyNotUniform = 0, anyInformative = 0;
    if (!allUniform)
      for (std::uint64_t i = 0; i < n; ++i) anyNotUniform |= ~at[i];
    if (anyNotUniform == 0) {
      if (allUniform)
        for (std::uint64_t i = 0; i < n; ++i) anyInformative |= at[i];
      else
        for (std::uint64_t i = 0; i < n; ++i) anyInformative |= at[i] &= differs[i];
      if (anyInformative == 0) continue;
    }
    for (std::uint64_t line = 0; line < n; line += 8) {
      const std::uint64_t end = std::min(n, line + 8);
      if (anyNotUniform != 0) {  // the mask is not narrowed yet
        Word notUniform = 0;
        for (std::uint64_t i = line; i < end; ++i) notUniform |= ~at[i];
        if (notUniform != 0)
          for (std::uint64_t i = line; i < end; ++i)
            counts.varying += static_cast<std::uint64_t>(__builtin_popcountll(~at[i]));
        for (std::uint64_t i = line; i < end; ++i) at[i] &= differs[i];
      }
      Word informative = 0;
      for (std::uint64_t i = line; i < end; ++i) informative |= at[i];
      if (informative == 0) continue;
      for (std::uint64_t i = line; i < end; ++i)
        counts.informative += static_cast<std::uint64_t>(__builtin_popcountll(at[i]));
      lines.push_back(static_cast<std::uint32_t>((base + line) / 8));
    }
  }
  return counts;
}

// Raises to at least `cellClass` the cells of the bytes among the first
// `size` of `words` (from file offset `offset`; complemented with `invert`)
// that have a bit set.
void markCells(const Word* words, std::uint64_t size, bool invert, std::uint64_t offset,
               CellClass cellClass, Findings& findings) {
  const Word flip = invert ? ~Word{0} : 0;
  for (std::uint64_t b = 0; b < size; ++b) {
    if (((words[b / 8] ^ flip) >> (8 * (b % 8)) & 0xFF) == 0) continue;
    unsigned char& cell = findings.cells[(offset + b) / findings.bytesPerCell];
    cell = std::max<unsigned char>(cell, cellClass);
  }
}

}  // namespace

AttributeScan::AttributeScan(Ovrell& engine, const DataFiles& files, std::uint64_t fileSize)
    : engine_(engine),
      files_(files),
      fileSize_(fileSize),
      fileBytes_(files, fileSize, engine.runOptions()) {
  // The report's temporary files leave the file system they are on room to
  // breathe.
  reserveTemporarySpace(true);
  const std::uint64_t n = files.size();
  const std::uint32_t memLimit = engine.runOptions().memLimit;
  // The budget as ovrell -d has it, for the same messages when it is too
  // small; but the kernel's buffers here hold one tile, not one block, so
  // the blocks are as long as those of ovrell without -d.
  engine.computeBlockSize(n, fileSize, valueWidth_, true);
  unsigned noValues = 0;
  blockSize_ = engine.computeBlockSize(n, fileSize, noValues, false);
  // The block's storage is only touched when a tile cannot be read and the
  // block is read whole; the kernel goes through one tile at a time.
  block_ = initArrayBuffer(blockSize_, n, memLimit);
  const std::uint64_t tile =
      std::min(8 * engine.tiles().tileWordsOf(n, kScratchPerByte), blockSize_);
  groupRows_ = initArrayBuffer(tile, n, memLimit);
  columnValues_ = initVectorBuffer(8 * valueWidth_ * tile, memLimit);
  nodes_ = initVectorBuffer(n * sizeof(NodeType), memLimit);
}

AttributeScan::~AttributeScan() {
  freeBuffer(block_);
  freeBuffer(groupRows_);
  freeBuffer(columnValues_);
  freeBuffer(nodes_);
}

// One attribute's scan: its groups, its kernel state and the slots' tiles.
// A tile's informative bits are its slot's scratch, and for the picture the
// uniform ones follow them.
struct AttributeScan::Pass {
  Pass(Findings& findings, std::size_t files, unsigned slots)
      : findings(findings), zeros(files), ones(files), slots(slots) {
    for (const ReportGroup& group : findings.groups) {
      groupSizes.push_back(static_cast<unsigned int>(group.files->size()));
      entryFiles.insert(entryFiles.end(), group.files->begin(), group.files->end());
    }
    // Every bit is uniform inside groups of one file: the mask is not
    // computed.
    allSingle = std::all_of(groupSizes.begin(), groupSizes.end(),
                            [](unsigned int size) { return size < 2; });
  }

  Findings& findings;
  const bool picture = findings.bytesPerCell != 0;
  std::vector<unsigned int> groupSizes;
  std::vector<std::size_t> entryFiles;  // the files of the groups, group after group
  bool allSingle = false;
  single_list<NodeType> zeros, ones;
  PositionQueue queue;
  std::uint64_t lastValue = 0;
  std::vector<Slot> slots;
  std::uint64_t start = 0, size = 0;  // of the block
  std::vector<unsigned long long*> rowPointers, runRows;
};

void AttributeScan::scan(Findings& findings) {
  Pass pass(findings, files_.size(), engine_.tiles().tileSlots());
  pushGroupNodes(reinterpret_cast<NodeType*>(nodes_.data), groupRows_, pass.groupSizes.size(),
                 pass.zeros);
  regionLength_ = 0;
  // Each tile is masked and counted on any thread (compute), then, in turn
  // and from the block's last tile to its first, its informative bytes are
  // recorded and its stretches found (commit), as for a block of its own.
  TileReader::TileSteps steps{
      [&](unsigned slot, std::uint64_t first, std::uint64_t end,
          const std::vector<Word*>& fileRows) { computeTile(pass, slot, first, end, fileRows); },
      kScratchPerByte,
      [&](unsigned slot, std::uint64_t first, std::uint64_t end,
          const std::vector<Word*>& fileRows) { commitTile(pass, slot, first, end, fileRows); }};
  steps.backwards = true;
  for (std::uint64_t remaining = fileSize_; remaining > 0; remaining -= pass.size) {
    pass.size = std::min(remaining, blockSize_);
    pass.start = remaining - pass.size;
    block_.rowSize = pass.size;
    engine_.tiles().readBlockInTiles(files_, pass.start, block_, steps);
  }
  endRegion(findings);
  findings.constant = 8 * fileSize_ - findings.informative - findings.varying;
  findings.bytes.finish();
  findings.stretches.finish();
  findings.data = &fileBytes_;
  findings.fileSize = fileSize_;
}

void AttributeScan::computeTile(Pass& pass, unsigned slotIndex, std::uint64_t first,
                                std::uint64_t end, const std::vector<Word*>& fileRows) {
  Slot& slot = pass.slots[slotIndex];
  const std::uint64_t count = end - first;
  const std::uint64_t bytes = std::min(8 * end, pass.size) - 8 * first;
  slot.rows.clear();
  for (std::size_t file : pass.entryFiles) slot.rows.push_back(fileRows[file]);
  Word* mask = engine_.tiles().tileScratch(slotIndex);
  if (!pass.allSingle) commonalitiesOfWords(pass.groupSizes, slot.rows, mask, count);
  // The uniform bits follow the mask: the picture's varying cells and the
  // regions that could be chance read them.
  if (pass.allSingle) std::fill(mask + count, mask + 2 * count, ~Word{0});
  if (!pass.allSingle) std::memcpy(mask + count, mask, count * sizeof(Word));
  slot.lines.clear();
  const MaskCounts counts = excludeAndCount(slot.rows, mask, bytes, pass.allSingle, slot.lines);
  slot.varying = counts.varying, slot.informative = counts.informative;
}

void AttributeScan::commitTile(Pass& pass, unsigned slotIndex, std::uint64_t first,
                               std::uint64_t end, const std::vector<Word*>& fileRows) {
  const Slot& slot = pass.slots[slotIndex];
  Findings& findings = pass.findings;
  Word* const mask = engine_.tiles().tileScratch(slotIndex);
  const std::uint64_t tileStart = pass.start + 8 * first;
  const std::uint64_t tileSize = std::min(8 * end, pass.size) - 8 * first;
  findings.varying += slot.varying;
  findings.informative += slot.informative;
  if (pass.picture) {
    markCells(mask + (end - first), tileSize, true, tileStart, kVaryingCell, findings);
    markCells(mask, tileSize, false, tileStart, kInformativeCell, findings);
  }
  mask_ = VectorBuff{reinterpret_cast<unsigned char*>(mask), tileSize};
  uniform_ = reinterpret_cast<const unsigned char*>(mask + (end - first));
  pass.rowPointers.clear();
  for (std::size_t file : pass.entryFiles) pass.rowPointers.push_back(fileRows[file]);
  recordBytes(findings, tileStart, slot.lines);
  tileStretches(pass, slot.lines, tileStart);
}

void AttributeScan::tileStretches(Pass& pass, const std::vector<std::uint32_t>& lines,
                                  std::uint64_t tileStart) {
  // The runs of lines with informative bits, from the tile's end: the
  // kernel and the stretch finder go through them as through blocks of
  // their own, and never through the lines between. A run takes in gaps of
  // up to kGapLines lines: walking them costs less than a call of the
  // kernel.
  pass.runRows.resize(pass.rowPointers.size());
  for (std::size_t next = lines.size(); next-- > 0;) {
    const std::uint64_t line = lines[next];
    std::uint64_t low = line;
    while (next > 0 && lines[next - 1] + kGapLines + 1 >= low) low = lines[--next];
    const std::uint64_t from = 64 * low, to = std::min(mask_.size, 64 * (line + 1));
    const VectorBuff run{mask_.data + from, to - from};
    for (std::size_t k = 0; k < pass.rowPointers.size(); ++k)
      pass.runRows[k] = pass.rowPointers[k] + from / 8;
    const std::uint64_t columns = gatherer_.gather(groupRows_, run, pass.groupSizes, pass.runRows);
    if (columns == 0) continue;
    linearColumns(pass.zeros, pass.ones, columnValues_, columns, valueWidth_);
    findStretches(columnValues_, columns, run, tileStart + from, pass.queue, pass.lastValue,
                  valueWidth_, [&](std::uint64_t firstBit, std::uint64_t lastBit) {
                    pass.findings.stretches.append(firstBit, lastBit);
                  });
  }
}

// The bytes of the tile with informative bits (in `lines`), from the last
// to the first, and the counts of regions and fields as they go by.
void AttributeScan::recordBytes(Findings& findings, std::uint64_t start,
                                const std::vector<std::uint32_t>& lines) {
  const unsigned char* mask = mask_.data;
  const Word* words = maskWords(mask_);
  for (std::size_t next = lines.size(); next-- > 0;) {
    for (std::uint64_t word = 8 * std::uint64_t{lines[next]} + 8; word-- > 8 * lines[next];) {
      if (8 * word >= mask_.size || words[word] == 0) continue;
      for (std::uint64_t b = std::min(mask_.size, 8 * word + 8); b-- > 8 * word;) {
        if (mask[b] != 0) recordByte(findings, start + b, mask[b], uniform_[b] != 0xFF);
      }
    }
  }
}

void AttributeScan::recordByte(Findings& findings, std::uint64_t offset, unsigned char informative,
                               bool varies) {
  findings.bytes.append(offset, informative);
  if (regionLength_ == 0 || offset + 1 != lastOffset_) {
    endRegion(findings);
    ++findings.regionCount;
    regionLength_ = 0;
  }
  static constexpr unsigned char kBits[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
  const int bits = kBits[informative & 15] + kBits[informative >> 4];
  regionLoneBits_ += static_cast<std::uint64_t>(bits);
  regionLone_ = regionLone_ && bits == 1 && varies;
  findings.longestRegion = std::max(findings.longestRegion, ++regionLength_);
  lastOffset_ = offset;
  for (unsigned k = 8; k-- > 0;) {
    if (((informative >> (7 - k)) & 1U) == 0) continue;
    const std::uint64_t position = 8 * offset + k;
    if (findings.fieldCount == 0 || position + 1 != lastPosition_) ++findings.fieldCount;
    lastPosition_ = position;
  }
}

void AttributeScan::endRegion(Findings& findings) {
  if (regionLength_ > 0 && regionLone_) findings.chanceCandidates += regionLoneBits_;
  regionLone_ = true;
  regionLoneBits_ = 0;
}
