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
  const std::vector<const Word*> rows(rowPointers.begin(), rowPointers.end());
  commonalitiesOfWords(groupSizes, rows, maskWords(mask), wordsOf(block.rowSize));
}

void Ovrell::commonalitiesOfWords(const std::vector<unsigned int>& groupSizes,
                                  const std::vector<const Word*>& rows, Word* mask,
                                  std::uint64_t count) {
  std::fill(mask, mask + count, ~0ULL);
  std::size_t p = 0;
  for (unsigned int size : groupSizes) {
    for (unsigned int t = 0; t + 1 < size; ++t) {
      const Word* a = rows[p + t];
      const Word* b = rows[p + t + 1];
      for (std::uint64_t i = 0; i < count; ++i) mask[i] &= ~(a[i] ^ b[i]);
    }
    p += size;
  }
}

void Ovrell::exclude(ArrayBuff& block, std::vector<unsigned long long*>& rowPointers,
                     VectorBuff& mask) {
  const std::vector<const Word*> rows(rowPointers.begin(), rowPointers.end());
  excludeOfWords(rows, maskWords(mask), wordsOf(block.rowSize));
}

void Ovrell::excludeOfWords(const std::vector<const Word*>& rows, Word* mask, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    Word differs = 0;
    for (std::size_t k = 1; k < rows.size(); ++k) differs |= rows[k - 1][i] ^ rows[k][i];
    mask[i] &= differs;
  }
}

void Ovrell::doCommAllBlock(AttributeIndex& attributeIndex, std::uint64_t& start,
                            const FileList& files, ArrayBuff& block, VectorBuff& mask) {
  std::vector<unsigned int> groupSizes;
  std::vector<unsigned long long*> rowPointers;
  std::vector<std::size_t> fileAt;  // the file of each entry of rowPointers
  std::vector<const Word*> rows;
  const std::uint64_t pitch = pitchOf(block.rowSize);
  // The first attribute's mask is computed tile by tile as the block comes
  // in (from the tile buffer when it is the only one); the later ones from
  // the whole block in memory.
  for (std::size_t i = 0; i < options.attributes.size(); ++i) {
    const ValueGroups& valueIndex = *attributeIndex.find(options.attributes[i])->second;
    collectGroups(valueIndex, block, groupSizes, rowPointers);
    fileAt.clear();
    for (const Word* row : rowPointers)
      fileAt.push_back((reinterpret_cast<const unsigned char*>(row) - block.data) / pitch);
    auto maskTile = [&](std::uint64_t first, std::uint64_t end,
                        const std::vector<Word*>& fileRows) {
      rows.clear();
      for (std::size_t file : fileAt) rows.push_back(fileRows[file]);
      commonalitiesOfWords(groupSizes, rows, maskWords(mask) + first, end - first);
      if (options.exclude) excludeOfWords(rows, maskWords(mask) + first, end - first);
    };
    if (i == 0) {
      readBlockInTiles(files, start, block, options.attributes.size() > 1, maskTile);
    } else {
      std::vector<Word*> fileRows;
      for (std::size_t f = 0; f < files.size(); ++f) fileRows.push_back(rowWords(block, f));
      maskTile(0, wordsOf(block.rowSize), fileRows);
    }
    writeCommonalities(mask, i);
  }
  if (options.attributes.empty()) readBlock(files, start, block);
}
