#include "explain/text_runs.h"

#include <algorithm>

bool isPrintableRun(const RunWindow& w) {
  const std::uint64_t offset = w.offset(), length = w.length();
  return std::all_of(w.bytes.begin(), w.bytes.end(), [&](const auto& file) {
    return std::all_of(file.begin() + offset, file.begin() + offset + length,
                       [](unsigned char c) { return (c >= 0x20 && c < 0x7f) || c == 0; });
  });
}
