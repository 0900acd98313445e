#include "engine/buffers.h"

// The buffers' storage, and the Ovrell members that make buffers.
#include <cstdlib>
#include <limits>

#include "base/fatal.h"
#include "engine/ovrell.h"

unsigned char* allocateStorage(std::uint64_t bytes) {
  if (bytes == 0 || bytes > std::numeric_limits<std::size_t>::max()) return nullptr;
  // Zero-filled so that padding bytes, which the bit algebra reads but never
  // writes out, hold the same thing in every run.
  return static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(bytes), 1));
}

void freeBuffer(ArrayBuff& buffer) {
  std::free(buffer.data);
  buffer.data = nullptr;
}

void freeBuffer(VectorBuff& buffer) {
  std::free(buffer.data);
  buffer.data = nullptr;
}

namespace {

[[noreturn]] void outOfMemory(std::uint32_t memLimit) {
  fatal("Too little memory available - we need at least ", memLimit,
        " bytes of dynamic memory. Try decreasing memory ", "usage using option '-m'\n");
}

}  // namespace

ArrayBuff Ovrell::initArrayBuffer(std::uint64_t rowSize, std::uint64_t rows) {
  // The size is computed in 64 bits: a product wrapped to 32 bits could be
  // smaller than the rows the run writes.
  const std::uint64_t pitch = pitchOf(rowSize);
  unsigned char* data = nullptr;
  if (rows == 0 || pitch <= std::numeric_limits<std::uint64_t>::max() / rows)
    data = allocateStorage(pitch * rows);
  if (data == nullptr) outOfMemory(options.memLimit);
  return ArrayBuff{data, rowSize, rows};
}

VectorBuff Ovrell::initVectorBuffer(std::uint64_t size) {
  unsigned char* data = allocateStorage(pitchOf(size));
  if (data == nullptr) outOfMemory(options.memLimit);
  return VectorBuff{data, size};
}
