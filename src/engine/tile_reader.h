// Reading a block a tile at a time, on every core, and working on each tile
// while it is still in cache.
//
// readBlockInTiles reads the same bytes as readBlock (engine/block_reader.h),
// a tile of whole words at a time, and works on each tile in two steps:
// `compute(slot, first, end, fileRows)` as soon as words [first, end) of
// every file are in (in the reader's byte order; fileRows[i] points at file
// i's word `first`), on any of readThreads threads and for several tiles at
// once; then `commit(slot, first, end, fileRows)` on the calling thread, for
// the tiles in order, one at a time. `slot` (below tileSlots()) tells a
// tile's storage: scratch space kept per slot is the tile's own from its
// compute to its commit, tileScratch(slot) the caller's scratch words in the
// slot: `scratchPerByte` bytes for each byte of a file's row in the tile,
// and `scratchPerTile` words more. A tile holds tileBytes of the files and
// of the scratch (at least one word of each file). The tiles land in small
// buffers that are reused, and the block's storage is not touched, unless
// `intoBlock` asks for the block's rows. Where the bytes need no change of
// order and a tile is whole words, leastMapped bytes or more of each file, a
// kept file's tile is not copied: its row points into a read-only mapping of
// the file (DataFiles::map), which stays until the slot is used again, so
// the steps must not write to the rows.
// The steps run guarded against a file that shrinks under its mapping; a
// fault in a commit ends the run with the changed file's message.
//
// When the checks could not open a file, nothing of the block is worked on
// before readBlock reads it whole, and its message names the first file in
// list order that cannot be read. When a tile cannot be read (a file has
// changed), the tiles before it are committed, the block is read whole by
// readBlock, and the words not yet committed are computed and committed on
// the calling thread, tile by tile (slot 0). The reader keeps its slots and
// its helper threads from block to block.
#ifndef OVRELL_ENGINE_TILE_READER_H_
#define OVRELL_ENGINE_TILE_READER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "base/data_files.h"
#include "engine/buffers.h"
#include "engine/byte_order.h"

class TileWorkers;  // engine/tile_workers.h

class TileReader {
 public:
  TileReader();
  ~TileReader();
  TileReader(const TileReader&) = delete;
  TileReader& operator=(const TileReader&) = delete;

  // --- How the work is organised; what is read does not depend on it ---
  // Bytes of all files together in one tile: a tile and its mask stay in
  // the second-level cache.
  std::uint64_t tileBytes = 512 * 1024;
  // Threads that read and compute tiles: as many as the machine has cores
  // that this process may run on, up to four.
  unsigned readThreads = defaultReadThreads();
  static unsigned defaultReadThreads();
  ByteOrder order;
  // Bytes of a file in a tile from which it is mapped rather than read: a
  // mapping and its release cost more than copying a few pages (a run with
  // -m 8KB, tiles of a few KiB, took 2.8 times the CPU mapped).
  std::uint64_t leastMapped = 32 * 1024;

  using Step = std::function<void(unsigned slot, std::uint64_t first, std::uint64_t end,
                                  const std::vector<Word*>& fileRows)>;
  struct TileSteps {
    Step compute;  // may be empty
    std::uint64_t scratchPerByte;
    Step commit;
    bool backwards = false;  // the tiles from the block's last to its first
    std::uint64_t scratchPerTile = 0;
    // The tiles are read into the block's rows, which then hold the whole
    // block, padding included, byte for byte as readBlock leaves it (the
    // padding's bit inversion comes after the last commit).
    bool intoBlock = false;
  };
  void readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                        const TileSteps& steps);
  // readBlockInTiles with the commit step alone.
  using TileDone = std::function<void(std::uint64_t first, std::uint64_t end,
                                      const std::vector<Word*>& fileRows)>;
  void readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                        const TileDone& tileDone);
  // The words of each file in one tile, for `files` files and
  // `scratchPerByte` (before the block's own length caps it); a multiple of
  // 8 from 8 words up.
  std::uint64_t tileWordsOf(std::uint64_t files, std::uint64_t scratchPerByte) const;
  unsigned tileSlots() const;
  Word* tileScratch(unsigned slot) const;

 private:
  // One read of a block in tiles.
  struct Read {
    const DataFiles& files;
    std::uint64_t start;
    ArrayBuff block;
    const TileSteps& steps;
    std::uint64_t tileWords, words, tiles;
    // The words already committed: [0, delivered), or backwards
    // [delivered, words).
    std::uint64_t delivered;
    std::uint64_t firstOf(std::uint64_t k) const {
      return (steps.backwards ? tiles - 1 - k : k) * tileWords;
    }
  };
  // Sizes the slots for a read.
  void prepareSlots(std::size_t files, const TileSteps& steps, std::uint64_t tileWords);
  // The tiles of a read; false, with the helper threads gone, when a file
  // cannot be read or has changed.
  bool readTiles(Read& read);
  // Reads and computes tile k of a read into `slot`; false when it cannot
  // be read.
  bool readTile(const Read& read, std::uint64_t k, unsigned slot, std::vector<Word*>& rows) const;
  // The block read whole, and the tiles not yet committed worked on from it.
  void finishFromWholeBlock(const Read& read);
  TileWorkers* helpers();

  TileMemory tileMemory_;
  std::uint64_t tileStride_ = 0;          // words of a slot
  std::uint64_t tileRowsWords_ = 0;       // of a slot's file words, before its scratch
  std::unique_ptr<TileWorkers> workers_;  // the helper threads, kept for the run
  // Each slot's mappings, one per file; let go when the slot is used again
  // and at the end of a read.
  mutable std::vector<std::vector<DataFiles::Window>> windows_;
  void unmapAll();
};

#endif  // OVRELL_ENGINE_TILE_READER_H_
