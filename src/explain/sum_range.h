// Fitting the range of a sum, an XOR, Adler-32 or Fletcher: a candidate
// whose difference matched a field's at a range end `b`, scanned from a
// range start `s`, gets its exact range here, checked on file 0 and then
// handed to accept() (checksum_evidence.h).
//
// Adler-32 and Fletcher grow their range backwards word by word from the
// changing bytes until their value matches. A sum or XOR cannot tell where
// its range starts or ends inside bytes equal everywhere: it ends just
// before its field when that fits, else at the nearest end that fits, and
// starts at the nearest start that fits, moved over zero words (for 8-bit
// sums over varied constant bytes the start is a guess). Ranges around their
// field count its bytes as zeros, or as blanks for octal text. A sum or XOR
// whose range is no longer than its field is a copy, and one whose range
// holds a copy of its field (the same bytes in every file) holds whenever
// the rest cancels: neither is claimed. At most
// 64 KiB of equal bytes are walked on either side.
#ifndef OVRELL_EXPLAIN_SUM_RANGE_H_
#define OVRELL_EXPLAIN_SUM_RANGE_H_

#include <cstdint>

#include "explain/checksum_search.h"

void fitSum(SearchState& search, const EngineTarget& t, std::uint64_t s, std::uint64_t b);

#endif  // OVRELL_EXPLAIN_SUM_RANGE_H_
