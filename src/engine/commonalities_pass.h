// The pass without dissimilarities: the blocks from the start of the files
// to their end, the short block last; every named attribute's mask of a
// block goes to the mask sink (engine/sinks.h) a tile at a time, as the
// block is read.
//
// Only a tile's mask is ever in memory; the block's storage is touched only
// when the block has to be read whole (engine/tile_reader.h). Each tile's
// masks are computed and turned into text in its slot's scratch on any
// thread, and put in order on the calling thread. The options, the reader
// and the sink must outlive the pass.
#ifndef OVRELL_ENGINE_COMMONALITIES_PASS_H_
#define OVRELL_ENGINE_COMMONALITIES_PASS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/data_files.h"
#include "engine/buffers.h"
#include "engine/sinks.h"
#include "engine/tile_reader.h"
#include "options/options.h"
#include "project/attribute_index.h"

class CommonalitiesPass {
 public:
  CommonalitiesPass(const Options& options, TileReader& reader, MaskSink& sink)
      : options_(options), reader_(reader), sink_(sink) {}

  // `block` has room for blockSize bytes of every file; its rowSize is left
  // at the last block's.
  void run(const DataFiles& files, AttributeIndex& attributeIndex, std::uint64_t fileSize,
           std::uint64_t blockSize, ArrayBuff& block);

 private:
  // One attribute of a block: its groups as file numbers, and whether its
  // piece is open.
  struct MaskedAttribute {
    std::vector<unsigned int> groupSizes;
    std::vector<std::size_t> files;  // group after group
    bool open = false;
  };
  // What a slot keeps for its tile besides the texts in its scratch.
  struct MaskSlot {
    std::vector<Word> mask;
    std::vector<const Word*> rows;
    std::vector<std::size_t> sizes;  // of each attribute's text
  };

  // Every attribute's mask of the block at `start`.
  void maskBlock(AttributeIndex& attributeIndex, const DataFiles& files, std::uint64_t start,
                 ArrayBuff& block);
  // The masks of attributes [first, last) of one block, one read of it.
  void maskBatch(AttributeIndex& attributeIndex, const DataFiles& files, std::uint64_t start,
                 ArrayBuff& block, std::size_t first, std::size_t last);
  // Opens the pieces of attributes [first, last); returns those opened.
  std::uint64_t openAttributes(AttributeIndex& attributeIndex, std::size_t first, std::size_t last);
  // Words of a text of the tile of words [tile, end), per attribute.
  std::uint64_t textRoom(std::uint64_t tile, std::uint64_t end) const;
  void computeTile(unsigned slotIndex, std::uint64_t tile, std::uint64_t end,
                   const std::vector<Word*>& fileRows);
  // The masks of words [from, from + words) of the tile, `bytes` bytes of
  // the rows, appended to each attribute's text.
  void maskPart(MaskSlot& slot, Word* texts, std::uint64_t room, std::uint64_t tile,
                std::uint64_t from, std::uint64_t words, const std::vector<Word*>& fileRows);
  void commitTile(unsigned slotIndex, std::uint64_t tile, std::uint64_t end);

  const Options& options_;
  TileReader& reader_;
  MaskSink& sink_;
  std::vector<MaskedAttribute> attributes_;  // of the batch being read
  std::uint64_t rowSize_ = 0;                // of the block being read
  std::vector<MaskSlot> maskSlots_;          // kept from block to block
};

#endif  // OVRELL_ENGINE_COMMONALITIES_PASS_H_
