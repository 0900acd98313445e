// The linear dissimilarity kernel: for each column of the masked bits, the
// longest agreement of any two groups over the columns from it to the
// newest, in time linear in the groups.
//
// The groups are nodes of two lists (engine/single_list.h) that carry from
// column to column and from block to block of one attribute. Lists that
// cannot be walked end the run (brokenLinkage).
#ifndef OVRELL_ENGINE_LINEAR_DISSIMILARITIES_H_
#define OVRELL_ENGINE_LINEAR_DISSIMILARITIES_H_

#include <cstdint>

#include "engine/buffers.h"
#include "engine/single_list.h"

// Set-up of one attribute: node g points at group row g, has run 0 and is
// pushed in front of the zeros list, g = 0 first. The lists are not emptied
// first.
void pushGroupNodes(NodeType* nodes, const ArrayBuff& rows, std::uint64_t groupCount,
                    single_list<NodeType>& zeros);
// One column: bit `bitIndex` of byte `byteIndex` of every group row.
// Afterwards the zeros list followed by the ones list is the stable
// partition of the old order by that bit, and each run is the agreement of
// a node with its successor.
void dissimDoColumn(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                    const unsigned long long& byteIndex, const unsigned int& bitIndex);
// Column value N - 1 - k (in valueWidth bytes) = the largest run after
// column k, for k = 0 .. N - 1.
void linearColumns(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                   VectorBuff& columnValues, std::uint64_t columns, unsigned valueWidth);

#endif  // OVRELL_ENGINE_LINEAR_DISSIMILARITIES_H_
