// Fitting a CRC's range: a CRC shape whose register difference matched a
// field's at a range end `b`, scanned from a range start `s`, gets its range
// start, initial value and final XOR here. Bytes equal in every file fold
// into the initial value, so the start is fixed by the initial value formats
// use: the catalogue's for that shape, else all ones or zero, with a final
// XOR of all ones or zero; stepping back from `b` over file 0's bytes, the
// first start at or before `s` where the register equals that initial value
// wins. When none fits within the stretch of equal bytes before `s` (at most
// `maxStretch` bytes), the widest range and its own initial value are given.
//
// A CRC's range lies before its field or after it, not around it: the
// field's bytes differ between files, and reading them as zeros takes out a
// difference that depends on how far the range runs past the field, which
// the scan's precomputed targets cannot hold; solving for it instead costs a
// GF(2) solve per field and pair of range ends, too slow for the runs of a
// large image. Such CRCs (ext4's inode checksums are one) stay unexplained.
#ifndef OVRELL_EXPLAIN_CRC_RANGE_H_
#define OVRELL_EXPLAIN_CRC_RANGE_H_

#include <cstdint>

#include "explain/checksum_search.h"

// Fits `t` (a CRC) over a range ending at `b` that starts at or before `s`; hands the result to
// accept() (checksum_evidence.h).
void fitCrc(SearchState& search, const EngineTarget& t, std::uint64_t s, std::uint64_t b);

#endif  // OVRELL_EXPLAIN_CRC_RANGE_H_
