// What a changing run is when no checksum or attribute value explains it: a
// counter, a timestamp, text, random bytes, or unexplained.
//
// - counter: an integer of 1, 2, 4 or 8 bytes, either byte order, covering
//   the run, that strictly rises or falls with the files' order; claimed only
//   when a random order would do so with probability below one in a million
//   (2 / N! for N files). Its width is the widest whose bytes outside the run
//   are zero in every file, else the narrowest. A rising time is a counter.
// - timestamp: Unix seconds (4 or 8 bytes) or milliseconds (8 bytes) between
//   1980 and 2100 in every file, all within ten years of each other, or a
//   FAT/DOS date and time (4 bytes: time then date, little-endian), for runs
//   of at most 8 bytes that hold no text. The spread is weak evidence when
//   the top bytes are the same in every file: a label, not a value claim.
//   The earliest and latest are given as Unix seconds.
// - text: printable ASCII in every file.
// - random: at least 16 bytes whose values, over all files, spread as
//   uniformly as random bytes do (a chi-square test over the 256 values) and
//   whose bytes differ between every two files at most as often as chance.
// - unexplained: none of these.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_KINDS_H_
#define OVRELL_EXPLAIN_KINDS_H_

#include <cstdint>
#include <string>

#include "explain/byte_source.h"

enum class RunKind { kCounter, kTimestamp, kText, kRandom, kUnexplained };

struct RunClass {
  RunKind kind = RunKind::kUnexplained;
  std::uint64_t firstByte = 0;  // the field, inclusive: the run, widened to the integer's width
  std::uint64_t lastByte = 0;
  std::string encoding;       // counters and timestamps: "u32le", ..., "unix-ms-be", "dos"
  bool rising = true;         // counters
  std::int64_t earliest = 0;  // timestamps, Unix seconds
  std::int64_t latest = 0;
};

const char* runKindName(RunKind kind);  // "counter", "timestamp", "text", "random", "unexplained"

// REQUIRES: run inside the files; at most 64 KiB of it are read per file.
RunClass classifyRun(const ByteSource& source, const ByteRun& run);

#endif  // OVRELL_EXPLAIN_KINDS_H_
