#include "explain/entropy.h"

#include <algorithm>
#include <cmath>
#include <vector>

// Random bytes: every value about as often as chance has it, and two files seldom agree.
bool looksRandom(const RunWindow& w) {
  const auto& bytes = w.bytes;
  const std::uint64_t offset = w.offset(), length = w.length();
  if (length < 16) return false;
  std::vector<double> counts(256, 0);
  std::uint64_t agreements = 0, total = 0;
  for (std::size_t f = 0; f < bytes.size(); ++f)
    for (std::uint64_t i = offset; i < offset + length; ++i) {
      ++counts[bytes[f][i]];
      if (f > 0) agreements += bytes[f][i] == bytes[0][i], ++total;
    }
  const double n = static_cast<double>(bytes.size() * length), expected = n / 256;
  if (agreements > total / 32 + 2) return false;
  if (expected < 5) {  // too few bytes for the chi-square: most values seen once at most
    const double distinct = static_cast<double>(
        std::count_if(counts.begin(), counts.end(), [](double c) { return c > 0; }));
    return distinct >= 256 * (1 - std::exp(-n / 256)) * 0.8;
  }
  double chiSquare = 0;
  for (double c : counts) chiSquare += (c - expected) * (c - expected) / expected;
  return chiSquare < 255 + 5 * std::sqrt(2 * 255.0);
}
