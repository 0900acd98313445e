// Timestamps: a changing run that holds, in every file, a time between 1980
// and 2100, all within ten years of each other. The earliest and latest are
// given as Unix seconds (UTC).
//
// - Integers covering a run of at most 8 bytes that holds no text: Unix
//   seconds (4 or 8 bytes) or milliseconds (8 bytes), either byte order, the
//   run at the field's low end; or a FAT/DOS date and time (4 bytes: time
//   then date, little-endian), preferred when it fits. Of several readings
//   the narrowest spread wins (times cluster). The evidence is in the bytes
//   that change, at least two: the values cluster (random bytes there would
//   land in their spread, per distinct value past the first, with chance
//   below one in a million) with no gap wider than half the spread between
//   them (two clusters are another field's two values over random bytes).
//   Bytes the same in every file read as any time and prove nothing.
// - ASCII text covering a run of at most 24 printable bytes: a date, with or
//   without a time, in one of the formats below, its fields in range in
//   every file (encoding "ascii:" then the format); or Unix seconds as
//   decimal (9 to 11 digits) or octal text (11 digits, tar's), encodings
//   "ascii-dec-unix" and "ascii-oct-unix". A date counts when a random text
//   of digits (and any separators) would read as one of its kind in every
//   file with probability below one in a million, counting the formats and
//   positions tried; the longest format that fits is given.
//
// Pure, over a RunWindow (run_window.h) of at least 24 bytes on either side.
#ifndef OVRELL_EXPLAIN_TIMESTAMPS_H_
#define OVRELL_EXPLAIN_TIMESTAMPS_H_

#include <cstdint>

#include "explain/kinds.h"
#include "explain/run_window.h"

// A binary time: fills `out` (kind, field, encoding, earliest, latest) and returns true.
bool findBinaryTimestamp(const RunWindow& w, RunClass& out);
// A time written as text: likewise.
bool findTextTimestamp(const RunWindow& w, RunClass& out);

// Unix seconds of a civil date and time (proleptic Gregorian, UTC).
std::int64_t unixSeconds(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                         unsigned second);

#endif  // OVRELL_EXPLAIN_TIMESTAMPS_H_
