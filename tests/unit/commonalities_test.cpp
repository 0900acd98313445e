// The commonality bit algebra against a byte-by-byte reading of what it means, on random rows that
// differ in few bits, sizes that are not whole words, groups of one file and files in no group.
#include <gtest/gtest.h>

#include <random>

#include "engine/ovrell.h"

TEST(Commonalities, CollectGroupsMaskAndExclusionMatchASlowComputation) {
  Options options;
  Ovrell engine(options);
  std::mt19937_64 random(1);
  std::vector<unsigned int> sizes;  // reused from round to round, as the run does
  std::vector<unsigned long long*> rows;
  for (int round = 0; round < 300; ++round) {
    const std::uint64_t size = 1 + random() % 30, pitch = (size + 7) / 8 * 8;
    const std::uint32_t files = 1 + random() % 9, groups = 1 + random() % files;
    std::vector<unsigned char> data(pitch * (files + 1));  // the rows, then the mask
    for (unsigned char& byte : data) byte = random() & random() & random();
    std::vector<FileIndexList> lists(groups + 1);  // the last one: files in no group
    for (std::uint32_t f = 0; f < files; ++f) lists[random() % (groups + 1)].push_back(f);
    ValueGroups index;
    for (std::uint32_t g = 0; g < groups; ++g)
      if (!lists[g].empty()) index[std::to_string(g)] = &lists[g];
    std::string common(size, 0), excluded(size, 0);
    for (std::uint64_t b = 0; b < size; ++b) {
      unsigned char uniform = 0xFF, anyOne = 0, anyZero = 0;
      for (const auto& [value, list] : index) {
        unsigned char one = 0, zero = 0;
        for (std::uint32_t f : *list) one |= data[f * pitch + b], zero |= ~data[f * pitch + b];
        uniform &= ~(one & zero), anyOne |= one, anyZero |= zero;
      }
      common[b] = uniform, excluded[b] = uniform & anyOne & anyZero;
    }
    ArrayBuff block{data.data(), size, files};
    VectorBuff mask{data.data() + pitch * files, size};
    engine.collectGroups(index, block, sizes, rows);
    engine.commonalities(sizes, rows, block, mask);
    EXPECT_EQ(std::string(mask.data, mask.data + size), common);
    engine.exclude(block, rows, mask);
    EXPECT_EQ(std::string(mask.data, mask.data + size), excluded);
  }
}
