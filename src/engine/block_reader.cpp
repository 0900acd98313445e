#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Members of Ovrell; contracts in engine/ovrell.h.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "base/fatal.h"
#include "engine/ovrell.h"

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

[[noreturn]] void readError(const boost::filesystem::path& file) {
  fatal("Error reading file '", file, "'.\n");
}

// Reads `size` bytes of `file` at `offset` into `row`, or ends the process.
void readRow(const boost::filesystem::path& file, std::uint64_t offset, unsigned char* row,
             std::uint64_t size) {
  std::FILE* stream = std::fopen(file.c_str(), "rb");
  if (stream == nullptr) readError(file);
  std::size_t got = 0;
  if (fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0)
    got = std::fread(row, 1, size, stream);
  std::fclose(stream);
  if (got != size) readError(file);
}

}  // namespace

void Ovrell::readBlock(const FileList& files, std::uint64_t start, ArrayBuff block) {
  const std::uint64_t pitch = pitchOf(block.rowSize);
  for (std::size_t i = 0; i < files.size(); ++i) {
    unsigned char* row = block.data + i * pitch;
    readRow(files[i], start, row, block.rowSize);
    if (options.inverseByteOrder) invertBits(reinterpret_cast<Word*>(row), pitch / 8);
    if (options.chunkSize != 1) reorderBytes(row, block.rowSize, options.chunkSize);
  }
}

namespace {

// Files kept open during a block; with more, each read opens its file.
constexpr std::size_t kMostOpenFiles = 128;

// The files of one block, for reading; those it keeps open are closed when
// it goes.
class OpenFiles {
 public:
  explicit OpenFiles(const FileList& files) : files_(files) {}
  // Opens every file when there are few enough to keep open; false when one
  // cannot be opened (the others are closed with the object, as always; a
  // descriptor limit makes this fail).
  bool open() {
    if (files_.size() > kMostOpenFiles) return true;
    for (const auto& file : files_) {
      const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
      if (fd < 0) return false;
      fds_.push_back(fd);
    }
    return true;
  }
  ~OpenFiles() {
    for (int fd : fds_) ::close(fd);
  }
  // Whether every file kept open holds at least `end` bytes (a file that
  // has become shorter since the run began is then read whole by readBlock,
  // before anything of its block is worked on).
  bool longEnough(std::uint64_t end) const {
    struct stat status {};
    for (int fd : fds_)
      if (::fstat(fd, &status) != 0 || static_cast<std::uint64_t>(status.st_size) < end)
        return false;
    return true;
  }
  // Reads exactly `size` bytes of file i at `offset`, or returns false.
  bool read(std::size_t i, unsigned char* to, std::uint64_t size, std::uint64_t offset) const {
    const int fd = fds_.empty() ? ::open(files_[i].c_str(), O_RDONLY | O_CLOEXEC) : fds_[i];
    bool whole = fd >= 0;
    while (whole && size > 0) {
      const ssize_t got = ::pread(fd, to, size, static_cast<off_t>(offset));
      whole = got > 0;
      if (whole)
        to += got, size -= static_cast<std::uint64_t>(got),
            offset += static_cast<std::uint64_t>(got);
    }
    if (fds_.empty() && fd >= 0) ::close(fd);
    return whole;
  }

 private:
  const FileList& files_;
  std::vector<int> fds_;
};

// Waiting for another thread: a spin of a few hundred microseconds (a tile
// takes tens to hundreds, and waking a sleeping thread can take a hundred),
// then sleep on the condition variable. The spin has no `pause`: on the
// virtual machines we measure on, a core spinning with it is taken away.
class Rendezvous {
 public:
  template <typename Ready>
  void waitUntil(const Ready& ready) {
    for (int spin = 0; spin < (1 << 18); ++spin) {
      if (ready()) return;
      asm volatile("" ::: "memory");
    }
    std::unique_lock<std::mutex> lock(mutex_);
    sleepers_.fetch_add(1);
    changed_.wait(lock, ready);
    sleepers_.fetch_sub(1);
  }
  // Call after every change that a waiter may be waiting for.
  void changed() {
    if (sleepers_.load() == 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<int> sleepers_{0};
};

// The tiles of a block spread over threads, and handed to the calling
// thread in order. The tiles go round in turns: one to the calling thread
// (in slot 0), then `share` to each helper 1, 2, ..., which alternates
// between two slots (2h - 1 and 2h), so that it works on its next tile
// while the caller still holds its last.
class TilePipeline {
 public:
  // `work(k, slot)` reads and computes tile k into `slot`; false when the
  // tile cannot be read.
  using Work = std::function<bool(std::uint64_t tile, unsigned slot)>;

  TilePipeline(std::uint64_t tiles, unsigned threads, unsigned share, Work work)
      : tiles_(tiles),
        share_(share),
        helpers_(tiles > 1 && threads > 1 ? threads - 1 : 0),
        round_(1 + share * static_cast<unsigned>(helpers_.size())),
        work_(std::move(work)) {
    for (unsigned h = 1; h <= helpers_.size(); ++h)
      helpers_[h - 1].thread = std::thread([this, h] { help(h); });
  }
  ~TilePipeline() {
    stop_.store(true);
    rendezvous_.changed();
    for (Helper& helper : helpers_) helper.thread.join();
  }

  // Tile k, worked on by its thread (by this one for its own); false when
  // it cannot be read. Tiles must be asked for in order, and each released
  // before the next is asked for.
  bool get(std::uint64_t k, unsigned& slot) {
    std::uint64_t i = 0;
    const unsigned owner = ownerOf(k, i);
    if (owner == 0) return work_(k, slot = 0);
    Helper& helper = helpers_[owner - 1];
    rendezvous_.waitUntil([&] { return helper.done.load() > i; });
    slot = 2 * owner - 1 + static_cast<unsigned>(i % 2);
    return !(helper.failed.load() && helper.done.load() == i + 1);
  }
  // The slot of tile k may be reused.
  void release(std::uint64_t k) {
    std::uint64_t i = 0;
    const unsigned owner = ownerOf(k, i);
    if (owner == 0) return;
    helpers_[owner - 1].released.store(i + 1);
    rendezvous_.changed();
  }

 private:
  struct Helper {
    std::thread thread;
    std::atomic<std::uint64_t> done{0};      // its tiles worked on
    std::atomic<std::uint64_t> released{0};  // its tiles the caller is done with
    std::atomic<bool> failed{false};         // its last tile could not be read
  };

  // 0 for the caller, h for helper h, whose i-th tile k is.
  unsigned ownerOf(std::uint64_t k, std::uint64_t& i) const {
    const unsigned at = static_cast<unsigned>(k % round_);
    if (at == 0) return 0;
    i = k / round_ * share_ + (at - 1) % share_;
    return (at - 1) / share_ + 1;
  }

  void help(unsigned h) {
    Helper& helper = helpers_[h - 1];
    for (std::uint64_t i = 0;; ++i) {
      const std::uint64_t k = i / share_ * round_ + 1 + (h - 1) * share_ + i % share_;
      if (k >= tiles_) return;
      // The slot of tile i - 2 must be free.
      rendezvous_.waitUntil([&] { return stop_.load() || helper.released.load() + 2 > i; });
      if (stop_.load()) return;
      const bool ok = work_(k, 2 * h - 1 + static_cast<unsigned>(i % 2));
      if (!ok) helper.failed.store(true);
      helper.done.store(i + 1);
      rendezvous_.changed();
      if (!ok) return;
    }
  }

  const std::uint64_t tiles_;
  const unsigned share_;  // tiles of each helper in a turn
  std::vector<Helper> helpers_;
  const unsigned round_;  // tiles of a turn
  const Work work_;
  std::atomic<bool> stop_{false};
  Rendezvous rendezvous_;
};

}  // namespace

unsigned Ovrell::defaultReadThreads() {
  return std::min(std::max(std::thread::hardware_concurrency(), 1U), 4U);
}

unsigned Ovrell::tileSlots() const { return 2 * std::max(readThreads, 1U) - 1; }

void Ovrell::readBlockInTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                              const TileDone& tileDone, bool keepBlock) {
  readBlockInTiles(files, start, block,
                   {nullptr, 0,
                    [&](unsigned, std::uint64_t first, std::uint64_t end,
                        const std::vector<Word*>& fileRows) { tileDone(first, end, fileRows); }},
                   keepBlock);
}

void Ovrell::readBlockInTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                              const TileSteps& steps, bool keepBlock) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  std::vector<Word*> fileRows(files.size());
  // The words already committed: [0, delivered), or backwards [delivered, words).
  std::uint64_t delivered = steps.backwards ? words : 0;
  const std::uint64_t tileWords =
      std::min(tileWordsOf(files.size(), steps.scratchPerByte), std::max<std::uint64_t>(words, 1));
  if ((chunk == 1 || block.rowSize % chunk == 0) &&
      readTiles(files, start, block, steps, keepBlock, tileWords, delivered))
    return;
  // With every file of the tiles closed again and the helpers gone.
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
  // least tileBytes / 16 of each file (32 KiB), or tileBytes / 128 when
  // there are more files than are kept open, so that many files are not
  // read in slivers: a system call costs several microseconds.
  const std::uint64_t fileShare = std::min<std::uint64_t>(files, kMostOpenFiles);
  const std::uint64_t least = tileBytes / 8 / (files <= kMostOpenFiles ? 16 : kMostOpenFiles);
  const std::uint64_t words =
      std::max<std::uint64_t>({tileBytes / 8 / (fileShare + scratchPerByte), least, 1});
  return words < 8 ? words : words / 8 * 8;  // whole cache lines
}

bool Ovrell::readTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                       const TileSteps& steps, bool keepBlock, std::uint64_t tileWords,
                       std::uint64_t& delivered) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  OpenFiles opened(files);
  if (!opened.open() || !opened.longEnough(start + block.rowSize)) return false;
  const std::uint64_t tiles = (words + tileWords - 1) / tileWords;
  const unsigned threads = std::max(readThreads, 1U);
  // Every tile is filled by a read before it is looked at.
  const std::uint64_t slotCount = std::min<std::uint64_t>(tileSlots(), 2 * tiles + 1);
  const std::uint64_t slotWords = slotCount * tileWords * files.size();
  if (!keepBlock && tileStorageWords_ < slotWords) {
    tileStorage_.reset(new Word[slotWords]);  // not cleared, so not touched here
    tileStorageWords_ = slotWords;
  }
  Word* const slots = tileStorage_.get();
  auto firstOf = [&](std::uint64_t k) { return (steps.backwards ? tiles - 1 - k : k) * tileWords; };
  // File i's words of tile k: in its slot, or in the block's row.
  auto rowOf = [&](std::uint64_t k, unsigned slot, std::size_t i) {
    return keepBlock ? rowWords(block, i) + firstOf(k)
                     : slots + (slot * files.size() + i) * tileWords;
  };
  std::vector<std::vector<Word*>> slotRows(tileSlots(), std::vector<Word*>(files.size()));
  // Bytes [from, to) of every row of a tile; the last tile ends at rowSize,
  // and its bit inversion runs on to the end of the padded row.
  auto work = [&](std::uint64_t k, unsigned slot) {
    const std::uint64_t first = firstOf(k), end = std::min(words, first + tileWords);
    const std::uint64_t from = first * 8, to = std::min(end * 8, block.rowSize);
    std::vector<Word*>& rows = slotRows[slot];
    for (std::size_t i = 0; i < files.size(); ++i) {
      Word* row = rows[i] = rowOf(k, slot, i);
      unsigned char* bytes = reinterpret_cast<unsigned char*>(row);
      if (!opened.read(i, bytes, to - from, start + from)) return false;
      std::memset(bytes + (to - from), 0, (end - first) * 8 - (to - from));  // the row's padding
      if (options.inverseByteOrder) invertBits(row, end - first);
      if (chunk != 1) reorderBytes(bytes, to - from, chunk);
    }
    if (steps.compute) steps.compute(slot, first, end, rows);
    return true;
  };
  TilePipeline pipeline(tiles, threads, steps.heavyCommit ? 2 : 1, work);
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
