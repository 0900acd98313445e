// The candidate fields of the checksum finder: the places in or next to the
// changing runs that might hold a checksum, with their value in every file.
//
// A binary field is 1, 2, 4 or 8 bytes inside a run (anywhere in a run of up
// to 16 bytes, within 8 bytes of either end of a longer one), little- or
// big-endian. A text field is octal ASCII (octal_fields.h). Only fields whose
// value is not the same in every file are candidates.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_CHECKSUM_FIELDS_H_
#define OVRELL_EXPLAIN_CHECKSUM_FIELDS_H_

#include <cstdint>
#include <vector>

#include "explain/byte_source.h"
#include "explain/checksum_finder.h"

// A field that might hold a checksum, with its value in every file.
struct CandidateField {
  std::uint64_t pos;
  unsigned size;
  FieldOrder order;
  std::vector<std::uint64_t> values;
  unsigned distinct;
  unsigned digits = 0;  // octal text: its digits

  unsigned width() const { return order == FieldOrder::kText ? 32 : 8 * size; }
  double evidenceBits() const { return order == FieldOrder::kText ? 3.0 * digits : 8.0 * size; }
};

// The number of distinct values of `values`.
unsigned distinctCount(std::vector<std::uint64_t> values);

// The candidate fields of `runs`, binary then octal per run.
// REQUIRES: `runs` sorted, disjoint, inside the files.
std::vector<CandidateField> collectFields(const ByteSource& source,
                                          const std::vector<ByteRun>& runs);

#endif  // OVRELL_EXPLAIN_CHECKSUM_FIELDS_H_
