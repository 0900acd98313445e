// The state the units of the checksum finder share during one search: the
// files, their changing runs and candidate fields, which fields are
// explained already, how many candidates were tried per width, and the
// findings; with the helpers every unit needs (the stretch of equal bytes
// before a range, the next changing byte, a checksum computed straight).
//
// Internal to the checksum finder (checksum_finder.h is the public face).
#ifndef OVRELL_EXPLAIN_CHECKSUM_SEARCH_H_
#define OVRELL_EXPLAIN_CHECKSUM_SEARCH_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "explain/checksum_fields.h"
#include "explain/checksum_finder.h"

constexpr std::size_t kChunk = 1 << 16;  // bytes read at a time
constexpr std::size_t kMaxPairs = 3;     // file pairs compared while scanning

// What is tried against a field: a CRC shape (init and final XOR fitted
// later) or a sum with the phase of its words.
struct ChecksumCandidate {
  bool isCrc = false;
  CrcParams crc;
  SumParams sum;
  unsigned phase = 0;
  bool around = false;
  bool blanks = false;  // the field counted as blanks, not zeros
};

// A candidate to fit against one field (an index into SearchState::fields).
struct EngineTarget {
  std::size_t field;
  ChecksumCandidate candidate;
};

struct SearchState {
  SearchState(const ByteSource& s, const std::vector<ByteRun>& r, const ChecksumLimits& l)
      : source(s), runs(r), limits(l), files(s.files()) {}

  const ByteSource& source;
  const std::vector<ByteRun>& runs;
  const ChecksumLimits limits;
  const std::size_t files;
  std::size_t pairs = 0;  // file 0 with files 1..pairs
  std::vector<CandidateField> fields;
  std::vector<bool> done;            // fields explained already
  std::map<unsigned, double> tried;  // candidate comparisons per width
  ChecksumSearch result;

  // The first byte of the stretch of bytes equal in every file that ends at `s`.
  std::uint64_t stretchStart(std::uint64_t s) const;
  // The first changing byte at or after `b`, else the length.
  std::uint64_t nextChanging(std::uint64_t b) const;
  // The checksum `c` of bytes [first, end) of `file`, the field read as zeros or blanks when
  // `c` is around it.
  std::uint64_t checksumOf(std::size_t file, const ChecksumCandidate& c, std::uint64_t first,
                           std::uint64_t end, const CandidateField& field) const;

 private:
  // Sums of ranges that do not hold their field, by file, parameters and range: many fields'
  // hits share them.
  using SumKey =
      std::tuple<std::size_t, int, unsigned, unsigned, bool, int, std::uint64_t, std::uint64_t>;
  mutable std::map<SumKey, std::uint64_t> sums_;
};

// (x - y) mod m.
inline std::uint64_t modDiff(std::uint64_t x, std::uint64_t y, std::uint64_t m) {
  return (x % m + m - y % m) % m;
}

#endif  // OVRELL_EXPLAIN_CHECKSUM_SEARCH_H_
