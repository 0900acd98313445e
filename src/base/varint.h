// Unsigned integers in as few bytes as their size needs, for the scratch
// files' records: seven bits a byte, the lowest first, the top bit set on
// every byte but the last. Values below 128 take one byte.
#ifndef OVRELL_BASE_VARINT_H_
#define OVRELL_BASE_VARINT_H_

#include <cstddef>
#include <cstdint>
#include <vector>

inline void putVarint(std::vector<unsigned char>& out, std::uint64_t value) {
  for (; value >= 0x80; value >>= 7) out.push_back(static_cast<unsigned char>(value | 0x80));
  out.push_back(static_cast<unsigned char>(value));
}

// Reads the value at `at` and moves `at` past it. REQUIRES: a whole value
// written by putVarint starts at `at`.
inline std::uint64_t getVarint(const std::vector<unsigned char>& in, std::size_t& at) {
  std::uint64_t value = 0;
  for (unsigned shift = 0;; shift += 7) {
    const unsigned char byte = in[at++];
    value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return value;
  }
}

#endif  // OVRELL_BASE_VARINT_H_
