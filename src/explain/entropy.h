// Random bytes: a changing run of at least 16 bytes whose values, over all
// files, spread as uniformly as random bytes do (a chi-square test over the
// 256 values, or when too few bytes for it, about as many distinct values
// as random bytes would show) and whose bytes agree between file 0 and each
// other file at most about as often as chance (1 in 256, with slack). Keys,
// UUIDs, nonces, compressed and encrypted data look so.
//
// Pure, over a RunWindow (run_window.h).
#ifndef OVRELL_EXPLAIN_ENTROPY_H_
#define OVRELL_EXPLAIN_ENTROPY_H_

#include "explain/run_window.h"

bool looksRandom(const RunWindow& w);

#endif  // OVRELL_EXPLAIN_ENTROPY_H_
