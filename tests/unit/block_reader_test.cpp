// Reading one block of every file, with bit inversion (-b) and chunk reordering (-e).
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cstring>
#include <fstream>
#include <random>

#include "base/fatal.h"
#include "engine/ovrell.h"

TEST(BlockReader, ReordersReadsAtSixtyFourBitOffsetsInvertsBitsAndEndsTheRunOnAShortFile) {
  Options options;
  Ovrell engine(options);
  std::ostringstream err;
  std::streambuf* const savedErr = std::cerr.rdbuf(err.rdbuf());
  setExitHandler([](int status) { throw status; });
  auto reorder = [&](std::uint64_t size, std::uint64_t chunk) {
    std::string buffer = "12345678abcdefgh";
    engine.reorderBytes(reinterpret_cast<unsigned char*>(buffer.data()), size, chunk);
    return buffer + " ";
  };
  EXPECT_EQ(reorder(4, 2) + reorder(8, 4) + reorder(16, 8) + reorder(5, 4),
            "21435678abcdefgh 43218765abcdefgh 87654321hgfedcba 12345678abcdefgh ");
  // The whole block (padding included) of `size` bytes of every file from `start`, or the exit.
  auto read = [&](const FileList& list, std::uint64_t start, std::uint64_t size) {
    std::vector<unsigned char> rows(pitchOf(size) * list.size());
    try {
      engine.readBlock(list, start, {rows.data(), size, list.size()});
    } catch (int status) {
      return "exit " + std::to_string(status);
    }
    return std::string(rows.begin(), rows.end());
  };
  const std::string a = ::testing::TempDir() + boost::filesystem::unique_path().string(),
                    b = a + "b";
  std::ofstream(a, std::ios::binary) << "0123456789abcdef";
  std::ofstream(b, std::ios::binary) << "\x01\xF0\xC5\x12\x01\x80";
  boost::system::error_code refused;  // a sparse file of 5 GiB, if the file system allows one
  boost::filesystem::resize_file(a, 5ULL << 30, refused);
  if (!refused) {
    std::fstream(a, std::ios::in | std::ios::out).seekp((4ULL << 30) + 1) << "xy";
    EXPECT_EQ(read({a}, 4ULL << 30, 4), std::string("\0xy\0\0\0\0\0", 8));
  }
  options.inverseByteOrder = true, options.chunkSize = 2;  // bits inverted, then pairs swapped
  EXPECT_EQ(read({b, a}, 2, 4),
            std::string("\x48\xA3\x01\x80\0\0\0\0\xCC\x4C\xAC\x2C\0\0\0\0", 16));
  EXPECT_EQ(read({a, a + "&\"x"}, 0, 4), "exit 1");  // a missing file
  EXPECT_EQ(read({b}, 4, 4), "exit 1");              // a file shorter than the block
  EXPECT_EQ(err.str(), "Wrong buffer size: bytes not reordered\nError reading file '\"" + a +
                           "&&&\"x\"'.\nError reading file '\"" + b + "\"'.\n");
  std::cerr.rdbuf(savedErr), setExitHandler(nullptr);
  boost::filesystem::remove(a), boost::filesystem::remove(b);
  if (refused) GTEST_SKIP() << "the file system refuses a sparse file of 5 GiB";
}

// Tiles against the whole-block read: the same bytes for every file, tiles that cover the words
// in order, the block's storage untouched without keepBlock; with too many files to keep open,
// and with a missing file, the whole-block read and its message.
TEST(BlockReader, TilesCarryTheSameBytesAsTheWholeBlock) {
  Options options;
  Ovrell engine(options);
  std::mt19937_64 random(11);
  const std::string dir = ::testing::TempDir() + boost::filesystem::unique_path().string();
  boost::filesystem::create_directories(dir);
  FileList all;
  for (int f = 0; f < 140; ++f) {
    std::string bytes(60000, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    all.push_back(dir + "/f" + std::to_string(f));
    std::ofstream(all.back().string(), std::ios::binary) << bytes;
  }
  for (int round = 0; round < 40; ++round) {
    const std::size_t n = round % 10 == 0 ? 140 : 2 + random() % 100;
    const FileList files(all.begin(), all.begin() + n);
    options.inverseByteOrder = random() % 2;
    options.chunkSize = 1u << random() % 4;
    std::uint64_t size = 1 + random() % 50000;
    size -= size % options.chunkSize;
    const std::uint64_t start = (random() % 1000) * 8, words = pitchOf(size) / 8;
    engine.readThreads = 1 + random() % 2;
    engine.tileBytes = random() % 2 ? 512 * 1024 : 8 * (1 + random() % 64);
    std::vector<unsigned char> whole(pitchOf(size) * n), tiled(whole.size(), 0xAB), seen(whole);
    engine.readBlock(files, start, {whole.data(), size, n});
    std::uint64_t next = 0;
    engine.readBlockInTiles(
        files, start, {tiled.data(), size, n},
        [&](std::uint64_t first, std::uint64_t end, const std::vector<Word*>& fileRows) {
          EXPECT_EQ(first, next);
          next = end;
          for (std::size_t i = 0; i < n; ++i)
            std::memcpy(&seen[i * pitchOf(size) + first * 8], fileRows[i], (end - first) * 8);
        });
    EXPECT_EQ(next, words);
    for (std::size_t i = 0; i < n; ++i) {
      const std::uint64_t row = i * pitchOf(size);
      ASSERT_TRUE(std::equal(&whole[row], &whole[row] + size, &seen[row])) << round << " " << i;
    }
    const bool untouched = std::all_of(tiled.begin(), tiled.end(), [](int c) { return c == 0xAB; });
    EXPECT_TRUE(untouched) << round;
  }
  std::ostringstream err;
  std::streambuf* const savedErr = std::cerr.rdbuf(err.rdbuf());
  setExitHandler([](int status) { throw status; });
  std::vector<unsigned char> rows(3 * 16);
  const FileList missing{all[0], dir + "/none", all[1]};
  EXPECT_THROW(engine.readBlockInTiles(missing, 0, {rows.data(), 16, 3},
                                       [](auto, auto, const auto&) {}),
               int);
  EXPECT_EQ(err.str(), "Error reading file '\"" + dir + "/none\"'.\n");
  std::cerr.rdbuf(savedErr), setExitHandler(nullptr);
  boost::filesystem::remove_all(dir);
}
