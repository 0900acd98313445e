// The synthetic capture sets of the benchmarks.
//
// A set has one of four shapes. File i belongs to group i % groups.
// - flipped: dumps of one device family. Every file is one random base
//   image with a few bits flipped. Each value group has its own flipped
//   bits, one in every kGroupRegion bytes, so the groups differ; each file
//   has its own, rarer ones, one in every kFileRegion bytes, so files of
//   one group differ too and their commonality masks have holes.
// - edited: files that are mostly the same, as edits to records leave
//   them. One random base; each group rewrites one cluster of
//   kClusterBytes random bytes in every kClusterRegion bytes and flips one
//   isolated bit in every kEditRegion bytes (about one bit in 1,100
//   changed), each file flips one more bit in every kFileEditRegion bytes
//   (one in 100,000): long runs of bits agree between all files.
// - dense: every group a random image of its own, so that most bits are
//   uniform inside the groups and differ between them: nearly every bit is
//   a column of the dissimilarity kernels.
// - independent: every file a random image of its own.
//
// Every byte is a pure function of (seed, groups, file, position): the PRNG is
// a counter-based SplitMix64, so any range of a file can be produced on its
// own, a shorter file is a prefix of a longer one, and the result does not
// depend on how the range is cut into chunks.
#ifndef OVRELL_BENCH_SYNTHETIC_DATA_H_
#define OVRELL_BENCH_SYNTHETIC_DATA_H_

#include <cstdint>

namespace bench {

constexpr std::uint64_t kGroupRegion = 4096;      // bytes per flipped bit of a group
constexpr std::uint64_t kFileRegion = 65536;      // bytes per flipped bit of a file
constexpr std::uint64_t kClusterRegion = 16384;   // edited: bytes per cluster of a group
constexpr std::uint64_t kClusterBytes = 24;       // edited: the bytes of a cluster
constexpr std::uint64_t kEditRegion = 2048;       // edited: bytes per isolated bit of a group
constexpr std::uint64_t kFileEditRegion = 12288;  // edited: bytes per flipped bit of a file

enum class Shape { kFlipped, kEdited, kDense, kIndependent };

// The SplitMix64 output function: a bijective 64-bit mix.
inline std::uint64_t mix(std::uint64_t z) {
  z += 0x9E3779B97F4A7C15ULL;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

class SyntheticSet {
 public:
  // REQUIRES: groups > 0.
  SyntheticSet(std::uint64_t seed, std::uint64_t groups, Shape shape = Shape::kFlipped);

  std::uint64_t groupOf(std::uint64_t file) const { return file % groups_; }

  // Writes bytes [offset, offset + length) of file `file` to `out`.
  // REQUIRES: offset is a multiple of 8.
  void fill(std::uint64_t file, std::uint64_t offset, std::uint64_t length,
            unsigned char* out) const;

 private:
  // Flips, in out[0, length) = bytes [offset, offset + length), the one bit
  // that each region of `region` bytes gets from the key `owner`.
  static void flipOnePerRegion(std::uint64_t owner, std::uint64_t region, std::uint64_t offset,
                               std::uint64_t length, unsigned char* out);
  // XORs, in out[0, length) = bytes [offset, offset + length), each region
  // of kClusterRegion bytes's cluster with bytes from the key `owner`.
  static void rewriteClusters(std::uint64_t owner, std::uint64_t offset, std::uint64_t length,
                              unsigned char* out);

  std::uint64_t baseKey_;
  std::uint64_t groupKey_;
  std::uint64_t fileKey_;
  std::uint64_t groups_;
  Shape shape_;
};

}  // namespace bench

#endif  // OVRELL_BENCH_SYNTHETIC_DATA_H_
