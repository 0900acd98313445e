// Checksums written as octal ASCII text, as tar writes its header's: in
// every file the same length of at most 12 bytes, blanks, octal digits, then
// NULs or blanks, starting at most 12 bytes before a changing run and
// reaching into it. Such a field is read as a 32-bit sum of bytes whose
// evidence is three bits per digit.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_OCTAL_FIELDS_H_
#define OVRELL_EXPLAIN_OCTAL_FIELDS_H_

#include <vector>

#include "explain/byte_source.h"
#include "explain/checksum_fields.h"

// Appends to `out` the octal text fields in or next to `run` whose value changes.
void collectOctalFields(const ByteSource& source, const ByteRun& run,
                        std::vector<CandidateField>& out);

#endif  // OVRELL_EXPLAIN_OCTAL_FIELDS_H_
