// Column gathering: the masked bits of a block, as the columns the
// dissimilarity kernels work through, one row per group.
#ifndef OVRELL_ENGINE_GATHER_COLUMNS_H_
#define OVRELL_ENGINE_GATHER_COLUMNS_H_

#include <cstdint>
#include <vector>

#include "engine/buffers.h"

class ColumnGatherer {
 public:
  // Column k is the k-th masked bit of the block counted from its end; for
  // every group g it copies the bit of the group's first file into bit
  // k % 8 of byte k / 8 of row g. Sets rows.rows to the number of groups;
  // returns the number of columns. The mask is walked over its `size`
  // bytes.
  std::uint64_t gather(ArrayBuff& rows, const VectorBuff& columnMask,
                       const std::vector<unsigned int>& groupSizes,
                       const std::vector<unsigned long long*>& fileRows);

  // Where the last gather's columns lie, in column order: bit 7 - k of
  // byte m of the mask is offset 8 × m + 7 - k (the bit's position in the
  // files counted from the mask's first byte). REQUIRES: the mask of that
  // gather was shorter than 512 MiB.
  const std::vector<std::uint32_t>& offsets() const { return offsets_; }

 private:
  // The rows of the groups' first files, kept from call to call: the report
  // gathers once per run of lines with a masked bit.
  std::vector<const unsigned char*> groupFirstBytes_;
  std::vector<std::uint32_t> offsets_;
};

#endif  // OVRELL_ENGINE_GATHER_COLUMNS_H_
