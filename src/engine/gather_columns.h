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

 private:
  // The rows of the groups' first files, kept from call to call: the report
  // gathers once per run of lines with a masked bit.
  std::vector<const unsigned char*> groupFirstBytes_;
};

#endif  // OVRELL_ENGINE_GATHER_COLUMNS_H_
