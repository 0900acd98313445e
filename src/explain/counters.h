// Counters: an integer of 1, 2, 4 or 8 bytes, either byte order, covering a
// changing run, that strictly rises or falls with the files' order, or with
// a numeric attribute of the project (files with equal values of the
// attribute in any order among themselves).
//
// Evidence: claimed only when a random order would do so with probability
// below one in a million, times 16 for the positions and encodings tried
// (2 / N! for N files in order; for an attribute, 2 times the product of
// the factorials of its groups' sizes over N!, per attribute tried). The
// counter's width is the widest whose bytes outside the run are zero in
// every file, else the narrowest.
//
// Pure, over a RunWindow (run_window.h) of at least 7 bytes on either side.
#ifndef OVRELL_EXPLAIN_COUNTERS_H_
#define OVRELL_EXPLAIN_COUNTERS_H_

#include <vector>

#include "explain/kinds.h"
#include "explain/run_window.h"
#include "explain/values.h"

// A counter in the files' order: fills `out` (kind, field, encoding, rising) and returns true.
bool findCounter(const RunWindow& w, RunClass& out);

// A counter rising or falling with one of `attributes` whose values are all numbers, not all
// equal: fills `out` as findCounter does, with the attribute's name.
bool findCounterByAttribute(const RunWindow& w, const std::vector<AttributeValues>& attributes,
                            RunClass& out);

#endif  // OVRELL_EXPLAIN_COUNTERS_H_
