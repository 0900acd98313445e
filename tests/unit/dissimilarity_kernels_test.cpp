// The dissimilarity kernels in every value width: the linear and the quadratic column loops against
// the longest agreement computed pair by pair, and the bounded walks over the linear algorithm's
// lists and the writer's queue.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "base/fatal.h"
#include "engine/ovrell.h"

namespace {

std::uint64_t valueAt(const std::vector<unsigned char>& values, std::size_t i, unsigned width) {
  std::uint64_t v = 0;
  std::memcpy(&v, values.data() + i * width, width);  // little-endian machine
  return v;
}

// Blocks of random columns, carried from block to block as the run does; the groups copy each
// other's bits often so that agreements grow long. Both loops must give, for every column, the
// longest run of agreeing columns from it back through all earlier ones, over the pairs that agree.
TEST(DissimilarityKernels, LinearAndQuadraticLoopsGiveTheLongestAgreement) {
  Options options;
  Ovrell engine(options);
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    const unsigned width = 1U << (random() % 4);
    const std::uint64_t groups = 1 + random() % 7, pitch = 16;
    std::vector<unsigned char> rows(pitch * groups), nodeStore(sizeof(NodeType) * groups);
    std::vector<unsigned char> pairs(groups * (groups - 1) / 2 * width + 1);
    VectorBuff pairBuffer{pairs.data(), groups * (groups - 1) / 2 * width};
    engine.resetPairCounters(pairBuffer, width);
    ArrayBuff groupRows{rows.data(), pitch, groups};
    single_list<NodeType> zeros(groups), ones(groups);
    engine.pushGroupNodes(reinterpret_cast<NodeType*>(nodeStore.data()), groupRows, groups, zeros);
    std::vector<std::vector<int>> history(groups);  // every group's bits, oldest column first
    for (int block = 0; block < 4; ++block) {
      const std::uint64_t columns = 1 + random() % 60;
      for (std::uint64_t k = 0; k < columns; ++k)
        for (std::uint64_t g = 0; g < groups; ++g) {
          const int bit = g > 0 && random() % 3 ? history[random() % g].back() : random() % 2;
          history[g].push_back(bit);
          rows[g * pitch + k / 8] = static_cast<unsigned char>(
              (rows[g * pitch + k / 8] & ~(1U << (k % 8))) | (unsigned(bit) << (k % 8)));
        }
      std::vector<unsigned char> linear(columns * width), quadratic(columns * width);
      VectorBuff linearValues{linear.data(), columns * width};
      VectorBuff quadraticValues{quadratic.data(), columns * width};
      engine.linearColumns(zeros, ones, linearValues, columns, width);
      engine.quadraticColumns(groupRows, pairBuffer, quadraticValues, columns, width);
      for (std::uint64_t k = 0; k < columns; ++k) {
        const std::size_t now = history[0].size() - columns + k;
        std::uint64_t longest = 0;
        for (std::uint64_t i = 0; i < groups; ++i)
          for (std::uint64_t j = i + 1; j < groups; ++j) {
            std::uint64_t run = 0;
            while (run <= now && history[i][now - run] == history[j][now - run]) ++run;
            longest = std::max(longest, run);
          }
        SCOPED_TRACE("round " + std::to_string(round) + " column " + std::to_string(now));
        EXPECT_EQ(valueAt(linear, columns - 1 - k, width), longest);
        EXPECT_EQ(valueAt(quadratic, columns - 1 - k, width), longest);
      }
    }
  }
}

TEST(DissimilarityKernels, BrokenLinkageEndsTheRunWithItsMessage) {
  Options options;
  options.disFile = ::testing::TempDir() + "ovrell-kernels-dis";
  options.attributes = {"A"};
  Ovrell engine(options);
  std::ostringstream err;
  std::streambuf* const savedErr = std::cerr.rdbuf(err.rdbuf());
  setExitHandler([](int status) { throw status; });
  auto status = [](auto run) {
    try {
      run();
    } catch (int s) {
      return s;
    }
    return 0;
  };
  unsigned char row = 0;
  std::vector<NodeType> nodes(3, NodeType{&row, 0, nullptr});
  single_list<NodeType> zeros(3), ones(3);
  // A cycle n0 -> n1 -> n0 that never reaches the tail n2.
  zeros.head->next = &nodes[0], nodes[0].next = &nodes[1], nodes[1].next = &nodes[0];
  zeros.tail = &nodes[2], nodes[2].next = zeros.head;
  EXPECT_EQ(status([&] { engine.dissimDoColumn(zeros, ones, 0, 0); }), 1);
  // The zeros list runs into the ones list's sentinel before its tail.
  zeros.head->next = &nodes[0], nodes[0].next = ones.head;
  EXPECT_EQ(status([&] { engine.dissimDoColumn(zeros, ones, 0, 0); }), 1);
  // A column value that asks for more positions than the queue holds.
  unsigned char mask = 0x01, value = 0;
  VectorBuff maskBuffer{&mask, 1}, values{&value, 1};
  PositionQueue queue;
  std::uint64_t last = 3;
  EXPECT_EQ(
      status([&] {
        ResultFile file;
        engine.writeDissimilarities(values, 1, maskBuffer, 0, queue, last, 0, 1, file);
      }),
      1);
  const std::string message =
      "Error - the linear algorithm cannot go on with the lists that an earlier attribute of "
      "this run left linked. Name one attribute per run with -d, or use -q.\n";
  EXPECT_EQ(err.str(), message + message + message);
  std::cerr.rdbuf(savedErr), setExitHandler(nullptr);
  std::remove(options.disFile.c_str());
}

}  // namespace
