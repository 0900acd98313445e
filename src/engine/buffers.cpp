#include "engine/buffers.h"

// The buffers' storage; contracts in engine/buffers.h.
#include <sys/mman.h>

#include <cstdlib>
#include <limits>
#include <new>

#include "base/fatal.h"

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

unsigned char* allocateStorage(std::uint64_t bytes) {
  if (bytes == 0 || bytes > std::numeric_limits<std::size_t>::max()) return nullptr;
  // Zero-filled so that padding bytes, which the bit algebra reads but never
  // writes out, hold the same thing in every run.
  return static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(bytes), 1));
}

void adviseHugePages(unsigned char* data, std::uint64_t bytes) {
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t from = (at + kHugePage - 1) / kHugePage * kHugePage;
  const std::uintptr_t to = (at + bytes) / kHugePage * kHugePage;
  if (data != nullptr && from < to)
    ::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}

void freeBuffer(ArrayBuff& buffer) {
  std::free(buffer.data);
  buffer.data = nullptr;
}

void freeBuffer(VectorBuff& buffer) {
  std::free(buffer.data);
  buffer.data = nullptr;
}

TileMemory::~TileMemory() { release(); }

void TileMemory::release() {
  if (data_ != nullptr) ::operator delete (data_, std::align_val_t{alignment_});
  data_ = nullptr;
  words_ = 0;
}

Word* TileMemory::reserve(std::uint64_t words) {
  if (words <= words_) return data_;
  release();
  // More words than memory can hold fail as `new` fails.
  const std::uint64_t most = (std::numeric_limits<std::size_t>::max() - kHugePage) / sizeof(Word);
  std::size_t bytes = words > most ? std::numeric_limits<std::size_t>::max()
                                   : static_cast<std::size_t>(words) * sizeof(Word);
  const bool huge = words <= most && bytes >= kHugePage / 2;
  if (huge) bytes = (bytes + kHugePage - 1) / kHugePage * kHugePage;
  alignment_ = huge ? kHugePage : 64;
  data_ = static_cast<Word*>(::operator new (bytes, std::align_val_t{alignment_}));
  words_ = bytes / sizeof(Word);
  // Only advice: a kernel without huge pages gives small ones.
  if (huge) ::madvise(data_, bytes, MADV_HUGEPAGE);
  return data_;
}

namespace {

[[noreturn]] void outOfMemory(std::uint32_t memLimit) {
  fatal("Too little memory available - we need at least ", memLimit,
        " bytes of dynamic memory. Try decreasing memory usage using option '-m'\n");
}

}  // namespace

ArrayBuff initArrayBuffer(std::uint64_t rowSize, std::uint64_t rows, std::uint32_t memLimit) {
  // The size is computed in 64 bits: a product wrapped to 32 bits could be
  // smaller than the rows the run writes.
  const std::uint64_t pitch = pitchOf(rowSize);
  unsigned char* data = nullptr;
  if (rows == 0 || pitch <= std::numeric_limits<std::uint64_t>::max() / rows)
    data = allocateStorage(pitch * rows);
  if (data == nullptr) outOfMemory(memLimit);
  return ArrayBuff{data, rowSize, rows};
}

VectorBuff initVectorBuffer(std::uint64_t size, std::uint32_t memLimit) {
  unsigned char* data = allocateStorage(pitchOf(size));
  if (data == nullptr) outOfMemory(memLimit);
  return VectorBuff{data, size};
}
