// Reading one block of every file, with bit inversion (-b) and chunk reordering (-e).
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>

#include "driver/process_exit.h"
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
