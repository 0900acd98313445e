// CRCs around their field: the range holds the field, read as zeros (as a
// GPT header holds its own CRC-32). The scan cannot find them: taking the
// field out of the files' differences depends on how far the range runs
// past it, which no precomputed target holds. So for each field of 16, 32
// or 64 bits still unexplained after the scan, each CRC shape of the
// catalogue of its width is run straight over the differences of file 0
// with up to three others, the field zeroed, from the start of the field's
// run or one of the two runs before it to the end of a run after the field
// (the field's own or one of the next two), at most `maxFreeRange` bytes;
// where the register differences equal the field's (either output
// reflection), the range is fitted (crc_range.h). A range that ends inside
// bytes equal everywhere after the last changing byte is not found; neither
// is a polynomial outside the catalogue.
//
// Every shape, reflection and pair of ends tried counts as a candidate in
// the evidence. The pass computes at most 64 MiB of CRCs; past that it
// stops and marks the search incomplete.
#ifndef OVRELL_EXPLAIN_CRC_AROUND_H_
#define OVRELL_EXPLAIN_CRC_AROUND_H_

#include "explain/checksum_search.h"

void findCrcsAround(SearchState& search);

#endif  // OVRELL_EXPLAIN_CRC_AROUND_H_
