// The walk over a mask's set bits that orders the dissimilarity kernels' columns, against the
// obvious walk bit by bit: masks of every length around a word and a 64-byte line, sparse (whole
// zero lines and words skipped) and dense, and bits at both ends.
#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "engine/buffers.h"

TEST(SetBits, FromTheEndAsTheSlowWalkVisitsThem) {
  std::mt19937_64 random(5);
  for (std::uint64_t size = 0; size < 300; ++size) {
    for (unsigned density : {0U, 1U, 40U, 255U}) {
      std::vector<unsigned char> mask(size + 8, 0xFF);  // past `size`: never visited
      for (std::uint64_t i = 0; i < size; ++i) {
        mask[i] = 0;
        for (unsigned bit = 0; bit < 8; ++bit)
          if (random() % 256 < density) mask[i] |= static_cast<unsigned char>(1U << bit);
      }
      if (size > 0 && density == 1) mask[0] |= 1, mask[size - 1] |= 0x80;
      std::vector<std::pair<std::uint64_t, unsigned>> slow, fast;
      for (std::uint64_t byte = size; byte-- > 0;)
        for (unsigned bit = 0; bit < 8; ++bit)
          if ((mask[byte] >> bit) & 1U) slow.emplace_back(byte, bit);
      forEachSetBitFromEnd(mask.data(), size,
                           [&](std::uint64_t byte, unsigned bit) { fast.emplace_back(byte, bit); });
      ASSERT_EQ(fast, slow) << "size " << size << ", density " << density;
    }
  }
}
