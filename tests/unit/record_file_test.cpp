// The report's record codings give back exactly what was appended: offsets
// and masks, and stretches, over many chunks, with runs cut at their longest,
// gaps of every size (beyond 2^32 too), and walks that go back.
#include "report/record_file.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// A gap below the previous offset or bit: mostly 1, sometimes a few, now
// and then more than 2^32.
std::uint64_t randomGap(std::mt19937_64& random) {
  switch (random() % 16) {
    case 0:
      return 2 + random() % 200;
    case 1:
      return random() % 64 == 0 ? (std::uint64_t{1} << 32) + random() % 1000 : 2 + random() % 70000;
    default:
      return 1;
  }
}

}  // namespace

TEST(RecordFile, ByteRecordsGiveBackOffsetsAndMasks) {
  std::mt19937_64 random(5);
  ByteRecords records;
  std::vector<std::pair<std::uint64_t, unsigned char>> appended;  // descending
  std::uint64_t offset = std::uint64_t{1} << 50;
  for (int i = 0; i < 300000; ++i) {
    offset -= i % 50000 < 10000 ? 1 : randomGap(random);  // a run far past the longest
    appended.emplace_back(offset, static_cast<unsigned char>(1 + random() % 255));
    records.append(offset, appended.back().second);
  }
  records.finish();
  ASSERT_EQ(records.count(), appended.size());
  auto expectAt = [&](std::uint64_t p) {
    const auto& expected = appended[appended.size() - 1 - p];
    ASSERT_EQ(records.offsetAt(p), expected.first) << p;
    ASSERT_EQ(records.informativeAt(p), expected.second) << p;
  };
  for (std::uint64_t p = 0; p < appended.size(); ++p) expectAt(p);
  for (int i = 0; i < 1000; ++i) expectAt(random() % appended.size());
}

TEST(RecordFile, StretchRecordsGiveBackStretchesInOrder) {
  std::mt19937_64 random(9);
  StretchRecords stretches;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> appended;  // descending
  std::uint64_t first = std::uint64_t{1} << 60, last = first + 3;
  for (int i = 0; i < 200000; ++i) {
    first -= randomGap(random);
    last = std::max(first, last - randomGap(random));
    appended.emplace_back(first, last);
    stretches.append(first, last);
  }
  stretches.finish();
  ASSERT_EQ(stretches.count(), appended.size());
  std::uint64_t got = 0, gotLast = 0;
  auto expectAt = [&](std::uint64_t i) {
    stretches.at(i, got, gotLast);
    ASSERT_EQ(std::make_pair(got, gotLast), appended[appended.size() - 1 - i]) << i;
  };
  for (int walk = 0; walk < 2; ++walk)
    for (std::uint64_t i = 0; i < appended.size(); ++i) expectAt(i);
  for (int i = 0; i < 20; ++i) expectAt(random() % appended.size());
}

// The worst cases per byte of a data file that the temporary disk's bound
// is made of: every other byte, and a one-bit stretch at every other bit;
// and a byte at a time when they are all informative.
TEST(RecordFile, CodingsStayWithinTheirBounds) {
  constexpr std::uint64_t kSpan = 1 << 20;  // bytes of a data file
  ByteRecords dense, sparse;
  StretchRecords stretches;
  for (std::uint64_t offset = kSpan; offset-- > 0;) {
    dense.append(offset, 1);
    if (offset % 2 == 0) sparse.append(offset, 1);
  }
  for (std::uint64_t bit = 8 * kSpan; bit > 0; bit -= 2) stretches.append(bit - 2, bit - 2);
  dense.finish();
  sparse.finish();
  stretches.finish();
  EXPECT_LE(dense.bytes(), kSpan + kSpan / 1000);
  EXPECT_LE(sparse.bytes(), kSpan + kSpan / 2 + kSpan / 1000);  // and a head per chunk
  EXPECT_LE(stretches.bytes(), 2 * (kSpan + kSpan / 8) + kSpan / 1000);
}

TEST(RecordFileDeathTest, AStretchThatContainsAnotherEndsTheRun) {
  EXPECT_EXIT(
      {
        StretchRecords stretches;
        stretches.append(100, 110);
        stretches.append(90, 120);
      },
      testing::ExitedWithCode(1), "internal error: the stretch 90-120 is not below");
}
