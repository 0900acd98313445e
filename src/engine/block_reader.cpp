#include <fcntl.h>
#include <unistd.h>

// Members of Ovrell; contracts in engine/ovrell.h.
#include <algorithm>
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

// Tiles read ahead of the one being worked on: with a second thread, tile
// k + 1 is read while tile k is handed to the caller. Tile k lives in slot
// k % 2 of the buffer.
class TileQueue {
 public:
  using Read = std::function<bool(std::uint64_t tile, Word* slot)>;

  TileQueue(std::uint64_t tiles, std::uint64_t slotWords, bool ahead, Read read)
      : tiles_(tiles), slotWords_(slotWords), read_(std::move(read)) {
    const bool worker = ahead && tiles > 1;
    // Not cleared: every slot is filled by a read before it is looked at.
    slots_.reset(new Word[(worker ? 2 : 1) * slotWords]);
    if (worker) worker_ = std::thread([this] { readAhead(); });
  }
  ~TileQueue() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
  }

  // Waits for tile k and sets `slot` to its slot; false when it cannot be
  // read. The slot of tile k - 1 may be reused from this call on.
  bool get(std::uint64_t k, Word*& slot) {
    if (!worker_.joinable()) return read_(k, slot = slots_.get());
    slot = slots_.get() + k % 2 * slotWords_;
    std::unique_lock<std::mutex> lock(mutex_);
    consumed_ = k;  // tiles before k are done with
    changed_.notify_all();
    changed_.wait(lock, [&] { return readCount_ > k || failed_; });
    return readCount_ > k;
  }

 private:
  void readAhead() {
    for (std::uint64_t k = 0; k < tiles_; ++k) {
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return stop_ || k < consumed_ + 2; });
        if (stop_) return;
      }
      const bool ok = read_(k, slots_.get() + k % 2 * slotWords_);
      std::lock_guard<std::mutex> lock(mutex_);
      if (ok)
        readCount_ = k + 1;
      else
        failed_ = true;
      changed_.notify_all();
      if (!ok) return;
    }
  }

  const std::uint64_t tiles_;
  std::unique_ptr<Word[]> slots_;
  const std::uint64_t slotWords_;
  const Read read_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t readCount_ = 0, consumed_ = 0;
  bool failed_ = false, stop_ = false;
  std::thread worker_;
};

}  // namespace

void Ovrell::readBlockInTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                              const TileDone& tileDone, bool keepBlock) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  std::vector<Word*> fileRows(files.size());
  std::uint64_t delivered = 0;  // words already handed to tileDone
  if ((chunk == 1 || block.rowSize % chunk == 0) &&
      readTiles(files, start, block, tileDone, keepBlock, fileRows, delivered))
    return;
  // With every file of the tiles closed again.
  readBlock(files, start, block);
  for (std::size_t i = 0; i < files.size(); ++i) fileRows[i] = rowWords(block, i) + delivered;
  tileDone(delivered, words, fileRows);
}

bool Ovrell::readTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                       const TileDone& tileDone, bool keepBlock, std::vector<Word*>& fileRows,
                       std::uint64_t& delivered) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  OpenFiles opened(files);
  if (!opened.open()) return false;
  // A tile holds tileBytes of all files, but at least tileBytes / 128 of
  // each, so that many files are not read in slivers.
  const std::uint64_t fileShare = std::min<std::uint64_t>(files.size(), kMostOpenFiles);
  const std::uint64_t tileWords = std::max<std::uint64_t>(tileBytes / 8 / fileShare, 1);
  const std::uint64_t tiles = (words + tileWords - 1) / tileWords;
  // File i's words of tile k: in the slot, or in the block's row.
  auto rowOf = [&](std::uint64_t k, Word* slot, std::size_t i) {
    return keepBlock ? rowWords(block, i) + k * tileWords : slot + i * tileWords;
  };
  // Bytes [from, to) of every row of a tile; the last tile ends at rowSize,
  // and its bit inversion runs on to the end of the padded row.
  auto read = [&](std::uint64_t k, Word* slot) {
    const std::uint64_t first = k * tileWords, end = std::min(words, first + tileWords);
    const std::uint64_t from = first * 8, to = std::min(end * 8, block.rowSize);
    for (std::size_t i = 0; i < files.size(); ++i) {
      Word* row = rowOf(k, slot, i);
      unsigned char* bytes = reinterpret_cast<unsigned char*>(row);
      if (!opened.read(i, bytes, to - from, start + from)) return false;
      std::memset(bytes + (to - from), 0, (end - first) * 8 - (to - from));  // the row's padding
      if (options.inverseByteOrder) invertBits(row, end - first);
      if (chunk != 1) reorderBytes(bytes, to - from, chunk);
    }
    return true;
  };
  TileQueue queue(tiles, keepBlock ? 0 : tileWords * files.size(), readThreads > 1, read);
  for (std::uint64_t k = 0; k < tiles; ++k) {
    Word* slot = nullptr;
    if (!queue.get(k, slot)) return false;
    for (std::size_t i = 0; i < files.size(); ++i) fileRows[i] = rowOf(k, slot, i);
    const std::uint64_t first = k * tileWords, end = std::min(words, first + tileWords);
    tileDone(first, end, fileRows);
    delivered = end;
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
