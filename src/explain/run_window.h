// The bytes a run's classification looks at: the run and up to `margin`
// bytes on either side, in every file, read once (at most 64 KiB per file),
// with the integers that cover the run.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_RUN_WINDOW_H_
#define OVRELL_EXPLAIN_RUN_WINDOW_H_

#include <cstdint>
#include <string>
#include <vector>

#include "explain/byte_source.h"

struct RunWindow {
  std::vector<std::vector<unsigned char>> bytes;  // per file, from `base`
  std::uint64_t base = 0;
  ByteRun run{0, 0};

  std::uint64_t offset() const { return run.first - base; }  // the run in `bytes`
  std::uint64_t length() const { return run.last + 1 - run.first; }
  std::uint64_t end() const { return base + bytes[0].size(); }  // past the window
};

// REQUIRES: run inside the files; at least one file. The run is cut to what was read.
RunWindow readRunWindow(const ByteSource& source, const ByteRun& run, std::uint64_t margin);

// The integer of `width` bytes at `at` in `bytes`.
std::uint64_t integerAt(const std::vector<unsigned char>& bytes, std::size_t at, unsigned width,
                        bool big);

// Calls visit(position, bigEndian, values in file order) for every integer of `width` bytes
// (either byte order) that covers the run, until it returns true; returns whether one did.
template <typename Visit>
bool forEachCover(const RunWindow& w, unsigned width, Visit&& visit) {
  const ByteRun& run = w.run;
  if (width < w.length()) return false;
  for (std::uint64_t p = run.last + 1 >= w.base + width ? run.last + 1 - width : w.base;
       p <= run.first && p + width <= w.end(); ++p)
    for (bool big : {false, true}) {
      if (width == 1 && big) continue;
      std::vector<std::uint64_t> values;
      for (const auto& file : w.bytes) values.push_back(integerAt(file, p - w.base, width, big));
      if (visit(p, big, values)) return true;
    }
  return false;
}

// The name of an integer encoding: "u8", "u16le", "u32be", ...
std::string integerEncoding(unsigned width, bool big);

#endif  // OVRELL_EXPLAIN_RUN_WINDOW_H_
