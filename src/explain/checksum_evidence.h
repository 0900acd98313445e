// The evidence of the checksum finder: a candidate that fitted one file is
// checked byte for byte in every file, and comes with the probability that a
// wrong explanation of its width would hold in every file by chance,
// counting every candidate comparison made for that width over every field
// (2^-bits per distinct value past the first, times the candidates). Below
// the limit it is a finding and its field is done, unless a likelier one may
// follow: a sum of no more bytes than the field is a copy of another field
// (a zip's central directory copies its local headers' CRCs), and a CRC
// whose initial value is neither zero nor all ones may be one around its
// field; at or above the limit, it is listed as too few files to tell.
// A sum or XOR that holds only because bytes repeat is no finding: an XOR
// whose changing bytes (the field's with them) cancel in pairs, each taken
// as its change from the first file (CRCs of equal-length data seeded alike
// differ by a constant), or a sum of one changing word or copies of one.
//
// Of the findings, one explanation per byte is kept: named CRCs, then CRCs
// with the initial values formats use, then wider fields, then sums with
// their field after their range, before it, around it; the shorter range
// first. Two explanations where each one's range holds the other's field
// conflict too (a checksum over its own range's checksum is a consequence).
#ifndef OVRELL_EXPLAIN_CHECKSUM_EVIDENCE_H_
#define OVRELL_EXPLAIN_CHECKSUM_EVIDENCE_H_

#include <cstdint>
#include <vector>

#include "explain/checksum_search.h"

// Checks `c` over [first, end) against `field` in every file; records it as a finding or as too
// few files to tell.
void accept(SearchState& search, const CandidateField& field, const ChecksumCandidate& c,
            std::uint64_t first, std::uint64_t end);

// The findings without conflicts, ascending firstByte.
std::vector<ChecksumField> keepLikeliest(std::vector<ChecksumField> found);

#endif  // OVRELL_EXPLAIN_CHECKSUM_EVIDENCE_H_
