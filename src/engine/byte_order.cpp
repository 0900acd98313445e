// Bit inversion and chunk reordering; contracts in engine/byte_order.h.
#include "engine/byte_order.h"

#include <cstring>

#include "base/fatal.h"

void invertBits(Word* words, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    Word x = words[i];
    x = ((x >> 1) & 0x5555555555555555ULL) | ((x & 0x5555555555555555ULL) << 1);
    x = ((x >> 2) & 0x3333333333333333ULL) | ((x & 0x3333333333333333ULL) << 2);
    x = ((x >> 4) & 0x0F0F0F0F0F0F0F0FULL) | ((x & 0x0F0F0F0F0F0F0F0FULL) << 4);
    words[i] = x;
  }
}

void invertByteBits(unsigned char* bytes, std::uint64_t size) {
  if (size >= 8) invertBits(reinterpret_cast<Word*>(bytes), size / 8);
  Word word = 0;
  std::memcpy(&word, bytes + size / 8 * 8, size % 8);
  invertBits(&word, 1);
  std::memcpy(bytes + size / 8 * 8, &word, size % 8);
}

void reorderBytes(unsigned char* buffer, std::uint64_t size, std::uint64_t chunk) {
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
