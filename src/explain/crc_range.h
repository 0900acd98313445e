// Fitting a CRC's range: a CRC shape whose register difference matched a
// field's at a range end `b`, scanned from a range start `s`, gets its range
// start, initial value and final XOR here. Bytes equal in every file fold
// into the initial value, so the start is fixed by the initial value formats
// use: the catalogue's for that shape, else all ones or zero, with a final
// XOR of all ones or zero; stepping back from `b` over file 0's bytes, the
// first start at or before `s` where the register equals that initial value
// wins. When none fits within the stretch of equal bytes before `s` (at most
// `maxStretch` bytes), the widest range and its own initial value are given,
// except for 8-bit CRCs, which are then not claimed (with an initial value
// of their own they fit relations that hold because bytes repeat).
//
// A CRC around its field (crc_around.h) reads the field as zeros here too.
#ifndef OVRELL_EXPLAIN_CRC_RANGE_H_
#define OVRELL_EXPLAIN_CRC_RANGE_H_

#include <cstdint>

#include "explain/checksum_search.h"

// Fits `t` (a CRC) over a range ending at `b` that starts at or before `s`; hands the result to
// accept() (checksum_evidence.h).
void fitCrc(SearchState& search, const EngineTarget& t, std::uint64_t s, std::uint64_t b);

#endif  // OVRELL_EXPLAIN_CRC_RANGE_H_
