// Checksums other than CRCs: additive sums of bytes or of 16- and 32-bit
// words (either byte order) with their two's and one's complement, the XOR
// of bytes or words, Adler-32, Fletcher-16 (mod 255) and Fletcher-32 (mod
// 65535 over 16-bit words).
//
// Pure computations over memory: no messages, no I/O. A range whose length
// is not a multiple of the word counts its last word as padded with zero bytes.
#ifndef OVRELL_EXPLAIN_SUMS_H_
#define OVRELL_EXPLAIN_SUMS_H_

#include <cstddef>
#include <cstdint>
#include <string>

enum class SumKind { kSum, kXor, kAdler32, kFletcher16, kFletcher32 };
enum class Complement { kNone, kTwos, kOnes };

struct SumParams {
  SumKind kind = SumKind::kSum;
  unsigned width = 8;      // bits of the result: 8, 16 or 32 (Adler-32 and Fletcher fix theirs)
  unsigned unit = 1;       // bytes per word: 1, 2 or 4
  bool bigEndian = false;  // order of the bytes in a word
  Complement complement = Complement::kNone;  // sums only
};

bool operator==(const SumParams& a, const SumParams& b);

// The word of `unit` bytes at `data` (fewer when `available` is shorter, padded with zeros).
std::uint32_t readWord(const unsigned char* data, std::size_t available, unsigned unit,
                       bool bigEndian);
std::uint64_t computeSum(const SumParams& params, const unsigned char* data, std::size_t size);

// The same checksum fed in pieces. REQUIRES: every piece but the last a whole number of words.
class SumAccumulator {
 public:
  explicit SumAccumulator(const SumParams& params);
  void feed(const unsigned char* data, std::size_t size);
  std::uint64_t value() const;

 private:
  SumParams params_;
  std::uint64_t modulus_, a_, b_ = 0;
};

// The modulus of the running sums of Adler-32 and Fletcher (0 for plain sums and XOR).
std::uint32_t sumModulus(SumKind kind);
// A short English name: "Adler-32", "sum of u16le words, two's complement", ...
std::string sumName(const SumParams& params);
// The algorithm key of the report: "sum", "xor", "adler32", "fletcher16" or "fletcher32".
const char* sumAlgorithm(SumKind kind);

#endif  // OVRELL_EXPLAIN_SUMS_H_
