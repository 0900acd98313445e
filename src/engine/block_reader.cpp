#include <cstdio>
#include <iostream>

#include "driver/process_exit.h"
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
  std::cerr << "Error reading file '" << file << "'." << std::endl;
  exitProcess(1);
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

void Ovrell::reorderBytes(unsigned char* buffer, std::uint64_t size, std::uint64_t chunk) {
  if (chunk == 0) return;  // the options only ever hold 1, 2, 4 or 8
  if (size % chunk != 0) {
    std::cerr << "Wrong buffer size: bytes not reordered\n";
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
