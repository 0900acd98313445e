// TileReader; contract in engine/tile_reader.h.
#include "engine/tile_reader.h"

#include <sched.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "engine/block_reader.h"
#include "engine/tile_pipeline.h"
#include "engine/tile_workers.h"

namespace {
// Files beyond which a tile holds fewer bytes of each (tileWordsOf).
constexpr std::size_t kManyFiles = 128;
}  // namespace

TileReader::TileReader() = default;
TileReader::~TileReader() { unmapAll(); }

void TileReader::unmapAll() {
  for (auto& slot : windows_)
    for (DataFiles::Window& window : slot) DataFiles::unmap(window);
}

unsigned TileReader::defaultReadThreads() {
  // The cores this process may run on (taskset, a container's cpuset), if
  // fewer than the machine has: a helper that shares its core with the
  // caller only takes turns with it.
  unsigned cores = std::thread::hardware_concurrency();
  cpu_set_t allowed;
  if (::sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
    const unsigned count = static_cast<unsigned>(CPU_COUNT(&allowed));
    if (cores == 0 || count < cores) cores = count;
  }
  return std::min(std::max(cores, 1U), 4U);
}

unsigned TileReader::tileSlots() const { return 2 * std::max(readThreads, 1U) - 1; }

Word* TileReader::tileScratch(unsigned slot) const {
  return tileMemory_.data() + slot * tileStride_ + tileRowsWords_;
}

std::uint64_t TileReader::tileWordsOf(std::uint64_t files, std::uint64_t scratchPerByte) const {
  // A tile holds tileBytes of all files and the caller's scratch, but at
  // least tileBytes / 16 of each file (32 KiB), or tileBytes / 128 with
  // more than 128 files, so that many files are not read in slivers: a
  // system call costs a microsecond or more.
  const std::uint64_t fileShare = std::min<std::uint64_t>(files, kManyFiles);
  const std::uint64_t least = tileBytes / 8 / (files <= kManyFiles ? 16 : kManyFiles);
  const std::uint64_t words =
      std::max<std::uint64_t>({tileBytes / 8 / (fileShare + scratchPerByte), least, 1});
  return words < 8 ? words : words / 8 * 8;  // whole cache lines
}

void TileReader::readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                                  const TileDone& tileDone) {
  readBlockInTiles(files, start, block,
                   {nullptr, 0,
                    [&](unsigned, std::uint64_t first, std::uint64_t end,
                        const std::vector<Word*>& fileRows) { tileDone(first, end, fileRows); }});
}

void TileReader::readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                                  const TileSteps& steps) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t tileWords =
      std::min(tileWordsOf(files.size(), steps.scratchPerByte), std::max<std::uint64_t>(words, 1));
  Read read{files,
            start,
            block,
            steps,
            tileWords,
            words,
            (words + tileWords - 1) / tileWords,
            steps.backwards ? words : 0};
  prepareSlots(files.size(), steps, tileWords);
  const std::uint64_t chunk = order.chunkSize;
  const bool inTiles = (chunk == 1 || block.rowSize % chunk == 0) && files.allOpened();
  const bool whole = inTiles && readTiles(read);
  unmapAll();
  if (whole) {
    // The rows' padding, which the tiles leave alone, gets its bit inversion
    // as readBlock gives it.
    const std::uint64_t pitch = pitchOf(block.rowSize);
    if (steps.intoBlock && order.invertBits)
      for (std::size_t i = 0; i < files.size(); ++i)
        invertByteBits(block.data + i * pitch + block.rowSize, pitch - block.rowSize);
    return;
  }
  finishFromWholeBlock(read);  // with the helpers gone
}

void TileReader::prepareSlots(std::size_t files, const TileSteps& steps, std::uint64_t tileWords) {
  // A slot: the files' words of a tile, then the caller's scratch, in whole
  // cache lines.
  tileRowsWords_ = files * tileWords;
  tileStride_ =
      (tileRowsWords_ + tileWords * steps.scratchPerByte + steps.scratchPerTile + 7) / 8 * 8;
  tileMemory_.reserve(tileSlots() * tileStride_);
  windows_.resize(tileSlots());
  for (auto& slot : windows_) slot.resize(files);
}

void TileReader::finishFromWholeBlock(const Read& read) {
  readBlock(read.files, read.start, read.block, order);
  std::vector<Word*> fileRows(read.files.size());
  const bool backwards = read.steps.backwards;
  for (std::uint64_t k = 0; k < read.tiles; ++k) {
    const std::uint64_t first = read.firstOf(k);
    const std::uint64_t end = std::min(read.words, first + read.tileWords);
    if (backwards ? end > read.delivered : first < read.delivered) continue;  // committed
    for (std::size_t i = 0; i < fileRows.size(); ++i) fileRows[i] = rowWords(read.block, i) + first;
    if (read.steps.compute) read.steps.compute(0, first, end, fileRows);
    read.steps.commit(0, first, end, fileRows);
  }
}

bool TileReader::readTile(const Read& read, std::uint64_t k, unsigned slot,
                          std::vector<Word*>& rows) const {
  // Bytes [from, to) of every row of a tile; the last tile ends at rowSize.
  // In a slot the padding is zeroed and inverted with the bytes; in the
  // block's rows it is left as readBlock leaves it. Every slot is filled by
  // a read before it is looked at.
  const TileSteps& steps = read.steps;
  const std::uint64_t first = read.firstOf(k), end = std::min(read.words, first + read.tileWords);
  const std::uint64_t from = first * 8, to = std::min(end * 8, read.block.rowSize);
  Word* const slotRows = tileMemory_.data() + slot * tileStride_;
  std::vector<DataFiles::Window>& windows = windows_[slot];
  const bool mappable = !steps.intoBlock && !order.invertBits && order.chunkSize == 1 &&
                        (read.start + from) % 8 == 0 && to - from == (end - first) * 8 &&
                        to - from >= leastMapped;
  bool mapped = false;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    DataFiles::unmap(windows[i]);
    const unsigned char* at =
        mappable ? read.files.map(i, to - from, read.start + from, windows[i]) : nullptr;
    if (at != nullptr) {  // the steps only read the rows
      rows[i] = reinterpret_cast<Word*>(const_cast<unsigned char*>(at));
      mapped = true;
      continue;
    }
    Word* row = rows[i] =
        steps.intoBlock ? rowWords(read.block, i) + first : slotRows + i * read.tileWords;
    unsigned char* bytes = reinterpret_cast<unsigned char*>(row);
    if (!read.files.readAt(i, bytes, to - from, read.start + from)) return false;
    if (steps.intoBlock) {  // the padding stays as it is until the whole block is in
      if (order.invertBits) invertByteBits(bytes, to - from);
    } else {
      std::memset(bytes + (to - from), 0, (end - first) * 8 - (to - from));  // the row's padding
      if (order.invertBits) invertBits(row, end - first);
    }
    if (order.chunkSize != 1) reorderBytes(bytes, to - from, order.chunkSize);
  }
  if (steps.compute && !DataFiles::guarded([&] { steps.compute(slot, first, end, rows); }))
    return false;
  // Mapped bytes are looked at once they have been used, as a read is.
  for (std::size_t i = 0; mapped && i < rows.size(); ++i)
    if (windows[i].start != nullptr && !read.files.unchanged(i)) return false;
  return true;
}

TileWorkers* TileReader::helpers() {
  const unsigned threads = std::max(readThreads, 1U);
  if (threads == 1) return nullptr;
  if (workers_ == nullptr || workers_->helpers() != threads - 1)
    workers_.reset(new TileWorkers(threads - 1));
  return workers_.get();
}

bool TileReader::readTiles(Read& read) {
  const std::uint64_t slotCount = std::min<std::uint64_t>(tileSlots(), 2 * read.tiles + 1);
  std::vector<std::vector<Word*>> slotRows(tileSlots(), std::vector<Word*>(read.files.size()));
  TilePipeline pipeline(
      read.tiles, static_cast<unsigned>(slotCount),
      [&](std::uint64_t k, unsigned slot) { return readTile(read, k, slot, slotRows[slot]); },
      helpers());
  for (std::uint64_t k = 0; k < read.tiles; ++k) {
    unsigned slot = 0;
    if (!pipeline.get(k, slot)) return false;
    const std::uint64_t first = read.firstOf(k), end = std::min(read.words, first + read.tileWords);
    if (!DataFiles::guarded([&] { read.steps.commit(slot, first, end, slotRows[slot]); }))
      read.files.endChanged();
    pipeline.release(k);
    read.delivered = read.steps.backwards ? first : end;
  }
  // The commits looked at mapped bytes after the tiles' checks.
  for (std::size_t i = 0; i < read.files.size(); ++i) {
    bool mapped = false;
    for (const auto& slot : windows_) mapped = mapped || slot[i].start != nullptr;
    if (mapped && !read.files.unchanged(i)) read.files.endChanged();
  }
  return true;
}
