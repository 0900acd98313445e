// The two walks over a block's masked bits, gathering the group rows and writing the
// dissimilarities, against the obvious walks that visit every bit of the mask one by one.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <deque>
#include <fstream>
#include <random>
#include <sstream>

#include "engine/ovrell.h"

namespace {

// Every bit of the mask from the block's end; column k is the k-th masked bit met.
std::uint64_t slowGather(std::vector<unsigned char>& rows, std::uint64_t pitch,
                         const std::vector<unsigned char>& mask,
                         const std::vector<const unsigned char*>& first) {
  std::uint64_t columns = 0;
  for (std::uint64_t m = mask.size(); m-- > 0;)
    for (unsigned bit = 0; bit < 8; ++bit) {
      if ((mask[m] >> bit & 1U) == 0) continue;
      for (std::size_t g = 0; g < first.size(); ++g) {
        unsigned char& out = rows[g * pitch + columns / 8];
        out = static_cast<unsigned char>((out & ~(1U << columns % 8)) | (first[g][m] >> bit & 1U)
                                                                            << columns % 8);
      }
      ++columns;
    }
  return columns;
}

// The same walk for the writer: a line whenever a column's value is not above the last one, as
// far back as the value reaches; positions are kept one by one.
void slowWrite(std::ostream& out, const std::vector<std::uint16_t>& values, std::uint64_t columns,
               const std::vector<unsigned char>& mask, std::uint64_t start,
               std::deque<std::uint64_t>& queue, std::uint64_t& lastValue) {
  std::uint64_t entry = columns;
  for (std::uint64_t byte = mask.size(); entry > 0 && byte-- > 0;)
    for (unsigned bit = 0; entry > 0 && bit < 8; ++bit) {
      if ((mask[byte] >> bit & 1U) == 0) continue;
      const std::uint64_t q = start * 8 + 8 * byte + (7 - bit), value = values[--entry];
      queue.push_back(q);
      if (value < lastValue + 1) {
        queue.erase(queue.begin(), queue.begin() + (lastValue - value));
        out << '(' << q << '-' << queue.front() << ")\n";
        queue.pop_front();
      }
      lastValue = value;
    }
}

// Random masks that are mostly zero words, with dense and sparse bytes between them; two blocks of
// one attribute in a row, so that the queue and the last value are carried over.
TEST(ColumnWalks, SkippingZeroWordsVisitsTheSameBitsInTheSameOrder) {
  Options options;
  Ovrell engine(options);
  std::mt19937_64 random(5);
  const std::string dis = ::testing::TempDir() + boost::filesystem::unique_path().string();
  options.disFile = dis;
  options.attributes = {"G"};
  for (int round = 0; round < 200; ++round) {
    const std::uint64_t size = 1 + random() % 100, pitch = pitchOf(size), groups = 1 + random() % 5;
    std::vector<unsigned char> fast(groups * pitch, 0x5A), slow(fast);
    std::vector<unsigned char> files(groups * pitch);
    for (auto& byte : files) byte = static_cast<unsigned char>(random());
    std::vector<const unsigned char*> first;
    std::vector<unsigned int> sizes(groups, 1);
    std::vector<unsigned long long*> fileRows;
    for (std::uint64_t g = 0; g < groups; ++g) {
      first.push_back(&files[g * pitch]);
      fileRows.push_back(reinterpret_cast<unsigned long long*>(&files[g * pitch]));
    }
    std::ofstream(dis, std::ios::trunc);
    std::ostringstream expected;
    PositionQueue queue;
    std::deque<std::uint64_t> slowQueue;
    std::uint64_t lastValue = 0, slowLast = 0;
    for (std::uint64_t block = 2; block-- > 0;) {
      std::vector<unsigned char> mask(pitch, 0);
      for (std::uint64_t b = 0; b < size; ++b) {
        const int kind = static_cast<int>(random() % 8);
        if (b / 8 % 3 != 0 && kind > 0) continue;  // two words in three are mostly zero
        mask[b] = static_cast<unsigned char>(kind < 4 ? random() : 1U << random() % 8);
      }
      const std::vector<unsigned char> maskBytes(mask.begin(), mask.begin() + size);
      ArrayBuff rows{fast.data(), size, groups};
      VectorBuff maskBuffer{mask.data(), size};
      const std::uint64_t columns = engine.gatherColumns(rows, maskBuffer, sizes, fileRows);
      ASSERT_EQ(columns, slowGather(slow, pitch, maskBytes, first));
      ASSERT_EQ(fast, slow) << round;
      // Column values that keep every stretch within the positions seen so far.
      std::vector<std::uint16_t> values(std::max<std::uint64_t>(columns, 1));
      std::uint64_t held = slowQueue.size();
      for (std::uint64_t k = columns; k-- > 0;) {
        ++held;
        const std::uint64_t lowest = slowLast + 1 > held ? slowLast + 1 - held : 0;
        values[k] = static_cast<std::uint16_t>(lowest + random() % (held + 2));
        if (values[k] < slowLast + 1) held -= slowLast + 1 - values[k];
        slowLast = values[k];
      }
      slowLast = lastValue;
      VectorBuff valueBuffer{reinterpret_cast<unsigned char*>(values.data()), values.size() * 2};
      ResultFile file;
      engine.writeDissimilarities(valueBuffer, columns, maskBuffer, block * size, queue, lastValue,
                                  0, 2, file);
      slowWrite(expected, values, columns, maskBytes, block * size, slowQueue, slowLast);
      ASSERT_EQ(lastValue, slowLast);
      ASSERT_EQ(queue.size(), slowQueue.size());
    }
    std::ifstream in(dis);
    std::stringstream written;
    written << in.rdbuf();
    ASSERT_EQ(written.str(), expected.str()) << round;
  }
  boost::filesystem::remove(dis);
}

}  // namespace
