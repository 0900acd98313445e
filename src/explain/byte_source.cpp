#include "explain/byte_source.h"

namespace {
constexpr std::uint64_t kWindow = 1 << 16;
}  // namespace

std::vector<ByteRun> changingRuns(const ByteSource& source) {
  std::vector<ByteRun> runs;
  const std::size_t n = source.files();
  std::vector<std::vector<unsigned char>> windows(n, std::vector<unsigned char>(kWindow));
  for (std::uint64_t start = 0; start < source.length(); start += kWindow) {
    const std::uint64_t size = std::min(kWindow, source.length() - start);
    for (std::size_t f = 0; f < n; ++f) source.read(f, start, size, windows[f].data());
    for (std::uint64_t b = 0; b < size; ++b) {
      bool differs = false;
      for (std::size_t f = 1; f < n && !differs; ++f) differs = windows[f][b] != windows[0][b];
      if (!differs) continue;
      const std::uint64_t at = start + b;
      if (!runs.empty() && runs.back().last + 1 == at)
        runs.back().last = at;
      else
        runs.push_back({at, at});
    }
  }
  return runs;
}
