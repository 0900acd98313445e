// The bit algebra of the commonalities: which bits are uniform inside every
// group of an attribute, and which of them differ between files.
//
// Memory only, no messages. A row list holds the rows of an attribute's
// files group after group, in the index's iteration order, `groupSizes`
// telling how many belong to each group.
#ifndef OVRELL_ENGINE_COMMONALITIES_H_
#define OVRELL_ENGINE_COMMONALITIES_H_

#include <cstdint>
#include <vector>

#include "engine/buffers.h"
#include "project/attribute_index.h"

// Flattens one attribute's groups: group sizes, and the block rows of the
// group's files, group after group in the index's iteration order.
void collectGroups(const ValueGroups& valueIndex, const ArrayBuff& block,
                   std::vector<unsigned int>& groupSizes,
                   std::vector<unsigned long long*>& rowPointers);
// mask = bits uniform inside every group of two or more files.
void commonalities(std::vector<unsigned int>& groupSizes,
                   std::vector<unsigned long long*>& rowPointers, ArrayBuff& block,
                   VectorBuff& mask);
// Clears in the mask every bit that is equal in all listed rows (all bits
// when fewer than two rows are listed).
void exclude(ArrayBuff& block, std::vector<unsigned long long*>& rowPointers, VectorBuff& mask);
// commonalities and exclude of `count` mask words from `rows`: rows[k]
// points at the first of the words of the k-th row of rowPointers' order.
void commonalitiesOfWords(const std::vector<unsigned int>& groupSizes,
                          const std::vector<const Word*>& rows, Word* mask, std::uint64_t count);
void excludeOfWords(const std::vector<const Word*>& rows, Word* mask, std::uint64_t count);

#endif  // OVRELL_ENGINE_COMMONALITIES_H_
