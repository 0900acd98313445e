// The commonality algebra; contracts in engine/commonalities.h.
#include "engine/commonalities.h"

#include <algorithm>

void collectGroups(const ValueGroups& valueIndex, const ArrayBuff& block,
                   std::vector<unsigned int>& groupSizes,
                   std::vector<unsigned long long*>& rowPointers) {
  groupSizes.clear();
  rowPointers.clear();
  for (const auto& group : valueIndex) {
    groupSizes.push_back(static_cast<unsigned int>(group.second->size()));
    for (std::uint32_t file : *group.second) rowPointers.push_back(rowWords(block, file));
  }
}

void commonalities(std::vector<unsigned int>& groupSizes,
                   std::vector<unsigned long long*>& rowPointers, ArrayBuff& block,
                   VectorBuff& mask) {
  const std::vector<const Word*> rows(rowPointers.begin(), rowPointers.end());
  commonalitiesOfWords(groupSizes, rows, maskWords(mask), wordsOf(block.rowSize));
}

void commonalitiesOfWords(const std::vector<unsigned int>& groupSizes,
                          const std::vector<const Word*>& rows, Word* mask, std::uint64_t count) {
  bool first = true;  // the first pair sets the mask, the others narrow it
  std::size_t p = 0;
  for (unsigned int size : groupSizes) {
    for (unsigned int t = 0; t + 1 < size; ++t) {
      const Word* a = rows[p + t];
      const Word* b = rows[p + t + 1];
      if (first)
        for (std::uint64_t i = 0; i < count; ++i) mask[i] = ~(a[i] ^ b[i]);
      else
        for (std::uint64_t i = 0; i < count; ++i) mask[i] &= ~(a[i] ^ b[i]);
      first = false;
    }
    p += size;
  }
  if (first) std::fill(mask, mask + count, ~0ULL);
}

void exclude(ArrayBuff& block, std::vector<unsigned long long*>& rowPointers, VectorBuff& mask) {
  const std::vector<const Word*> rows(rowPointers.begin(), rowPointers.end());
  excludeOfWords(rows, maskWords(mask), wordsOf(block.rowSize));
}

void excludeOfWords(const std::vector<const Word*>& rows, Word* mask, std::uint64_t count) {
  // A bit differs between the rows when it differs from the first row's in
  // one of them; row by row over a stretch of words, which vectorises.
  constexpr std::uint64_t kStretch = 256;
  Word differs[kStretch];
  for (std::uint64_t base = 0; base < count; base += kStretch) {
    const std::uint64_t n = std::min(kStretch, count - base);
    differencesOf(rows, base, n, differs);
    for (std::uint64_t i = 0; i < n; ++i) mask[base + i] &= differs[i];
  }
}
