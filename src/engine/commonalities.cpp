#include <sys/resource.h>

#include <algorithm>
#include <ostream>

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

namespace {
// Result files written at once by one read of a block.
constexpr std::uint64_t kMostOpenResults = 64;
}  // namespace

void Ovrell::doCommAllBlock(AttributeIndex& attributeIndex, std::uint64_t& start,
                            const FileList& files, ArrayBuff& block) {
  // Attributes that share standard output print one whole block each, in
  // turn, so each reads the block for itself; attributes with files of their
  // own share one read, as many at a time as can keep their files open
  // beside the data files.
  const std::size_t count = options.attributes.size();
  std::size_t batch = 1;
  if (!options.comFile.empty()) {
    rlimit limit{};
    const std::uint64_t open = getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 1024;
    const std::uint64_t spare = open > files.size() + 16 ? open - files.size() - 16 : 1;
    batch = static_cast<std::size_t>(std::min<std::uint64_t>(spare, kMostOpenResults));
  }
  for (std::size_t first = 0; first < count; first += batch)
    maskBlock(attributeIndex, files, start, block, first, std::min(count, first + batch));
  if (count == 0) readBlock(files, start, block);
}

namespace {

// Mask words computed and printed at a time: a part of a block's piece.
constexpr std::uint64_t kMaskWords = 4096;

// One attribute of a block: its groups as file numbers, and its output.
struct MaskedAttribute {
  std::vector<unsigned int> groupSizes;
  std::vector<std::size_t> files;  // group after group
  ResultFile file;
  std::ostream* out = nullptr;
};

}  // namespace

void Ovrell::maskBlock(AttributeIndex& attributeIndex, const FileList& files, std::uint64_t start,
                       ArrayBuff& block, std::size_t first, std::size_t last) {
  std::vector<MaskedAttribute> attributes(last - first);
  for (std::size_t i = first; i < last; ++i) {
    MaskedAttribute& attribute = attributes[i - first];
    for (const auto& group : *attributeIndex.find(options.attributes[i])->second) {
      attribute.groupSizes.push_back(static_cast<unsigned int>(group.second->size()));
      attribute.files.insert(attribute.files.end(), group.second->begin(), group.second->end());
    }
    attribute.out = openCommonalities(attribute.file, i);
  }
  std::vector<Word> mask(kMaskWords);
  std::vector<const Word*> rows;
  const std::uint64_t rowSize = block.rowSize;
  readBlockInTiles(files, start, block,
                   [&](std::uint64_t tile, std::uint64_t end, const std::vector<Word*>& fileRows) {
    for (std::uint64_t from = tile; from < end; from += kMaskWords) {
      const std::uint64_t words = std::min(end - from, kMaskWords);
      const std::uint64_t bytes = std::min(words * 8, rowSize - from * 8);
      for (MaskedAttribute& attribute : attributes) {
        rows.clear();
        for (std::size_t file : attribute.files) rows.push_back(fileRows[file] + (from - tile));
        commonalitiesOfWords(attribute.groupSizes, rows, mask.data(), words);
        if (options.exclude) excludeOfWords(rows, mask.data(), words);
        if (attribute.out != nullptr)
          printBitRowPart(reinterpret_cast<const unsigned char*>(mask.data()), bytes,
                          *attribute.out, from * 8 + bytes == rowSize);
      }
    }
  });
}
