// The report's pass over the data: one attribute at a time, the blocks from
// the end of the files to their start, as ovrell's dissimilarity pass reads
// them and with the same memory budget (-m, engine/budget.h).
//
// For each block the engine's reader brings the files in tile by tile, from
// the block's last tile to its first, on every core; each tile's mask of
// bits uniform in every group is kept and counted (its complement is the varying
// bits) and then narrowed to the bits that also differ between two files,
// ovrell's -x mask: the informative bits. Then, tile after tile in that
// order, their bytes go to the findings' byte records, and the informative
// bits go through the engine's linear dissimilarity kernel and its stretch
// finder into the stretch records. The findings read the groups' bytes back
// through the scan's FileBytes, so the scan must outlive them, and it makes
// the temporary files keep a reserve of free space
// (base/scratch_file.h). Every attribute starts afresh (its own
// lists, queue and full block size), so its findings are those of a run
// that names it alone.
#ifndef OVRELL_REPORT_ATTRIBUTE_SCAN_H_
#define OVRELL_REPORT_ATTRIBUTE_SCAN_H_

#include <cstdint>
#include <vector>

#include "engine/gather_columns.h"
#include "engine/ovrell.h"
#include "engine/position_queue.h"
#include "engine/single_list.h"
#include "report/findings.h"

class AttributeScan {
 public:
  // Allocates the buffers of the budget; ends the process as ovrell does
  // when the files are too large or the limit too small. `engine` and
  // `files` must outlive the scan.
  AttributeScan(Ovrell& engine, const DataFiles& files, std::uint64_t fileSize);
  ~AttributeScan();
  AttributeScan(const AttributeScan&) = delete;
  AttributeScan& operator=(const AttributeScan&) = delete;

  // Fills the counts, byte records and stretch records of `findings` (and
  // its cells when findings.bytesPerCell is not 0).
  void scan(Findings& findings);

 private:
  // One attribute's state through its blocks, and what each tile slot
  // holds from the tile's compute to its commit.
  struct Slot {
    std::vector<std::uint32_t> lines;  // the lines (8 words) with informative bits, ascending
    std::vector<const Word*> rows;
    std::uint64_t varying = 0, informative = 0;
  };
  struct Pass;
  // Masks and counts a tile (any thread).
  void computeTile(Pass& pass, unsigned slotIndex, std::uint64_t first, std::uint64_t end,
                   const std::vector<Word*>& fileRows);
  // Records a tile's counts, cells, bytes and stretches (in turn, from the
  // block's last tile to its first).
  void commitTile(Pass& pass, unsigned slotIndex, std::uint64_t first, std::uint64_t end,
                  const std::vector<Word*>& fileRows);
  // The stretches of a tile from `tileStart`, through the runs of its
  // lines with informative bits.
  void tileStretches(Pass& pass, const std::vector<std::uint32_t>& lines, std::uint64_t tileStart);
  void recordBytes(Findings& findings, std::uint64_t start,
                   const std::vector<std::uint32_t>& lines);
  // `varies`: the byte holds bits that vary inside some group.
  void recordByte(Findings& findings, std::uint64_t offset, unsigned char informative, bool varies);
  // Counts the region just recorded among the chance candidates when each
  // of its bytes holds one informative bit and bits that vary.
  void endRegion(Findings& findings);

  Ovrell& engine_;
  const DataFiles& files_;
  std::uint64_t fileSize_, blockSize_ = 0;
  unsigned valueWidth_ = 0;
  ArrayBuff block_{}, groupRows_{};
  VectorBuff mask_{};                       // the informative bits of the tile being recorded
  const unsigned char* uniform_ = nullptr;  // and its bits uniform in every group
  bool regionLone_ = true;
  std::uint64_t regionLoneBits_ = 0;
  VectorBuff columnValues_{}, nodes_{};
  std::uint64_t lastPosition_ = 0, lastOffset_ = 0, regionLength_ = 0;
  FileBytes fileBytes_;  // what the findings' walks read the groups' bytes through
  ColumnGatherer gatherer_;
};

#endif  // OVRELL_REPORT_ATTRIBUTE_SCAN_H_
