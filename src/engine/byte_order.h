// Byte order: how the bytes of the files are turned before any bit of them
// is compared. With -b the bits of every byte are reversed; with -e every
// `chunkSize` consecutive bytes (2, 4 or 8) are reversed, so that words of
// either endianness line up. The functions work on memory only.
#ifndef OVRELL_ENGINE_BYTE_ORDER_H_
#define OVRELL_ENGINE_BYTE_ORDER_H_

#include <cstdint>

#include "engine/buffers.h"

struct ByteOrder {
  bool invertBits = false;      // -b
  std::uint64_t chunkSize = 1;  // -e; 1 leaves the bytes in place
};

// Reverses the bit order inside every byte of the words.
void invertBits(Word* words, std::uint64_t count);
// invertBits for `size` bytes from `bytes`, which is word-aligned when size
// is 8 or more: the whole words, then the bytes after them.
void invertByteBits(unsigned char* bytes, std::uint64_t size);
// Reverses every `chunk` consecutive bytes of the first `size` bytes; warns
// and changes nothing when size is not a multiple of chunk.
void reorderBytes(unsigned char* buffer, std::uint64_t size, std::uint64_t chunk);

#endif  // OVRELL_ENGINE_BYTE_ORDER_H_
