#include "synthetic_data.h"

namespace bench {

SyntheticSet::SyntheticSet(std::uint64_t seed, std::uint64_t groups, Shape shape)
    : baseKey_(mix(mix(seed) ^ 1)),
      groupKey_(mix(mix(seed) ^ 2)),
      fileKey_(mix(mix(seed) ^ 3)),
      groups_(groups),
      shape_(shape) {}

void SyntheticSet::fill(std::uint64_t file, std::uint64_t offset, std::uint64_t length,
                        unsigned char* out) const {
  // The base: word w of every file is the SplitMix64 output number w,
  // stored least significant byte first.
  const std::uint64_t firstWord = offset / 8;
  std::uint64_t key = baseKey_;
  if (shape_ == Shape::kDense) key = mix(baseKey_ ^ mix(groupOf(file) + 1));
  if (shape_ == Shape::kIndependent) key = mix(baseKey_ ^ mix(~file));
  for (std::uint64_t i = 0; i < length; i += 8) {
    std::uint64_t word = mix(key + (firstWord + i / 8) * 0x9E3779B97F4A7C15ULL);
    const std::uint64_t bytes = length - i < 8 ? length - i : 8;
    for (std::uint64_t b = 0; b < bytes; ++b, word >>= 8)
      out[i + b] = static_cast<unsigned char>(word);
  }
  if (shape_ == Shape::kEdited) {
    rewriteClusters(mix(groupKey_ + groupOf(file)), offset, length, out);
    flipOnePerRegion(mix(groupKey_ ^ groupOf(file)), kEditRegion, offset, length, out);
    flipOnePerRegion(mix(fileKey_ + file), kFileEditRegion, offset, length, out);
  } else if (shape_ != Shape::kIndependent) {
    flipOnePerRegion(mix(groupKey_ + groupOf(file)), kGroupRegion, offset, length, out);
    flipOnePerRegion(mix(fileKey_ + file), kFileRegion, offset, length, out);
  }
}

void SyntheticSet::rewriteClusters(std::uint64_t owner, std::uint64_t offset, std::uint64_t length,
                                   unsigned char* out) {
  const std::uint64_t end = offset + length;
  for (std::uint64_t r = offset / kClusterRegion; r * kClusterRegion < end; ++r) {
    const std::uint64_t key = mix(owner ^ mix(r));
    const std::uint64_t first = r * kClusterRegion + key % (kClusterRegion - kClusterBytes);
    for (std::uint64_t byte = first; byte < first + kClusterBytes; ++byte)
      if (byte >= offset && byte < end)
        out[byte - offset] ^= static_cast<unsigned char>(mix(key + byte) | 1U);
  }
}

void SyntheticSet::flipOnePerRegion(std::uint64_t owner, std::uint64_t region, std::uint64_t offset,
                                    std::uint64_t length, unsigned char* out) {
  const std::uint64_t end = offset + length;
  for (std::uint64_t r = offset / region; r * region < end; ++r) {
    const std::uint64_t bit = r * region * 8 + mix(owner ^ mix(r)) % (region * 8);
    const std::uint64_t byte = bit / 8;
    if (byte >= offset && byte < end)
      out[byte - offset] ^= static_cast<unsigned char>(1U << bit % 8);
  }
}

}  // namespace bench
