// The memory budget: value width, raw block size and block size.
#include "engine/budget.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(ValueWidth, IsZeroWithoutDissimilarities) {
  for (std::uint64_t size :
       std::vector<std::uint64_t>{1, 30, 31, 8191, 536870911, kLargestFileSize}) {
    EXPECT_EQ(valueWidthFor(false, size), 0u) << size;
  }
}

TEST(ValueWidth, EachWidthEndsOneBelowTheBitCountLimit) {
  const std::vector<std::pair<std::uint64_t, unsigned>> cases = {
      {1, 1},         {30, 1},           {31, 2},
      {8190, 2},      {8191, 4},         {536870910, 4},
      {536870911, 8}, {(1ULL << 40), 8}, {2305843009213693950ULL, 8},
  };
  for (const auto& [size, width] : cases) {
    EXPECT_EQ(valueWidthFor(true, size), width) << "size " << size;
  }
  EXPECT_EQ(kLargestFileSize, (1ULL << 61) - 2);
}

struct RawCase {
  std::uint32_t memLimit;
  std::uint32_t files;
  unsigned width;
  bool linear;
  std::uint32_t expected;
};

void expectRaw(const std::vector<RawCase>& cases) {
  for (const RawCase& c : cases) {
    EXPECT_EQ(rawBlockSize(c.memLimit, c.files, c.width, c.linear), c.expected)
        << "M=" << c.memLimit << " n=" << c.files << " w=" << c.width
        << (c.linear ? " linear" : " quadratic");
  }
}

TEST(RawBlockSize, DefaultLimitExamples) {
  expectRaw({
      {100000000, 2, 0, true, 33333322},   // F = 32, D = 3
      {100000000, 2, 0, false, 33333333},  // quadratic without dissimilarities: F = 0
      {100000000, 2, 2, true, 4761903},    // D = 21, F = 32
      {100000000, 2, 2, false, 4761904},   // D = 21, F = 2
  });
}

TEST(RawBlockSize, DivisorGrowsByEightBitsOfWidthPerByte) {
  expectRaw({
      {1000, 3, 1, true, 63},   // D = 6 + 9, F = 48
      {5000, 3, 8, true, 69},   // D = 6 + 65, F = 48
      {1000, 3, 4, false, 25},  // D = 6 + 33, F = 12
      {1000, 1, 0, true, 492},  // D = 2, F = 16
      {1000, 1, 8, false, 14},  // D = 67, F = 0
  });
}

TEST(RawBlockSize, EightIsTheSmallestUsableBlock) {
  expectRaw({
      {56, 2, 0, true, 8},
      {55, 2, 0, true, 7},
      {58, 2, 0, true, 8},
      {59, 2, 0, true, 9},
  });
}

TEST(RawBlockSize, ArithmeticWrapsAtThirtyTwoBits) {
  expectRaw({
      // Fixed cost above the limit: M - F wraps around.
      {10, 2, 0, true, 1431655758},
      {0, 1, 8, true, 64103989},  // (2^32 - 16) / 67
      // (n - 1) × n × w wraps, then is halved.
      {100000000, 65536, 8, false, 17140},
      {100000000, 100000, 4, false, 18609},
      // 16 × n and 2 × n wrap to 0: F = 0, D = 9.
      {100000000, 2147483648u, 1, true, 11111111},
  });
}

TEST(BlockSize, ClampsToTheFileSizeAndRoundsUpToEight) {
  const std::vector<std::tuple<std::uint32_t, std::uint64_t, std::uint64_t>> cases = {
      {33333322, 1000, 1000},
      {33333333, 1001, 1008},
      {33333333, 5, 8},
      {33333333, 1, 8},
      {20, 1000, 24},
      {8, 1000, 8},
      {9, 1000, 16},
      {1000, 1000, 1000},
      {999, 1000, 1000},
      {17140, 1ULL << 40, 17144},
      {4294967295u, 1ULL << 40, 4294967296ULL},
  };
  for (const auto& [raw, size, block] : cases) {
    EXPECT_EQ(blockSizeFor(raw, size), block) << "raw " << raw << " size " << size;
  }
}

}  // namespace
