#include "explain/run_window.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kMaxRead = 1 << 16;

}  // namespace

RunWindow readRunWindow(const ByteSource& source, const ByteRun& run, std::uint64_t margin) {
  RunWindow w;
  w.base = run.first >= margin ? run.first - margin : 0;
  const std::uint64_t end = std::min({source.length(), run.last + 1 + margin, w.base + kMaxRead});
  w.bytes.assign(source.files(), std::vector<unsigned char>(end - w.base));
  for (std::size_t f = 0; f < source.files(); ++f)
    source.read(f, w.base, end - w.base, w.bytes[f].data());
  w.run = {run.first, std::min(run.last + 1, end) - 1};
  return w;
}

std::uint64_t integerAt(const std::vector<unsigned char>& bytes, std::size_t at, unsigned width,
                        bool big) {
  std::uint64_t value = 0;
  for (unsigned k = 0; k < width; ++k)
    value |= std::uint64_t{bytes[at + k]} << (8 * (big ? width - 1 - k : k));
  return value;
}

std::string integerEncoding(unsigned width, bool big) {
  return "u" + std::to_string(8 * width) + (width == 1 ? "" : big ? "be" : "le");
}
