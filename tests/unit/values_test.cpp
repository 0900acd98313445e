// Values a run of the tool cannot show or reach: the memory limit and the budget arithmetic at
// their wrap-arounds, and the string hash.
#include <gtest/gtest.h>

#include "engine/budget.h"
#include "options/option_values.h"
#include "project/attribute_index.h"

TEST(Values, LimitsBudgetAndHash) {
  // "text=limit": atol before a KB, MB or GB suffix, times it, in 32 bits; or the refusal.
  // clang-format off
  for (const std::string c : {"1KB=1024", "1kb=1024", "2mB=2097152", "3Gb=3221225472", "10K=10",
      "5b=5", "1.5GB=1073741824", "4GB=0", "5GB=1073741824", "-1KB=4294966272", " \t+7 1=7",
      " -5x=4294967291", "99999999999999999999=4294967295", "-99999999999999999999=0",
      "100b=suffix", "2TB=suffix", "1 B=suffix", "0=zero", "KB=zero", "x1MB=zero", "=zero"}) {
    std::uint32_t limit = 0;
    const MemLimitVerdict verdict = convertMemLimit(c.substr(0, c.find('=')), limit);
    const std::string outcomes[] = {std::to_string(limit), "suffix", "zero"};
    EXPECT_EQ(c.substr(0, c.find('=') + 1) + outcomes[static_cast<int>(verdict)], c);
  }
  const std::uint64_t widths[][2] = {{30, 1}, {31, 2}, {8190, 2}, {8191, 4}, {536870910, 4},
      {536870911, 8}, {(1ULL << 61) - 2, 8}};
  // Memory limit, files, value width, linear (1) or quadratic (0), raw block size.
  const std::uint32_t raws[][5] = {
      {100000000, 2, 0, 1, 33333322}, {100000000, 2, 0, 0, 33333333},  // F = 32 or 0, D = 3
      {100000000, 2, 2, 1, 4761903}, {56, 2, 0, 1, 8}, {55, 2, 0, 1, 7},  // D = 21; least block
      {10, 2, 0, 1, 1431655758}, {100000000, 65536, 8, 0, 17140},  // F > M; (n - 1) × n × w wraps
      {100000000, 2147483648u, 1, 1, 11111111}};                 // 16 × n and 2 × n wrap to 0
  // clang-format on
  for (const auto& [size, width] : widths) EXPECT_EQ(valueWidthFor(true, size), width) << size;
  for (const auto& r : raws) EXPECT_EQ(rawBlockSize(r[0], r[1], r[2], r[3] == 1), r[4]) << r[0];
  EXPECT_EQ(FnvHash()("\xff"), 0xF9F3A14Eu);  // 32-bit FNV-1a over the bytes
  EXPECT_EQ(FnvHash()("a\x80\x62"), 0xC2A8D552u);
}
