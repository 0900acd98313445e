// The commonality bit algebra: flattening the groups, the mask, exclusion.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "engine/buffers.h"
#include "engine/ovrell.h"
#include "options/options.h"
#include "project/attribute_index.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Groups = std::vector<std::vector<std::uint32_t>>;

// A data block of `rows` rows with room for `capacity` bytes per row, and a
// mask of the same capacity. Storage is filled with junk so that nothing
// depends on it being cleared.
class Block {
 public:
  Block(std::uint64_t capacity, std::uint64_t rows) : capacity_(capacity) {
    block.data = allocateStorage(pitchOf(capacity) * rows);
    block.rowSize = capacity;
    block.rows = rows;
    mask.data = allocateStorage(pitchOf(capacity));
    mask.size = capacity;
    std::memset(block.data, 0xA5, pitchOf(capacity) * rows);
    std::memset(mask.data, 0x3C, pitchOf(capacity));
  }
  ~Block() {
    freeBuffer(block);
    freeBuffer(mask);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  // Lowers the meaningful length of every row (the short last block).
  void shorten(std::uint64_t rowSize) {
    block.rowSize = rowSize;
    mask.size = rowSize;
  }
  void setRow(std::uint64_t r, const Bytes& bytes) {
    ASSERT_LE(bytes.size(), block.rowSize);
    std::memcpy(block.data + r * pitchOf(block.rowSize), bytes.data(), bytes.size());
  }
  Bytes maskBytes() const { return Bytes(mask.data, mask.data + mask.size); }
  Bytes maskStorage() const { return Bytes(mask.data, mask.data + pitchOf(capacity_)); }

  ArrayBuff block{};
  VectorBuff mask{};

 private:
  std::uint64_t capacity_;
};

// A value index with one value per group, owning its lists.
class Index {
 public:
  explicit Index(const Groups& groups) {
    for (std::size_t g = 0; g < groups.size(); ++g) {
      values["v" + std::to_string(g)] = new FileIndexList(groups[g].begin(), groups[g].end());
    }
  }
  ~Index() {
    for (auto& entry : values) delete entry.second;
  }
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  ValueGroups values;
};

class Commonalities : public ::testing::Test {
 protected:
  // collectGroups + commonalities (+ exclude) over `groups`.
  Bytes mask(Block& b, const Groups& groups, bool withExclude) {
    Index index(groups);
    engine_.collectGroups(index.values, b.block, sizes_, rows_);
    engine_.commonalities(sizes_, rows_, b.block, b.mask);
    if (withExclude) engine_.exclude(b.block, rows_, b.mask);
    return b.maskBytes();
  }

  Options options_;
  Ovrell engine_{options_};
  std::vector<unsigned int> sizes_;
  std::vector<unsigned long long*> rows_;
};

Bytes notXor(const Bytes& a, const Bytes& b) {
  Bytes r(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) r[i] = static_cast<unsigned char>(~(a[i] ^ b[i]));
  return r;
}

TEST_F(Commonalities, CollectGroupsFollowsTheIndexOrderAndTheCurrentPitch) {
  Block b(24, 4);
  b.shorten(13);  // pitch 16
  Index index({{0, 2}, {1}, {3}});
  sizes_ = {99};
  rows_ = {nullptr, nullptr};
  engine_.collectGroups(index.values, b.block, sizes_, rows_);

  std::vector<unsigned int> expectedSizes;
  std::vector<unsigned long long*> expectedRows;
  for (const auto& entry : index.values) {
    expectedSizes.push_back(static_cast<unsigned int>(entry.second->size()));
    for (std::uint32_t f : *entry.second) {
      expectedRows.push_back(reinterpret_cast<unsigned long long*>(b.block.data + f * 16));
    }
  }
  EXPECT_EQ(sizes_, expectedSizes);
  EXPECT_EQ(rows_, expectedRows);
}

TEST_F(Commonalities, CollectGroupsSkipsDeletedEntries) {
  Block b(8, 3);
  Index index({{0, 1}, {2}});
  index.values.set_deleted_key("<deleted>");
  FileIndexList* gone = index.values["v0"];
  index.values.erase("v0");
  engine_.collectGroups(index.values, b.block, sizes_, rows_);
  delete gone;
  EXPECT_EQ(sizes_, std::vector<unsigned int>{1});
  EXPECT_EQ(rows_, std::vector<unsigned long long*>{
                       reinterpret_cast<unsigned long long*>(b.block.data + 16)});
}

TEST_F(Commonalities, OnlyGroupsOfTwoOrMoreConstrainTheMask) {
  Block b(8, 4);
  const Bytes a = {0x0F, 0x00, 0xFF, 0x12, 0x34, 0x56, 0x78, 0x9A};
  const Bytes bb = {0x0E, 0x00, 0x7F, 0x12, 0x35, 0x56, 0x78, 0x1A};
  const Bytes c = {0xF0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
  const Bytes d = {0xF1, 0x11, 0x22, 0x37, 0x44, 0x55, 0x66, 0x77};
  b.setRow(0, a);
  b.setRow(1, bb);
  b.setRow(2, c);
  b.setRow(3, d);

  EXPECT_EQ(mask(b, {{0, 1}, {2}}, false), notXor(a, bb));

  Bytes both = notXor(a, bb);
  Bytes cd = notXor(c, d);
  for (std::size_t i = 0; i < both.size(); ++i) both[i] &= cd[i];
  EXPECT_EQ(mask(b, {{0, 1}, {2, 3}}, false), both);

  const Bytes ones(8, 0xFF);
  EXPECT_EQ(mask(b, {{0}, {1}, {2}, {3}}, false), ones);
  EXPECT_EQ(mask(b, {}, false), ones);
}

TEST_F(Commonalities, AGroupOfThreeComparesAllItsFiles) {
  Block b(8, 3);
  b.setRow(0, Bytes(8, 0x00));
  b.setRow(1, Bytes(8, 0x00));
  b.setRow(2, {0x01, 0x80, 0, 0, 0, 0, 0, 0x40});
  EXPECT_EQ(mask(b, {{0, 1, 2}}, false), (Bytes{0xFE, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBF}));
}

TEST_F(Commonalities, ExcludeClearsBitsEqualInAllListedFiles) {
  Block b(1, 4);
  b.setRow(0, {0x0F});
  b.setRow(1, {0x0F});
  b.setRow(2, {0x1F});
  b.setRow(3, {0x1F});
  EXPECT_EQ(mask(b, {{0, 1}}, false), Bytes{0xFF});
  EXPECT_EQ(mask(b, {{0, 1}}, true), Bytes{0x00});
  EXPECT_EQ(mask(b, {{0, 1}, {2, 3}}, true), Bytes{0x10});
  // Bit by bit, not byte by byte: only bit 4 differs, the rest of the byte
  // is cleared although the byte as a whole differs.
  EXPECT_EQ(mask(b, {{0}, {2}}, true), Bytes{0x10});
  // A file in no group does not count.
  EXPECT_EQ(mask(b, {{0, 1}, {3}}, true), Bytes{0x10});
  EXPECT_EQ(mask(b, {{0}, {1}}, true), Bytes{0x00});
}

TEST_F(Commonalities, ExcludeWithFewerThanTwoFilesClearsEverything) {
  Block b(5, 2);
  b.setRow(0, {1, 2, 3, 4, 5});
  b.setRow(1, {6, 7, 8, 9, 10});
  EXPECT_EQ(mask(b, {{0}}, true), Bytes(5, 0));
  EXPECT_EQ(mask(b, {}, true), Bytes(5, 0));
}

TEST_F(Commonalities, RowsShorterThanAWordUseTheShortPitch) {
  // Allocated for 24 bytes, then lowered to 13 bytes per row: rows are
  // packed 16 bytes apart and the mask covers two words only.
  Block b(24, 3);
  b.shorten(13);
  Bytes a(13), c(13);
  for (int i = 0; i < 13; ++i) {
    a[i] = static_cast<unsigned char>(i * 17);
    c[i] = static_cast<unsigned char>(a[i] ^ (i == 12 ? 0x81 : 0x00));
  }
  b.setRow(0, a);
  b.setRow(1, Bytes(13, 0xEE));
  b.setRow(2, c);
  Bytes expected(13, 0xFF);
  expected[12] = 0x7E;
  EXPECT_EQ(mask(b, {{0, 2}, {1}}, false), expected);
  Bytes storage = b.maskStorage();
  EXPECT_EQ(Bytes(storage.begin() + 16, storage.end()), Bytes(8, 0x3C))
      << "the mask was written beyond the words of the current row";
}

// The mask and the exclusion against a bit-by-bit reading of their meaning,
// on random rows and random groupings, some files in no group.
TEST_F(Commonalities, MatchesABitByBitComputation) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::uint64_t capacity = 1 + random() % 40;
    const std::uint64_t rowSize = 1 + random() % capacity;
    const std::uint32_t files = 1 + random() % 9;
    Block b(capacity, files);
    b.shorten(rowSize);

    // Files differ from a common base in few bits, so that equal bits are
    // frequent inside and across groups.
    Bytes base(rowSize);
    for (auto& x : base) x = static_cast<unsigned char>(random());
    std::vector<Bytes> data(files, base);
    for (auto& row : data) {
      for (auto& x : row) x ^= static_cast<unsigned char>(random() & random() & random());
    }
    for (std::uint32_t f = 0; f < files; ++f) b.setRow(f, data[f]);

    const std::uint32_t groupCount = 1 + random() % files;
    Groups groups(groupCount);
    for (std::uint32_t f = 0; f < files; ++f) {
      std::uint32_t g = random() % (groupCount + 1);
      if (g < groupCount) groups[g].push_back(f);  // else: in no group
    }
    Groups used;
    for (auto& g : groups) {
      if (!g.empty()) used.push_back(g);
    }

    Bytes expectedMask(rowSize, 0), expectedExcluded(rowSize, 0);
    for (std::uint64_t byte = 0; byte < rowSize; ++byte) {
      for (int bit = 0; bit < 8; ++bit) {
        auto bitOf = [&](std::uint32_t f) { return (data[f][byte] >> bit) & 1; };
        bool uniform = true;
        std::vector<int> listed;
        for (const auto& g : used) {
          for (std::uint32_t f : g) {
            listed.push_back(bitOf(f));
            if (bitOf(f) != bitOf(g[0])) uniform = false;
          }
        }
        bool allEqual = true;
        for (int v : listed) {
          if (v != listed[0]) allEqual = false;
        }
        if (uniform) expectedMask[byte] |= 1 << bit;
        if (uniform && listed.size() >= 2 && !allEqual) expectedExcluded[byte] |= 1 << bit;
      }
    }
    EXPECT_EQ(mask(b, used, false), expectedMask);
    EXPECT_EQ(mask(b, used, true), expectedExcluded);
  }
}

}  // namespace
