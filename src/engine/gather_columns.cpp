// ColumnGatherer; contract in engine/gather_columns.h.
#include "engine/gather_columns.h"

std::uint64_t ColumnGatherer::gather(ArrayBuff& rows, const VectorBuff& columnMask,
                                     const std::vector<unsigned int>& groupSizes,
                                     const std::vector<unsigned long long*>& fileRows) {
  // A group's bits are those of its first file: the mask only keeps bits
  // that are the same in every file of a group.
  std::vector<const unsigned char*>& first = groupFirstBytes_;
  first.clear();
  std::size_t p = 0;
  for (unsigned int size : groupSizes) {
    first.push_back(reinterpret_cast<const unsigned char*>(fileRows[p]));
    p += size;
  }
  rows.rows = groupSizes.size();
  const std::uint64_t pitch = pitchOf(rows.rowSize);

  std::uint64_t columns = 0;
  offsets_.clear();
  forEachSetBitFromEnd(columnMask.data, columnMask.size, [&](std::uint64_t m, unsigned bit) {
    offsets_.push_back(static_cast<std::uint32_t>(8 * m + 7 - bit));
    const std::uint64_t byte = columns / 8;
    const unsigned char set = static_cast<unsigned char>(1U << (columns % 8));
    for (std::size_t g = 0; g < first.size(); ++g) {
      unsigned char& out = rows.data[g * pitch + byte];
      if ((first[g][m] >> bit) & 1U)
        out |= set;
      else
        out &= static_cast<unsigned char>(~set);
    }
    ++columns;
  });
  return columns;
}
