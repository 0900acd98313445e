// The engine's two buffer types and their row geometry.
//
// A row is `rowSize` meaningful bytes followed by padding up to the next
// multiple of 8 (its pitch), so the bit algebra can run a 64-bit word at a
// time with no tail case. Row r of an ArrayBuff starts at data + r × pitch,
// the pitch being computed from the buffer's *current* rowSize (the short
// last block packs its rows more tightly). Bit j of byte b of any row or
// mask describes bit j (value 1 << j) of byte start + b of the files.
//
// The records own nothing by themselves: whoever made the storage (the
// run, a pass, the report's scan) frees it with freeBuffer. Storage starts
// zero-filled and padding bytes are never cleared after that; only the
// first rowSize (or size) bytes of a row are ever written out, so padding
// never reaches a result.
#ifndef OVRELL_ENGINE_BUFFERS_H_
#define OVRELL_ENGINE_BUFFERS_H_

#include <cstdint>
#include <cstring>
#include <vector>

using Word = unsigned long long;

struct ArrayBuff {
  unsigned char* data;
  std::uint64_t rowSize;  // meaningful bytes per row in the current block
  std::uint64_t rows;
};

struct VectorBuff {
  unsigned char* data;
  std::uint64_t size;  // meaningful bytes
};

// rowSize rounded up to a multiple of 8.
inline std::uint64_t pitchOf(std::uint64_t rowSize) { return rowSize + ((8 - rowSize % 8) % 8); }

// Number of 64-bit words of one row at its current pitch.
inline std::uint64_t wordsOf(std::uint64_t rowSize) { return pitchOf(rowSize) / 8; }

inline Word* rowWords(const ArrayBuff& block, std::uint64_t row) {
  return reinterpret_cast<Word*>(block.data + row * pitchOf(block.rowSize));
}

inline Word* maskWords(const VectorBuff& mask) { return reinterpret_cast<Word*>(mask.data); }

// Into differs[0, n): the bits of words [base, base + n) of the rows in
// which some row differs from the first (none with fewer than two rows).
inline void differencesOf(const std::vector<const Word*>& rows, std::uint64_t base, std::uint64_t n,
                          Word* differs) {
  if (rows.size() < 2) {
    std::memset(differs, 0, n * sizeof(Word));
    return;
  }
  const Word* first = rows[0] + base;
  const Word* second = rows[1] + base;
  for (std::uint64_t i = 0; i < n; ++i) differs[i] = first[i] ^ second[i];
  for (std::size_t k = 2; k < rows.size(); ++k) {
    const Word* row = rows[k] + base;
    for (std::uint64_t i = 0; i < n; ++i) differs[i] |= first[i] ^ row[i];
  }
}

// The 8 bytes from `bytes` as a word, the first byte lowest.
inline Word loadWord(const unsigned char* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// Whether the 64 bytes from `bytes` are all zero.
inline bool zeroLine(const unsigned char* bytes) {
  Word any = 0;
  for (unsigned i = 0; i < 8; ++i) any |= loadWord(bytes + 8 * i);
  return any == 0;
}

// Calls visit(byte, bit) for every set bit of the first `size` bytes of
// `mask`: bytes from the last to the first, inside a byte from bit 0 (value
// 1) up. The mask is walked a word at a time, runs of 64 zero bytes at a
// time, so a sparse mask costs about one load per 64 bytes plus its set
// bits. This is the order of the columns of the dissimilarity algorithms:
// the first bit visited is column 0.
template <typename Visit>
void forEachSetBitFromEnd(const unsigned char* mask, std::uint64_t size, Visit&& visit) {
  auto visitByte = [&](std::uint64_t byte, unsigned bits) {
    for (; bits != 0; bits &= bits - 1) visit(byte, static_cast<unsigned>(__builtin_ctz(bits)));
  };
  std::uint64_t byte = size;
  while (byte % 8 != 0) {  // the bytes after the last whole word
    --byte;
    visitByte(byte, mask[byte]);
  }
  while (byte > 0) {
    while (byte % 64 == 0 && byte >= 64 && zeroLine(mask + byte - 64)) byte -= 64;
    if (byte == 0) break;
    byte -= 8;
    // The word's bytes from its highest (the last in the mask) down.
    for (Word word = loadWord(mask + byte); word != 0;) {
      const unsigned high = (63 - static_cast<unsigned>(__builtin_clzll(word))) / 8;
      visitByte(byte + high, static_cast<unsigned>(word >> (8 * high)) & 0xFFU);
      word &= ~(Word{0xFF} << (8 * high));
    }
  }
}

// Storage for `rows` rows of pitchOf(rowSize) bytes; the record keeps
// rowSize unrounded. Ends the process when memory cannot be had, naming
// the memory limit `memLimit`.
ArrayBuff initArrayBuffer(std::uint64_t rowSize, std::uint64_t rows, std::uint32_t memLimit);
VectorBuff initVectorBuffer(std::uint64_t size, std::uint32_t memLimit);

// Storage of `bytes` bytes, zero-filled, or nullptr when it cannot be had.
unsigned char* allocateStorage(std::uint64_t bytes);

// Words kept from block to block for tiles and their scratch. They are not
// cleared, so a page is first touched when data goes into it. From 1 MiB up
// the words lie on 2 MiB boundaries and the kernel is asked for transparent
// huge pages: a run's first tiles then fault in a page or two rather than
// hundreds (each fault costs microseconds, more on a virtual machine).
// Running out of memory is handled as for `new`.
class TileMemory {
 public:
  TileMemory() = default;
  ~TileMemory();
  TileMemory(const TileMemory&) = delete;
  TileMemory& operator=(const TileMemory&) = delete;

  // At least `words` words; what they held is lost when they must grow.
  Word* reserve(std::uint64_t words);
  Word* data() const { return data_; }

 private:
  void release();

  Word* data_ = nullptr;
  std::uint64_t words_ = 0;
  std::size_t alignment_ = 0;
};

// For storage that a run fills whole: asks the kernel for transparent huge
// pages over the whole 2 MiB pages inside it, so that filling it faults in
// few pages. Only advice; storage touched here and there must not have it
// (each touch would make 2 MiB resident).
void adviseHugePages(unsigned char* data, std::uint64_t bytes);

void freeBuffer(ArrayBuff& buffer);
void freeBuffer(VectorBuff& buffer);

#endif  // OVRELL_ENGINE_BUFFERS_H_
