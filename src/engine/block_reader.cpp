#include <fcntl.h>
#include <unistd.h>

// Members of Ovrell; contracts in engine/ovrell.h.
#include <algorithm>
#include <cstdio>

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

// The files of one block, open for reading; closed when it goes.
class OpenFiles {
 public:
  // Opens every file; false when one cannot be opened (the others are closed
  // with the object, as always; a descriptor limit makes this fail).
  bool open(const FileList& files) {
    for (const auto& file : files) {
      const int fd = ::open(file.c_str(), O_RDONLY);
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
    while (size > 0) {
      const ssize_t got = ::pread(fds_[i], to, size, static_cast<off_t>(offset));
      if (got <= 0) return false;
      to += got, size -= static_cast<std::uint64_t>(got), offset += static_cast<std::uint64_t>(got);
    }
    return true;
  }

 private:
  std::vector<int> fds_;
};

// Files kept open at once during a block; with more, blocks are read whole.
constexpr std::size_t kMostOpenFiles = 128;
// Bytes of all rows together in one tile: the tile and its mask stay in the
// second-level cache.
constexpr std::uint64_t kTileBytes = 512 * 1024;

}  // namespace

void Ovrell::readBlockInTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                              bool keepBlock, const TileDone& tileDone) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  std::vector<Word*> fileRows(files.size());
  std::uint64_t delivered = 0;  // words already handed to tileDone
  if (files.size() <= kMostOpenFiles && (chunk == 1 || block.rowSize % chunk == 0) &&
      readTiles(files, start, block, keepBlock, tileDone, fileRows, delivered))
    return;
  // With every file of the tiles closed again.
  readBlock(files, start, block);
  for (std::size_t i = 0; i < files.size(); ++i) fileRows[i] = rowWords(block, i) + delivered;
  tileDone(delivered, words, fileRows);
}

bool Ovrell::readTiles(const FileList& files, std::uint64_t start, ArrayBuff block,
                       bool keepBlock, const TileDone& tileDone, std::vector<Word*>& fileRows,
                       std::uint64_t& delivered) {
  const std::uint64_t words = wordsOf(block.rowSize);
  const std::uint64_t chunk = options.chunkSize;
  OpenFiles opened;
  if (!opened.open(files)) return false;
  const std::uint64_t tileWords = std::max<std::uint64_t>(kTileBytes / 8 / files.size(), 512);
  std::vector<Word> tile(keepBlock ? 0 : tileWords * files.size());
  for (std::uint64_t first = 0; first < words; first += tileWords) {
    const std::uint64_t end = std::min(words, first + tileWords);
    // Bytes [from, to) of every row; the last tile ends at rowSize, and its
    // bit inversion runs on to the end of the padded row.
    const std::uint64_t from = first * 8, to = std::min(end * 8, block.rowSize);
    for (std::size_t i = 0; i < files.size(); ++i) {
      fileRows[i] = keepBlock ? rowWords(block, i) + first : tile.data() + i * tileWords;
      unsigned char* bytes = reinterpret_cast<unsigned char*>(fileRows[i]);
      if (!opened.read(i, bytes, to - from, start + from)) return false;
      if (options.inverseByteOrder) invertBits(fileRows[i], end - first);
      if (chunk != 1) reorderBytes(bytes, to - from, chunk);
    }
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
