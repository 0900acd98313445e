// The quadratic dissimilarity kernel: the same column values as the linear
// one (engine/linear_dissimilarities.h), from one counter per pair of
// groups, which carries from block to block of one attribute. A value width
// other than 1, 2, 4 or 8 ends the run.
#ifndef OVRELL_ENGINE_QUADRATIC_DISSIMILARITIES_H_
#define OVRELL_ENGINE_QUADRATIC_DISSIMILARITIES_H_

#include <cstdint>

#include "engine/buffers.h"

// Set-up of one attribute: every pair counter becomes 1.
void resetPairCounters(VectorBuff& pairs, unsigned valueWidth);
// The column values from the counters of the pairs of the rows.rows group
// rows.
void quadraticColumns(const ArrayBuff& rows, VectorBuff& pairs, VectorBuff& columnValues,
                      std::uint64_t columns, unsigned valueWidth);

#endif  // OVRELL_ENGINE_QUADRATIC_DISSIMILARITIES_H_
