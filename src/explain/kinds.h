// What a changing run is when no checksum or attribute value explains it: a
// counter, a timestamp, text, random bytes, or unexplained. Each family has
// its own unit, which states its evidence; classifyRun only dispatches:
//
// - counter (counters.h): an integer covering the run that strictly rises
//   or falls with a numeric attribute of the project (when attributes are
//   given, the first that fits) or with the files' order. A rising time is
//   a counter.
// - timestamp (timestamps.h): Unix seconds or milliseconds, FAT/DOS date
//   and time, ASCII dates and Unix seconds as text, between 1980 and 2100,
//   clustered in the bytes that change (timestamps.h).
// - text (text_runs.h): printable ASCII in every file.
// - random (entropy.h): at least 16 bytes that look uniformly random.
// - unexplained: none of these.
//
// Integers are tried for runs of at most 8 bytes that hold no text (a run
// of one printable byte counts as no text); dates for text runs of at most
// 24 bytes.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_KINDS_H_
#define OVRELL_EXPLAIN_KINDS_H_

#include <cstdint>
#include <string>

#include "explain/byte_source.h"
#include "explain/values.h"

enum class RunKind { kCounter, kTimestamp, kText, kRandom, kUnexplained };

struct RunClass {
  RunKind kind = RunKind::kUnexplained;
  std::uint64_t firstByte = 0;  // the field, inclusive: the run, widened to the integer's width
  std::uint64_t lastByte = 0;
  // counters and timestamps: "u32le", ..., "unix-ms-be", "dos", "ascii:YYYY-MM-DD", ...
  std::string encoding;
  bool rising = true;         // counters
  std::int64_t earliest = 0;  // timestamps, Unix seconds
  std::int64_t latest = 0;
  std::string attribute;  // counters: the attribute they follow, or empty for the files' order
};

const char* runKindName(RunKind kind);  // "counter", "timestamp", "text", "random", "unexplained"

// REQUIRES: run inside the files; at most 64 KiB of it are read per file.
RunClass classifyRun(const ByteSource& source, const ByteRun& run);
// The same, with counters that follow a numeric attribute tried first.
// REQUIRES: as above; attributes' values one per file.
RunClass classifyRun(const ByteSource& source, const ByteRun& run,
                     const std::vector<AttributeValues>& attributes);

#endif  // OVRELL_EXPLAIN_KINDS_H_
