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

void Ovrell::exclude(ArrayBuff& block, std::vector<unsigned long long*>& rowPointers,
                     VectorBuff& mask) {
  const std::vector<const Word*> rows(rowPointers.begin(), rowPointers.end());
  excludeOfWords(rows, maskWords(mask), wordsOf(block.rowSize));
}

void Ovrell::excludeOfWords(const std::vector<const Word*>& rows, Word* mask, std::uint64_t count) {
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

namespace {
// Result files written at once by one read of a block.
constexpr std::uint64_t kMostOpenResults = 64;
}  // namespace

void Ovrell::doCommAllBlock(AttributeIndex& attributeIndex, std::uint64_t& start,
                            const DataFiles& files, ArrayBuff& block) {
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

void Ovrell::maskBlock(AttributeIndex& attributeIndex, const DataFiles& files, std::uint64_t start,
                       ArrayBuff& block, std::size_t first, std::size_t last) {
  std::vector<MaskedAttribute> attributes(last - first);
  std::uint64_t printed = 0;  // attributes with an output
  for (std::size_t i = first; i < last; ++i) {
    MaskedAttribute& attribute = attributes[i - first];
    for (const auto& group : *attributeIndex.find(options.attributes[i])->second) {
      attribute.groupSizes.push_back(static_cast<unsigned int>(group.second->size()));
      attribute.files.insert(attribute.files.end(), group.second->begin(), group.second->end());
    }
    attribute.out = openCommonalities(attribute.file, i);
    if (attribute.out != nullptr) ++printed;
  }
  // Each tile's masks are computed and formatted into its slot's text, one
  // piece per attribute, and written in order. In the ascii format a mask is
  // its own text, and is computed in place.
  const bool ascii = options.format == kAscii;
  if (maskSlots_.size() < tileSlots()) maskSlots_.resize(tileSlots());
  const std::uint64_t rowSize = block.rowSize;
  auto textRoom = [&](std::uint64_t tile, std::uint64_t end) {  // in words, per attribute
    return (formattedSizeBound(std::min(8 * end, rowSize) - 8 * tile) + 7) / 8;
  };
  // The texts of a tile, one after the other, are its slot's scratch.
  auto compute = [&](unsigned slotIndex, std::uint64_t tile, std::uint64_t end,
                     const std::vector<Word*>& fileRows) {
    MaskSlot& slot = maskSlots_[slotIndex];
    Word* const texts = tileScratch(slotIndex);
    const std::uint64_t room = textRoom(tile, end);
    if (slot.mask.size() < kMaskWords) slot.mask.resize(kMaskWords);
    slot.sizes.assign(attributes.size(), 0);
    const std::uint64_t part = ascii ? end - tile : kMaskWords;
    for (std::uint64_t from = tile; from < end; from += part) {
      const std::uint64_t words = std::min(end - from, part);
      const std::uint64_t bytes = std::min(words * 8, rowSize - from * 8);
      for (std::size_t a = 0, out = 0; a < attributes.size(); ++a) {
        MaskedAttribute& attribute = attributes[a];
        if (attribute.out == nullptr) continue;  // its piece is lost
        char* text = reinterpret_cast<char*>(texts + out * room) + slot.sizes[a];
        Word* mask = ascii ? texts + out * room : slot.mask.data();
        slot.rows.clear();
        for (std::size_t file : attribute.files)
          slot.rows.push_back(fileRows[file] + (from - tile));
        commonalitiesOfWords(attribute.groupSizes, slot.rows, mask, words);
        if (options.exclude) excludeOfWords(slot.rows, mask, words);
        ++out;
        slot.sizes[a] += ascii ? bytes
                               : formatBitRowPart(reinterpret_cast<const unsigned char*>(mask),
                                                  bytes, from * 8 + bytes == rowSize, text);
      }
    }
  };
  auto commit = [&](unsigned slotIndex, std::uint64_t tile, std::uint64_t end,
                    const std::vector<Word*>&) {
    const MaskSlot& slot = maskSlots_[slotIndex];
    const Word* const texts = tileScratch(slotIndex);
    const std::uint64_t room = textRoom(tile, end);
    for (std::size_t a = 0, out = 0; a < attributes.size(); ++a) {
      if (attributes[a].out == nullptr) continue;
      putFormatted(reinterpret_cast<const char*>(texts + out++ * room), slot.sizes[a],
                   std::min(8 * end, rowSize) - 8 * tile, *attributes[a].out);
    }
  };
  // A text takes perByte bytes per byte of the tile and at most two words
  // more (formattedSizeBound).
  const std::uint64_t perByte = formattedSizeBound(1) - formattedSizeBound(0);
  TileSteps steps{compute, perByte * printed, commit};
  steps.scratchPerTile = 2 * printed;
  readBlockInTiles(files, start, block, steps);
}
