// The running computations of the checksum finder. An engine is one CRC
// shape (a polynomial and reflection of the catalogue) or one sum (kind,
// width, word size, byte order and the phase of its words), run from a range
// start over the differences between file 0 and up to three partners: where
// its registers equal the differences some field needs, that field is a
// target to fit. Bytes equal in every file fold into a CRC's initial value,
// so the differences alone decide a CRC's shape; init and final XOR are
// fitted afterwards (crc_range.h).
//
// Targets are kept in a hash map behind two bit filters (on the whole key
// and on the first pair alone) so that most ends cost one lookup in a bit
// vector. Sums and XORs also get targets with the field's own difference
// taken out, for ranges around their field.
#ifndef OVRELL_EXPLAIN_CHECKSUM_ENGINES_H_
#define OVRELL_EXPLAIN_CHECKSUM_ENGINES_H_

#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "explain/checksum_search.h"

using EngineKey = std::array<std::uint64_t, kMaxPairs>;
struct EngineKeyHash {
  std::size_t operator()(const EngineKey& k) const {
    return (k[0] * 0x9e3779b97f4a7c15ULL) ^ (k[1] * 0xc2b2ae3d27d4eb4fULL) ^ (k[2] * 0x165667b1);
  }
};

enum class EngineKind { kCrc, kSum, kXor, kRunning };

// One running computation over the differences of file 0 with its partners,
// from a range start, with the values the fields would need.
struct ChecksumEngine {
  ChecksumEngine(EngineKind k, unsigned w) : kind(k), width(w) {}
  EngineKind kind;
  unsigned width;
  ChecksumCandidate base;
  std::unique_ptr<Crc> crc;
  std::uint64_t modulus = 0;  // of the running sums
  std::unordered_map<EngineKey, std::vector<EngineTarget>, EngineKeyHash> targets;
  std::vector<bool> filter = std::vector<bool>(1 << 18);
  std::vector<bool> firstFilter = std::vector<bool>(1 << 18);  // on the first pair's value
  std::array<std::uint64_t, kMaxPairs> a{}, b{};
  std::uint64_t synced = 0;  // CRCs: where the registers of the other pairs stand
  // CRCs: the register's advance over 2^i zero bytes, as the images of its bits.
  std::vector<std::vector<std::uint64_t>> zeroPowers;

  // What the first filter holds: the first sum of the first pair for Adler-32 and Fletcher, the
  // first two pairs' registers for 8-bit CRCs, the first pair's for the others.
  std::uint64_t prefilter(const EngineKey& key) const {
    if (kind == EngineKind::kRunning) return key[0] & widthMask(width / 2);
    return width == 8 ? key[0] | key[1] << 8 : key[0];
  }
  static std::size_t firstIndex(std::uint64_t value) {
    return (value * 0x9e3779b97f4a7c15ULL) >> 46;
  }
  void add(const EngineKey& key, EngineTarget target) {
    filter[EngineKeyHash()(key) >> 46] = true;
    firstFilter[firstIndex(prefilter(key))] = true;
    targets[key].push_back(target);
  }
  void makeZeroPowers() {
    std::vector<std::uint64_t> power(width);
    for (unsigned j = 0; j < width; ++j) power[j] = crc->step(std::uint64_t{1} << j, 0);
    for (int level = 0; level < 48; ++level) {
      zeroPowers.push_back(power);
      std::vector<std::uint64_t> next(width);
      for (unsigned j = 0; j < width; ++j) next[j] = advance(level, power[j]);
      power = std::move(next);
    }
  }
  std::uint64_t advance(int level, std::uint64_t reg) const {
    std::uint64_t out = 0;
    for (const std::uint64_t column : zeroPowers[level]) {
      if (reg & 1) out ^= column;
      reg >>= 1;
    }
    return out;
  }
  // The other pairs' registers moved over the zero bytes up to `to`.
  void sync(std::uint64_t to, std::size_t pairs) {
    for (int level = 0; to > synced; ++level)
      if ((to - synced) >> level & 1) {
        for (std::size_t k = 1; k < pairs; ++k) a[k] = advance(level, a[k]);
        synced += std::uint64_t{1} << level;
      }
  }
  const std::vector<EngineTarget>* find(const EngineKey& key) const {
    if (!filter[EngineKeyHash()(key) >> 46]) return nullptr;
    const auto it = targets.find(key);
    return it == targets.end() ? nullptr : &it->second;
  }
};

// Every engine the search runs, with the targets of the search's fields.
std::vector<ChecksumEngine> buildEngines(const SearchState& search);

#endif  // OVRELL_EXPLAIN_CHECKSUM_ENGINES_H_
