// A found checksum recomputed over a file held in memory, and written back
// into its field the way the field stores it.
//
// The value is computed over the field's range; when the range holds the
// field itself, the field's bytes count as zeros (as blanks for octal text),
// as the checksum finder found them. A field of N bytes holds the value as
// an N-byte integer, little- or big-endian; octal text keeps the layout of
// the text it replaces: the digits (and leading blanks) are rewritten in
// place, zero-padded (blank-padded when the old text had leading blanks),
// and whatever stands around them (a NUL, a blank) stays.
//
// Pure: works on the caller's buffer, prints nothing.
#ifndef OVRELL_PATCH_CHECKSUM_FIX_H_
#define OVRELL_PATCH_CHECKSUM_FIX_H_

#include <cstdint>
#include <vector>

#include "explain/checksum_finder.h"

// The checksum of `field` over `file` as it is now. REQUIRES: the field and
// its range inside `file`.
std::uint64_t computeChecksum(const ChecksumField& field, std::vector<unsigned char>& file);

// The field's bytes holding `value`, with `now` (the field's present bytes)
// as the layout of octal text. Empty when the value does not fit the text.
std::vector<unsigned char> encodeChecksum(const ChecksumField& field, std::uint64_t value,
                                          const std::vector<unsigned char>& now);

// Recomputes the checksum and writes it into its field; false when the value
// does not fit the field's text.
bool fixChecksum(const ChecksumField& field, std::vector<unsigned char>& file);

// Whether the field holds the checksum of its range.
bool checksumHolds(const ChecksumField& field, std::vector<unsigned char>& file);

// The order in which to fix `fields`: a field whose range holds another's
// field comes after it. Fields caught in a cycle come last, ascending.
std::vector<std::size_t> fixOrder(const std::vector<ChecksumField>& fields);

#endif  // OVRELL_PATCH_CHECKSUM_FIX_H_
