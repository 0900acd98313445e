#include <sched.h>

// Members of Ovrell; contracts in engine/ovrell.h.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

#include "base/fatal.h"
#include "engine/ovrell.h"
#include "engine/tile_workers.h"

namespace {

// Reverses the bit order inside every byte of the words.
void invertBits(Word* words, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    Word x = words[i];
    x = ((x >> 1) & 0x5555555555555555ULL) | ((x & 0x5555555555555555ULL) << 1);
    x = ((x >> 2) & 0x3333333333333333ULL) | ((x & 0x3333333333333333ULL) << 2);
    x = ((x >> 4) & 0x0F0F0F0F0F0F0F0FULL) | ((x & 0x0F0F0F0F0F0F0F0FULL) << 4);
    words[i] = x;
  }
}

// invertBits for `size` bytes from `bytes`, which is word-aligned when size
// is 8 or more: the whole words, then the bytes after them.
void invertByteBits(unsigned char* bytes, std::uint64_t size) {
  if (size >= 8) invertBits(reinterpret_cast<Word*>(bytes), size / 8);
  Word word = 0;
  std::memcpy(&word, bytes + size / 8 * 8, size % 8);
  invertBits(&word, 1);
  std::memcpy(bytes + size / 8 * 8, &word, size % 8);
}

}  // namespace

void Ovrell::readBlock(const DataFiles& files, std::uint64_t start, ArrayBuff block) {
  const std::uint64_t pitch = pitchOf(block.rowSize);
  for (std::size_t i = 0; i < files.size(); ++i) {
    unsigned char* row = block.data + i * pitch;
    files.read(i, row, block.rowSize, start);
    if (options.inverseByteOrder) invertBits(reinterpret_cast<Word*>(row), pitch / 8);
    if (options.chunkSize != 1) reorderBytes(row, block.rowSize, options.chunkSize);
  }
}

namespace {

// Files beyond which a tile holds fewer bytes of each (tileWordsOf).
constexpr std::size_t kManyFiles = 128;

// The tiles of a block spread over threads, and handed to the calling
// thread in order. Whichever thread is free takes the next tile nobody has
// taken, into slot k % slots, once the tile that held the slot before has
// been released. The caller takes tiles too while the one it needs next is
// still being worked on, so a helper that is slow, or that a busy machine
// does not run, holds the caller up by at most the tile it has taken.
class TilePipeline {
 public:
  // `work(k, slot)` reads and computes tile k into `slot`; false when the
  // tile cannot be read.
  using Work = std::function<bool(std::uint64_t tile, unsigned slot)>;

  // The helpers of `workers` (none without) take tiles too.
  TilePipeline(std::uint64_t tiles, unsigned slots, Work work, TileWorkers* workers)
      : tiles_(tiles), slots_(slots), ready_(slots), work_(std::move(work)) {
    if (workers == nullptr || workers->helpers() == 0 || tiles < 2 || slots < 2) return;
    workers_ = workers;
    workers_->start(help_);
  }
  ~TilePipeline() {
    if (workers_ == nullptr) return;
    stop_.store(true);
    rendezvous_.changed();
    workers_->finish();
  }

  // Tile k, once some thread (perhaps this one) has worked on it, and the
  // slot it is in; false when it cannot be read. Tiles must be asked for in
  // order, and each released before the next is asked for.
  bool get(std::uint64_t k, unsigned& slot) {
    slot = static_cast<unsigned>(k % slots_);
    const Ready& ready = ready_[slot];
    while (ready.tile.load() != k + 1)
      if (!takeOne()) rendezvous_.waitUntil([&] { return ready.tile.load() == k + 1; });
    return ready.ok.load();
  }
  // The slot of tile k may be reused.
  void release(std::uint64_t k) {
    released_.store(k + 1);
    rendezvous_.changed();
  }

 private:
  struct Ready {
    std::atomic<std::uint64_t> tile{0};  // 1 + the tile last worked on in the slot
    std::atomic<bool> ok{false};         // whether it could be read
  };

  bool canTake() const {
    const std::uint64_t k = next_.load();
    return k < tiles_ && k < released_.load() + slots_;
  }
  // Takes the next tile, if its slot is free, and works on it; false when
  // there is none to take.
  bool takeOne() {
    std::uint64_t k = next_.load();
    do {
      if (k >= tiles_ || k >= released_.load() + slots_) return false;
    } while (!next_.compare_exchange_weak(k, k + 1));
    const unsigned slot = static_cast<unsigned>(k % slots_);
    const bool ok = work_(k, slot);
    ready_[slot].ok.store(ok);
    ready_[slot].tile.store(k + 1);
    rendezvous_.changed();
    return true;
  }
  // A helper's part: tiles until none is left to take.
  void help() {
    while (!stop_.load() && next_.load() < tiles_)
      if (!takeOne())
        rendezvous_.waitUntil([&] { return stop_.load() || next_.load() >= tiles_ || canTake(); });
  }

  const std::uint64_t tiles_;
  const unsigned slots_;
  std::vector<Ready> ready_;
  const Work work_;
  std::atomic<std::uint64_t> next_{0};      // the first tile nobody has taken
  std::atomic<std::uint64_t> released_{0};  // the tiles the caller is done with
  std::atomic<bool> stop_{false};
  Rendezvous rendezvous_;
  const std::function<void()> help_ = [this] { help(); };
  TileWorkers* workers_ = nullptr;
};

}  // namespace

unsigned Ovrell::defaultReadThreads() {
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

unsigned Ovrell::tileSlots() const { return 2 * std::max(readThreads, 1U) - 1; }

Word* Ovrell::tileScratch(unsigned slot) const {
  return tileMemory_.data() + slot * tileStride_ + tileRowsWords_;
}

void Ovrell::readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                              const TileDone& tileDone) {
  readBlockInTiles(files, start, block,
                   {nullptr, 0,
                    [&](unsigned, std::uint64_t first, std::uint64_t end,
                        const std::vector<Word*>& fileRows) { tileDone(first, end, fileRows); }});
}

void Ovrell::readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                              const TileSteps& steps) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  std::vector<Word*> fileRows(files.size());
  // The words already committed: [0, delivered), or backwards [delivered, words).
  std::uint64_t delivered = steps.backwards ? words : 0;
  const std::uint64_t tileWords =
      std::min(tileWordsOf(files.size(), steps.scratchPerByte), std::max<std::uint64_t>(words, 1));
  // A slot: the files' words of a tile, then the caller's scratch, in whole
  // cache lines.
  tileRowsWords_ = files.size() * tileWords;
  tileStride_ =
      (tileRowsWords_ + tileWords * steps.scratchPerByte + steps.scratchPerTile + 7) / 8 * 8;
  tileMemory_.reserve(tileSlots() * tileStride_);
  if ((chunk == 1 || block.rowSize % chunk == 0) && files.allOpened() &&
      readTiles(files, start, block, steps, tileWords, delivered)) {
    // The rows' padding, which the tiles leave alone, gets its bit inversion
    // as readBlock gives it.
    const std::uint64_t pitch = pitchOf(block.rowSize);
    if (steps.intoBlock && options.inverseByteOrder)
      for (std::size_t i = 0; i < files.size(); ++i)
        invertByteBits(block.data + i * pitch + block.rowSize, pitch - block.rowSize);
    return;
  }
  // With the helpers gone.
  readBlock(files, start, block);
  const std::uint64_t tiles = (words + tileWords - 1) / tileWords;
  for (std::uint64_t k = 0; k < tiles; ++k) {
    const std::uint64_t first = (steps.backwards ? tiles - 1 - k : k) * tileWords;
    const std::uint64_t end = std::min(words, first + tileWords);
    if (steps.backwards ? end > delivered : first < delivered) continue;  // committed
    for (std::size_t i = 0; i < files.size(); ++i) fileRows[i] = rowWords(block, i) + first;
    if (steps.compute) steps.compute(0, first, end, fileRows);
    steps.commit(0, first, end, fileRows);
  }
}

std::uint64_t Ovrell::tileWordsOf(std::uint64_t files, std::uint64_t scratchPerByte) const {
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

bool Ovrell::readTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                       const TileSteps& steps, std::uint64_t tileWords, std::uint64_t& delivered) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  const std::uint64_t tiles = (words + tileWords - 1) / tileWords;
  const unsigned threads = std::max(readThreads, 1U);
  const std::uint64_t slotCount = std::min<std::uint64_t>(tileSlots(), 2 * tiles + 1);
  auto firstOf = [&](std::uint64_t k) { return (steps.backwards ? tiles - 1 - k : k) * tileWords; };
  // File i's words in a slot; every tile is filled by a read before it is
  // looked at.
  auto rowOf = [&](unsigned slot, std::size_t i) {
    return tileMemory_.data() + slot * tileStride_ + i * tileWords;
  };
  std::vector<std::vector<Word*>> slotRows(tileSlots(), std::vector<Word*>(files.size()));
  // Bytes [from, to) of every row of a tile; the last tile ends at rowSize.
  // In a slot the padding is zeroed and inverted with the bytes; in the
  // block's rows it is left as readBlock leaves it.
  auto work = [&](std::uint64_t k, unsigned slot) {
    const std::uint64_t first = firstOf(k), end = std::min(words, first + tileWords);
    const std::uint64_t from = first * 8, to = std::min(end * 8, block.rowSize);
    std::vector<Word*>& rows = slotRows[slot];
    for (std::size_t i = 0; i < files.size(); ++i) {
      Word* row = rows[i] = steps.intoBlock ? rowWords(block, i) + first : rowOf(slot, i);
      unsigned char* bytes = reinterpret_cast<unsigned char*>(row);
      if (!files.readAt(i, bytes, to - from, start + from)) return false;
      if (steps.intoBlock) {  // the padding stays as it is until the whole block is in
        if (options.inverseByteOrder) invertByteBits(bytes, to - from);
      } else {
        std::memset(bytes + (to - from), 0, (end - first) * 8 - (to - from));  // the row's padding
        if (options.inverseByteOrder) invertBits(row, end - first);
      }
      if (chunk != 1) reorderBytes(bytes, to - from, chunk);
    }
    if (steps.compute) steps.compute(slot, first, end, rows);
    return true;
  };
  if (threads > 1 && (workers_ == nullptr || workers_->helpers() != threads - 1))
    workers_.reset(new TileWorkers(threads - 1));
  TilePipeline pipeline(tiles, static_cast<unsigned>(slotCount), work,
                        threads > 1 ? workers_.get() : nullptr);
  for (std::uint64_t k = 0; k < tiles; ++k) {
    unsigned slot = 0;
    if (!pipeline.get(k, slot)) return false;
    const std::uint64_t first = firstOf(k), end = std::min(words, first + tileWords);
    steps.commit(slot, first, end, slotRows[slot]);
    pipeline.release(k);
    delivered = steps.backwards ? first : end;
  }
  return true;
}

void Ovrell::reorderBytes(unsigned char* buffer, std::uint64_t size, std::uint64_t chunk) {
  if (chunk == 0) return;  // the options only ever hold 1, 2, 4 or 8
  if (size % chunk != 0) {
    warn("Wrong buffer size: bytes not reordered\n");
    return;
  }
  if (chunk != 2 && chunk != 4 && chunk != 8) return;
  for (std::uint64_t at = 0; at < size; at += chunk) {
    for (std::uint64_t lo = at, hi = at + chunk - 1; lo < hi; ++lo, --hi) {
      const unsigned char byte = buffer[lo];
      buffer[lo] = buffer[hi];
      buffer[hi] = byte;
    }
  }
}
