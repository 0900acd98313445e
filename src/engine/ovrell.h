// The analysis engine.
//
// `runAnalysis` is the whole computation over a project's files and
// attribute index: it checks the files, sizes the blocks from the memory
// limit, reads the files side by side one block at a time and writes every
// named attribute's commonality mask and, when a dissimilarities file is
// named, its dissimilarities. The other methods are its steps, public so
// that each can be tested on its own. The engine borrows the Options
// record (which must outlive it) and owns nothing; every buffer is created
// and freed by the run, and the files are read through the run's open data
// files (base/data_files.h), which the run makes or the caller hands in.
// Errors end the process inside the method that finds them.
#ifndef OVRELL_ENGINE_OVRELL_H_
#define OVRELL_ENGINE_OVRELL_H_

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <vector>

#include "base/data_files.h"
#include "base/output.h"
#include "engine/buffers.h"
#include "engine/position_queue.h"
#include "engine/single_list.h"
#include "options/options.h"
#include "project/attribute_index.h"

class TileWorkers;  // engine/tile_workers.h

class Ovrell {
 public:
  explicit Ovrell(Options& options);
  ~Ovrell();
  // The options the engine runs with (checkInput may have reset the chunk
  // size).
  const Options& runOptions() const { return options; }

  // --- How the work is organised; the output does not depend on it ---
  // Bytes of all files together in one tile of readBlockInTiles: a tile and
  // its mask stay in the second-level cache.
  std::uint64_t tileBytes = 512 * 1024;
  // Threads that read and compute tiles (readBlockInTiles): as many as the
  // machine has cores that this process may run on, up to four.
  unsigned readThreads = defaultReadThreads();
  static unsigned defaultReadThreads();

  // --- The run (analysis.cpp) ---
  // Opens the files for the run (DataFiles) and runs over them.
  void runAnalysis(const FileList& files, AttributeIndex& attributeIndex);

  // --- Input file checks (analysis.cpp; the checks are project/file_checks.h) ---
  // The common size of at least two existing files, always > 0, each opened
  // for the run. Ends the process otherwise; all files empty ends it with
  // status 0.
  std::uint64_t checkFiles(DataFiles& files);
  // checkFiles, then the chunk size of -e: when the file size is not a
  // multiple of it, a warning, and chunkSize becomes 1.
  std::uint64_t checkInput(DataFiles& files);
  // The block size for a run over `fileCount` files of `fileSize` bytes;
  // ends the process when the file is too large or the limit too small.
  // Sets valueWidth (0 without dissimilarities).
  std::uint64_t computeBlockSize(std::uint64_t fileCount, std::uint64_t fileSize,
                                 unsigned& valueWidth, bool dissimilarities);

  // --- Buffers (buffers.cpp) ---
  // Storage for `rows` rows of pitchOf(rowSize) bytes; the record keeps
  // rowSize unrounded. Ends the process when memory cannot be had.
  ArrayBuff initArrayBuffer(std::uint64_t rowSize, std::uint64_t rows);
  VectorBuff initVectorBuffer(std::uint64_t size);

  // --- Block reading (block_reader.cpp) ---
  // Fills row i with block.rowSize bytes of file i from offset `start`, then
  // inverts bits (-b) and reorders chunks (-e). Ends the process when a file
  // cannot be read or has changed since the checks (DataFiles).
  void readBlock(const DataFiles& files, std::uint64_t start, ArrayBuff block);
  // Reads the same bytes as readBlock, a tile of whole words at a time, and
  // works on each tile in two steps
  // while it is still in cache: `compute(slot, first, end, fileRows)` as
  // soon as words [first, end) of every file are in (bits inverted, chunks
  // reordered; fileRows[i] points at file i's word `first`), on any of
  // readThreads threads and for several tiles at once; then
  // `commit(slot, first, end, fileRows)` on the calling thread, for the
  // tiles in order, one at a time. `slot` (below tileSlots()) tells a tile's
  // storage: scratch space kept per slot is the tile's own from its compute
  // to its commit, tileScratch(slot) the caller's scratch words in the slot:
  // `scratchPerByte` bytes for each byte of a file's row in the tile, and
  // `scratchPerTile` words more. A tile holds tileBytes of the files and of
  // the scratch (at least one word of each file). The tiles land in small
  // buffers that are reused, and the block's storage is not touched, unless
  // `intoBlock` asks for the block's rows.
  // When the checks could not open a file, nothing of the block is worked
  // on before readBlock reads it whole, and its message names the first
  // file in list order that cannot be read. When a tile cannot be read (a
  // file has changed), the tiles before it are committed, the block is read
  // whole by readBlock, and the words not yet committed are computed and
  // committed on the calling thread, tile by tile (slot 0).
  struct TileSteps {
    std::function<void(unsigned slot, std::uint64_t first, std::uint64_t end,
                       const std::vector<Word*>& fileRows)>
        compute;  // may be empty
    std::uint64_t scratchPerByte;
    std::function<void(unsigned slot, std::uint64_t first, std::uint64_t end,
                       const std::vector<Word*>& fileRows)>
        commit;
    bool backwards = false;  // the tiles from the block's last to its first
    std::uint64_t scratchPerTile = 0;
    // The tiles are read into the block's rows, which then hold the whole
    // block, padding included, byte for byte as readBlock leaves it (the
    // padding's bit inversion comes after the last commit).
    bool intoBlock = false;
  };
  // The words of each file in one tile of readBlockInTiles, for `files`
  // files and `scratchPerByte` (before the block's own length caps it); a
  // multiple of 8 from 8 words up.
  std::uint64_t tileWordsOf(std::uint64_t files, std::uint64_t scratchPerByte) const;
  void readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                        const TileSteps& steps);
  unsigned tileSlots() const;
  Word* tileScratch(unsigned slot) const;
  // readBlockInTiles with the commit step alone.
  using TileDone = std::function<void(std::uint64_t first, std::uint64_t end,
                                      const std::vector<Word*>& fileRows)>;
  void readBlockInTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                        const TileDone& tileDone);
  // Reverses every `chunk` consecutive bytes of the first `size` bytes; warns
  // and changes nothing when size is not a multiple of chunk.
  void reorderBytes(unsigned char* buffer, std::uint64_t size, std::uint64_t chunk);

  // --- Commonalities (commonalities.cpp) ---
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
  // One block of the commonalities-only pass: compute and write the mask of
  // every named attribute, a tile at a time, as the block is read. Only a
  // tile's mask is ever in memory; `block` is touched only when the block
  // has to be read whole.
  void doCommAllBlock(AttributeIndex& attributeIndex, std::uint64_t& start, const DataFiles& files,
                      ArrayBuff& block);

  // --- Dissimilarities (gather_columns.cpp, linear_dissimilarities.cpp,
  //     quadratic_dissimilarities.cpp, partial_results.cpp) ---
  // Column k is the k-th masked bit of the block counted from its end; for
  // every group g it copies the bit of the group's first file into bit k % 8
  // of byte k / 8 of row g. Sets rows.rows to the number of groups; returns
  // the number of columns. The mask is walked over its `size` bytes.
  std::uint64_t gatherColumns(ArrayBuff& rows, VectorBuff& columnMask,
                              std::vector<unsigned int>& groupSizes,
                              std::vector<unsigned long long*>& fileRows);
  // Linear set-up of one attribute: node g points at group row g, has run 0
  // and is pushed in front of the zeros list, g = 0 first. The lists are not
  // emptied first.
  void pushGroupNodes(NodeType* nodes, const ArrayBuff& rows, std::uint64_t groupCount,
                      single_list<NodeType>& zeros);
  // One column of the linear algorithm: bit `bitIndex` of byte `byteIndex`
  // of every group row. Afterwards the zeros list followed by the ones list
  // is the stable partition of the old order by that bit, and each run is
  // the agreement of a node with its successor.
  void dissimDoColumn(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                      const unsigned long long& byteIndex, const unsigned int& bitIndex);
  // Column value N - 1 - k (in valueWidth bytes) = the largest run after
  // column k, for k = 0 .. N - 1.
  void linearColumns(single_list<NodeType>& zeros, single_list<NodeType>& ones,
                     VectorBuff& columnValues, std::uint64_t columns, unsigned valueWidth);
  // Quadratic set-up of one attribute: every pair counter becomes 1.
  void resetPairCounters(VectorBuff& pairs, unsigned valueWidth);
  // The same column values as linearColumns, from one counter per pair of
  // the rows.rows group rows.
  void quadraticColumns(const ArrayBuff& rows, VectorBuff& pairs, VectorBuff& columnValues,
                        std::uint64_t columns, unsigned valueWidth);
  // Calls found(first, last) for every inclusion-minimal distinguishing
  // stretch that starts in this block, from its last masked bit to its
  // first (so `first` decreases from call to call, also from block to block
  // of one attribute), where first < last are bit positions 8 × byte + k
  // (bit 7 - k) of the files. `columnValues` holds the `columns` values
  // that linearColumns or quadraticColumns computed from `mask`; `queue`
  // and `lastValue` carry the current agreeing run from block to block.
  using StretchFound = std::function<void(std::uint64_t first, std::uint64_t last)>;
  void findStretches(const VectorBuff& columnValues, std::uint64_t columns, const VectorBuff& mask,
                     std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                     unsigned valueWidth, const StretchFound& found);
  // Appends `size` bytes to `fileName`; silent when it cannot be opened.
  void appendPartialResult(const unsigned char* data, std::uint64_t size, const char* fileName);

  // --- Output (output/*.cpp) ---
  // Prints `length` bytes in the chosen format; then overwrites them with
  // the character '0' (unless `overwrite` is false: for callers that never
  // look at the row again before computing it afresh). Leaves the stream's
  // fill, flags and base changed. The stream must not have showbase or
  // showpos set (no writer sets them).
  void printBitRow(unsigned char* row, std::uint64_t length, std::ostream& out,
                   bool overwrite = true);
  // The block writer: opens attribute `position`'s output for one block (its
  // file, or standard output without -c). Returns nullptr, silently, when
  // the file cannot be opened: the block's piece is then lost.
  std::ostream* openCommonalities(ResultFile& file, std::size_t position);
  // One part of a block's piece of the mask, printed as printBitRow prints
  // the whole piece (the separator follows every byte but the piece's last;
  // `endsPiece`: this part ends it), in two steps so that the text can be
  // made on any thread and written later: formatBitRowPart puts the part's
  // text at `to` (room for formattedSizeBound(length) characters) and
  // returns its size; putFormatted writes it and leaves the stream as
  // printBitRow would. The row is left as it is.
  std::uint64_t formattedSizeBound(std::uint64_t length) const;
  std::size_t formatBitRowPart(const unsigned char* row, std::uint64_t length, bool endsPiece,
                               char* to) const;
  void putFormatted(const char* text, std::size_t size, std::uint64_t length,
                    std::ostream& out) const;
  // Prints attribute `position`'s masks from the partial results file in
  // file order (the short head piece first), then deletes that file. Leaves
  // mask.size at blockSize. Ends the process when the result file cannot be
  // opened.
  void writeFinalCommonalities(VectorBuff& mask, std::uint64_t blockSize, std::uint64_t fileSize,
                               std::size_t position);
  // Appends a line "(first-last)" for every stretch findStretches finds in
  // this part of a block (`mask` from file byte `start`). `file` is opened
  // at the first call of a block (a failure ends the run) and kept open for
  // the block's other parts.
  void writeDissimilarities(VectorBuff& columnValues, std::uint64_t columns, VectorBuff& mask,
                            std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                            std::size_t position, unsigned valueWidth, ResultFile& file);

 private:
  // The tiles of readBlockInTiles; false, with the helper threads gone,
  // when a file cannot be read or has changed. `delivered` tells the words committed
  // (readBlockInTiles).
  bool readTiles(const DataFiles& files, std::uint64_t start, ArrayBuff block,
                 const TileSteps& steps, std::uint64_t tileWords, std::uint64_t& delivered);
  void commonalitiesOnlyPass(const DataFiles& files, AttributeIndex& attributeIndex,
                             std::uint64_t fileSize, std::uint64_t blockSize, ArrayBuff& block);
  // The masks of attributes [first, last) of one block, one read of it.
  void maskBlock(AttributeIndex& attributeIndex, const DataFiles& files, std::uint64_t start,
                 ArrayBuff& block, std::size_t first, std::size_t last);
  void dissimilarityPass(const DataFiles& files, AttributeIndex& attributeIndex,
                         std::uint64_t fileSize, std::uint64_t blockSize, unsigned valueWidth,
                         ArrayBuff& block, VectorBuff& mask);

  Options& options;
  // Storage kept from block to block: the tiles' slots, and maskBlock's
  // scratch per slot.
  TileMemory tileMemory_;
  std::uint64_t tileStride_ = 0;          // words of a slot
  std::uint64_t tileRowsWords_ = 0;       // of a slot's file words, before its scratch
  std::unique_ptr<TileWorkers> workers_;  // the helper threads, kept for the run
  struct MaskSlot {
    std::vector<Word> mask;
    std::vector<const Word*> rows;
    std::vector<std::size_t> sizes;  // of each attribute's text
  };
  std::vector<MaskSlot> maskSlots_;
  std::vector<const unsigned char*> groupFirstBytes_;  // gatherColumns' scratch
};

#endif  // OVRELL_ENGINE_OVRELL_H_
