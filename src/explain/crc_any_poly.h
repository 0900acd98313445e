// The any-polynomial CRC search: for the fields still unexplained that end
// a changing run, over ranges that end just before them and start at that
// run or one of the two before it, of at most `maxFreeRange` bytes, each of
// the four reflections is solved over GF(2) (crc_solver.h): the differences
// between file 0 and up to four others give relations whose common factor
// holds every polynomial that fits them all. Each such polynomial is then
// fitted as a CRC shape (crc_range.h). Fields of 64 bits are left out.
//
// Every solve counts as 2^width candidates in the evidence.
#ifndef OVRELL_EXPLAIN_CRC_ANY_POLY_H_
#define OVRELL_EXPLAIN_CRC_ANY_POLY_H_

#include "explain/checksum_search.h"

void findAnyPolynomial(SearchState& search);

#endif  // OVRELL_EXPLAIN_CRC_ANY_POLY_H_
