#include "engine/budget.h"

#include <gtest/gtest.h>

TEST(Budget, ValueWidthBoundsRawBlockSizeInWrapping32BitArithmeticAndBlockRoundUp) {
  // clang-format off
  const std::uint64_t widths[][2] = {{30, 1}, {31, 2}, {8190, 2}, {8191, 4}, {536870910, 4},
      {536870911, 8}, {(1ULL << 61) - 2, 8}};
  // Memory limit, files, value width, linear (1) or quadratic (0), raw block size.
  const std::uint32_t raws[][5] = {
      {100000000, 2, 0, 1, 33333322}, {100000000, 2, 0, 0, 33333333},  // F = 32 or 0, D = 3
      {100000000, 2, 2, 1, 4761903}, {56, 2, 0, 1, 8}, {55, 2, 0, 1, 7},  // D = 21; least block
      {10, 2, 0, 1, 1431655758}, {100000000, 65536, 8, 0, 17140},  // F > M; (n - 1) × n × w wraps
      {100000000, 2147483648u, 1, 1, 11111111}};                 // 16 × n and 2 × n wrap to 0
  const std::uint64_t blocks[][3] = {{33333322, 1000, 1000}, {33333333, 1001, 1008},
      {33333333, 5, 8}, {9, 1000, 16}, {4294967295u, 1ULL << 40, 1ULL << 32}};
  // clang-format on
  for (const auto& [size, width] : widths) EXPECT_EQ(valueWidthFor(true, size), width) << size;
  for (const auto& r : raws) EXPECT_EQ(rawBlockSize(r[0], r[1], r[2], r[3] == 1), r[4]) << r[0];
  for (const auto& [raw, size, block] : blocks) EXPECT_EQ(blockSizeFor(raw, size), block) << raw;
}
