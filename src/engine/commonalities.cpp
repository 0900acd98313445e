#include <algorithm>

#include "engine/ovrell.h"

void Ovrell::collectGroups(const ValueGroups& valueIndex, const ArrayBuff& block,
                           std::vector<unsigned int>& groupSizes,
                           std::vector<unsigned long long*>& rowPointers) {
  groupSizes.clear();
  rowPointers.clear();
  for (const auto& group : valueIndex) {
    groupSizes.push_back(static_cast<unsigned int>(group.second->size()));
    for (std::uint32_t file : *group.second) rowPointers.push_back(rowWords(block, file));
  }
}

void Ovrell::commonalities(std::vector<unsigned int>& groupSizes,
                           std::vector<unsigned long long*>& rowPointers, ArrayBuff& block,
                           VectorBuff& mask) {
  const std::uint64_t words = wordsOf(block.rowSize);
  Word* out = maskWords(mask);
  std::fill(out, out + words, ~0ULL);
  std::size_t p = 0;
  for (unsigned int size : groupSizes) {
    for (unsigned int t = 0; t + 1 < size; ++t) {
      const Word* a = rowPointers[p + t];
      const Word* b = rowPointers[p + t + 1];
      for (std::uint64_t i = 0; i < words; ++i) out[i] &= ~(a[i] ^ b[i]);
    }
    p += size;
  }
}

void Ovrell::exclude(ArrayBuff& block, std::vector<unsigned long long*>& rowPointers,
                     VectorBuff& mask) {
  const std::uint64_t words = wordsOf(block.rowSize);
  Word* out = maskWords(mask);
  for (std::uint64_t i = 0; i < words; ++i) {
    Word differs = 0;
    for (std::size_t k = 1; k < rowPointers.size(); ++k)
      differs |= rowPointers[k - 1][i] ^ rowPointers[k][i];
    out[i] &= differs;
  }
}

void Ovrell::doCommAllBlock(AttributeIndex& attributeIndex, std::uint64_t& start,
                            const FileList& files, ArrayBuff& block, VectorBuff& mask) {
  readBlock(files, start, block);
  std::vector<unsigned int> groupSizes;
  std::vector<unsigned long long*> rowPointers;
  for (std::size_t i = 0; i < options.attributes.size(); ++i) {
    const ValueGroups& valueIndex = *attributeIndex.find(options.attributes[i])->second;
    collectGroups(valueIndex, block, groupSizes, rowPointers);
    commonalities(groupSizes, rowPointers, block, mask);
    if (options.exclude) exclude(block, rowPointers, mask);
    writeCommonalities(mask, i);
  }
}
