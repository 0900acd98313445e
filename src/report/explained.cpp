// What the writers share about the explanation: where the checksums lie in
// the findings' offsets, and the colour of each kind of field.
#include <algorithm>

#include "report/report_writer.h"

namespace {

// The file's own offset of byte `offset` as the scan saw it (-e reverses
// whole chunks; a shorter tail stays as it is).
std::uint64_t fileOffset(const ReportRun& run, std::uint64_t offset) {
  const std::uint64_t chunk = run.chunkSize;
  if (chunk <= 1 || offset >= run.fileSize - run.fileSize % chunk) return offset;
  return offset - offset % chunk + (chunk - 1 - offset % chunk);
}

}  // namespace

const ChecksumField* checksumHolding(const ReportRun& run, std::uint64_t first,
                                     std::uint64_t last) {
  if (run.explanation == nullptr) return nullptr;
  const std::vector<ChecksumField>& checksums = run.explanation->checksums;
  const ChecksumField* holder = nullptr;
  for (std::uint64_t offset = first; offset <= last; ++offset) {
    const std::uint64_t at = fileOffset(run, offset);
    const auto it =
        std::upper_bound(checksums.begin(), checksums.end(), at,
                         [](std::uint64_t o, const auto& c) { return o < c.firstByte; });
    if (it == checksums.begin() || std::prev(it)->lastByte < at) return nullptr;
    if (holder != nullptr && holder != &*std::prev(it)) return nullptr;
    holder = &*std::prev(it);
  }
  return holder;
}

const char* kindColour(FieldKind kind) {
  static const char* const colours[] = {"#1f77b4", "#9467bd", "#17becf", "#2ca02c",
                                        "#e377c2", "#7f7f7f", "#ff7f0e"};
  return colours[static_cast<int>(kind)];
}

const char* kindAnsi(FieldKind kind) {
  // The nearest of the terminal's colours: blue, magenta, cyan, green,
  // bright magenta, bright black, yellow.
  static const char* const codes[] = {"34", "35", "36", "32", "95", "90", "33"};
  return codes[static_cast<int>(kind)];
}
