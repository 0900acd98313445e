// CommonalitiesPass; contract in engine/commonalities_pass.h.
#include "engine/commonalities_pass.h"

#include <algorithm>

#include "engine/block_reader.h"
#include "engine/commonalities.h"

namespace {
// Mask words computed and printed at a time: a part of a block's piece.
constexpr std::uint64_t kMaskWords = 4096;
}  // namespace

void CommonalitiesPass::run(const DataFiles& files, AttributeIndex& attributeIndex,
                            std::uint64_t fileSize, std::uint64_t blockSize, ArrayBuff& block) {
  for (std::uint64_t end = blockSize; end <= fileSize; end += blockSize)
    maskBlock(attributeIndex, files, end - blockSize, block);
  const std::uint64_t rest = fileSize % blockSize;
  if (rest != 0) {
    block.rowSize = rest;
    maskBlock(attributeIndex, files, fileSize - rest, block);
  }
}

void CommonalitiesPass::maskBlock(AttributeIndex& attributeIndex, const DataFiles& files,
                                  std::uint64_t start, ArrayBuff& block) {
  // Attributes that share one output print one whole block each, in turn,
  // so each reads the block for itself; others share one read, as many at a
  // time as the sink can keep open.
  const std::size_t count = options_.attributes.size();
  const std::size_t batch = sink_.piecesAtOnce(files.size());
  for (std::size_t first = 0; first < count; first += batch)
    maskBatch(attributeIndex, files, start, block, first, std::min(count, first + batch));
  if (count == 0) readBlock(files, start, block, reader_.order);
}

std::uint64_t CommonalitiesPass::openAttributes(AttributeIndex& attributeIndex, std::size_t first,
                                                std::size_t last) {
  attributes_.assign(last - first, MaskedAttribute{});
  std::uint64_t opened = 0;
  for (std::size_t i = first; i < last; ++i) {
    MaskedAttribute& attribute = attributes_[i - first];
    for (const auto& group : *attributeIndex.find(options_.attributes[i])->second) {
      attribute.groupSizes.push_back(static_cast<unsigned int>(group.second->size()));
      attribute.files.insert(attribute.files.end(), group.second->begin(), group.second->end());
    }
    attribute.open = sink_.openPiece(i);
    if (attribute.open) ++opened;
  }
  return opened;
}

void CommonalitiesPass::maskBatch(AttributeIndex& attributeIndex, const DataFiles& files,
                                  std::uint64_t start, ArrayBuff& block, std::size_t first,
                                  std::size_t last) {
  const std::uint64_t opened = openAttributes(attributeIndex, first, last);
  if (maskSlots_.size() < reader_.tileSlots()) maskSlots_.resize(reader_.tileSlots());
  rowSize_ = block.rowSize;
  // A text takes perByte bytes per byte of the tile and at most two words
  // more (the sink's textBound).
  const std::uint64_t perByte = sink_.textBound(1) - sink_.textBound(0);
  TileReader::TileSteps steps{
      [this](unsigned slot, std::uint64_t tile, std::uint64_t end,
             const std::vector<Word*>& fileRows) { computeTile(slot, tile, end, fileRows); },
      perByte * opened,
      [this](unsigned slot, std::uint64_t tile, std::uint64_t end, const std::vector<Word*>&) {
        commitTile(slot, tile, end);
      }};
  steps.scratchPerTile = 2 * opened;
  reader_.readBlockInTiles(files, start, block, steps);
  sink_.closePieces();
}

std::uint64_t CommonalitiesPass::textRoom(std::uint64_t tile, std::uint64_t end) const {
  return (sink_.textBound(std::min(8 * end, rowSize_) - 8 * tile) + 7) / 8;
}

void CommonalitiesPass::computeTile(unsigned slotIndex, std::uint64_t tile, std::uint64_t end,
                                    const std::vector<Word*>& fileRows) {
  // The texts of a tile, one after the other, are its slot's scratch. When
  // a mask is its own text, it is computed in place, the tile at once.
  MaskSlot& slot = maskSlots_[slotIndex];
  Word* const texts = reader_.tileScratch(slotIndex);
  const std::uint64_t room = textRoom(tile, end);
  if (slot.mask.size() < kMaskWords) slot.mask.resize(kMaskWords);
  slot.sizes.assign(attributes_.size(), 0);
  const std::uint64_t part = sink_.maskIsText() ? end - tile : kMaskWords;
  for (std::uint64_t from = tile; from < end; from += part)
    maskPart(slot, texts, room, tile, from, std::min(end - from, part), fileRows);
}

void CommonalitiesPass::maskPart(MaskSlot& slot, Word* texts, std::uint64_t room,
                                 std::uint64_t tile, std::uint64_t from, std::uint64_t words,
                                 const std::vector<Word*>& fileRows) {
  const bool isText = sink_.maskIsText();
  const std::uint64_t bytes = std::min(words * 8, rowSize_ - from * 8);
  for (std::size_t a = 0, piece = 0; a < attributes_.size(); ++a) {
    const MaskedAttribute& attribute = attributes_[a];
    if (!attribute.open) continue;  // its piece is lost
    char* text = reinterpret_cast<char*>(texts + piece * room) + slot.sizes[a];
    Word* mask = isText ? texts + piece * room : slot.mask.data();
    ++piece;
    slot.rows.clear();
    for (std::size_t file : attribute.files) slot.rows.push_back(fileRows[file] + (from - tile));
    commonalitiesOfWords(attribute.groupSizes, slot.rows, mask, words);
    if (options_.exclude) excludeOfWords(slot.rows, mask, words);
    slot.sizes[a] += isText ? bytes
                            : sink_.formatPart(reinterpret_cast<const unsigned char*>(mask), bytes,
                                               from * 8 + bytes == rowSize_, text);
  }
}

void CommonalitiesPass::commitTile(unsigned slotIndex, std::uint64_t tile, std::uint64_t end) {
  const MaskSlot& slot = maskSlots_[slotIndex];
  const Word* const texts = reader_.tileScratch(slotIndex);
  const std::uint64_t room = textRoom(tile, end);
  for (std::size_t a = 0, piece = 0; a < attributes_.size(); ++a) {
    if (!attributes_[a].open) continue;
    sink_.putPart(piece, reinterpret_cast<const char*>(texts + piece * room), slot.sizes[a],
                  std::min(8 * end, rowSize_) - 8 * tile);
    ++piece;
  }
}
