// Reading one block of every file, with bit inversion and byte reordering.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "driver/process_exit.h"
#include "engine/buffers.h"
#include "engine/ovrell.h"
#include "options/options.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct ExitCalled {
  int status;
};

[[noreturn]] void throwOnExit(int status) { throw ExitCalled{status}; }

Bytes sequence(unsigned first, unsigned count) {
  Bytes b;
  for (unsigned i = 0; i < count; ++i) b.push_back(static_cast<unsigned char>(first + i));
  return b;
}

class BlockReader : public ::testing::Test {
 protected:
  void SetUp() override {
    previousHandler_ = setExitHandler(throwOnExit);
    std::string pattern = (boost::filesystem::temp_directory_path() / "ovrell-blk-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    previousErr_ = std::cerr.rdbuf(err_.rdbuf());
  }

  void TearDown() override {
    std::cerr.rdbuf(previousErr_);
    setExitHandler(previousHandler_);
    boost::filesystem::remove_all(dir_);
  }

  boost::filesystem::path file(const std::string& name, const Bytes& bytes) {
    std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path;
  }

  // Reads `rowSize` bytes of every file from `start`; returns the rows.
  std::vector<Bytes> read(const FileList& files, std::uint64_t start, std::uint64_t rowSize) {
    const std::uint64_t pitch = pitchOf(rowSize);
    ArrayBuff block{allocateStorage(pitch * files.size()), rowSize, files.size()};
    engine_.readBlock(files, start, block);
    std::vector<Bytes> rows;
    for (std::size_t i = 0; i < files.size(); ++i) {
      rows.emplace_back(block.data + i * pitch, block.data + i * pitch + rowSize);
    }
    freeBuffer(block);
    return rows;
  }

  // The exit status of a read that must end the process.
  int failingRead(const FileList& files, std::uint64_t start, std::uint64_t rowSize) {
    ArrayBuff block{allocateStorage(pitchOf(rowSize) * files.size()), rowSize, files.size()};
    int status = -1;
    try {
      engine_.readBlock(files, start, block);
      ADD_FAILURE() << "the read returned normally";
    } catch (const ExitCalled& e) {
      status = e.status;
    }
    freeBuffer(block);
    return status;
  }

  Bytes reorder(Bytes bytes, std::uint64_t size, std::uint64_t chunk) {
    engine_.reorderBytes(bytes.data(), size, chunk);
    return bytes;
  }

  std::string dir_;
  std::ostringstream err_;
  Options options_;
  Ovrell engine_{options_};

 private:
  ExitHandler previousHandler_ = nullptr;
  std::streambuf* previousErr_ = nullptr;
};

TEST_F(BlockReader, ReorderReversesEveryChunk) {
  EXPECT_EQ(reorder({1, 2, 3, 4}, 4, 2), (Bytes{2, 1, 4, 3}));
  EXPECT_EQ(reorder({1, 2, 3, 4}, 4, 4), (Bytes{4, 3, 2, 1}));
  EXPECT_EQ(reorder(sequence(1, 8), 8, 8), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(reorder(sequence(1, 16), 16, 8),
            (Bytes{8, 7, 6, 5, 4, 3, 2, 1, 16, 15, 14, 13, 12, 11, 10, 9}));
  EXPECT_EQ(reorder(sequence(1, 12), 12, 4), (Bytes{4, 3, 2, 1, 8, 7, 6, 5, 12, 11, 10, 9}));
  EXPECT_EQ(reorder(sequence(1, 4), 4, 1), sequence(1, 4));
  EXPECT_EQ(err_.str(), "");
}

TEST_F(BlockReader, ReorderTouchesOnlyTheFirstSizeBytes) {
  EXPECT_EQ(reorder(sequence(1, 8), 4, 2), (Bytes{2, 1, 4, 3, 5, 6, 7, 8}));
  EXPECT_EQ(reorder(sequence(1, 8), 0, 8), sequence(1, 8));
  EXPECT_EQ(err_.str(), "");
}

TEST_F(BlockReader, ReorderOfAPartialChunkWarnsAndChangesNothing) {
  const std::vector<std::pair<std::uint64_t, std::uint64_t>> cases = {
      {5, 4}, {5, 2}, {6, 4}, {12, 8}};
  for (const auto& [size, chunk] : cases) {
    SCOPED_TRACE("size " + std::to_string(size) + " chunk " + std::to_string(chunk));
    err_.str("");
    EXPECT_EQ(reorder(sequence(1, 16), size, chunk), sequence(1, 16));
    EXPECT_EQ(err_.str(), "Wrong buffer size: bytes not reordered\n");
  }
}

TEST_F(BlockReader, RowsFollowTheFileListAtTheCurrentPitch) {
  FileList files = {file("a", sequence(10, 12)), file("b", sequence(40, 12)),
                    file("c", sequence(70, 12))};
  // rowSize 5: rows 8 bytes apart.
  std::vector<Bytes> rows = read(files, 0, 5);
  EXPECT_EQ(rows, (std::vector<Bytes>{sequence(10, 5), sequence(40, 5), sequence(70, 5)}));
  // From an offset, up to the end of the files (a short block).
  rows = read(files, 9, 3);
  EXPECT_EQ(rows, (std::vector<Bytes>{sequence(19, 3), sequence(49, 3), sequence(79, 3)}));
  // A file listed twice fills two rows.
  rows = read({files[1], files[1]}, 2, 10);
  EXPECT_EQ(rows, (std::vector<Bytes>{sequence(42, 10), sequence(42, 10)}));
}

TEST_F(BlockReader, InverseByteOrderReversesTheBitsOfEveryByte) {
  options_.inverseByteOrder = true;
  Bytes all = sequence(0, 256);
  FileList files = {file("a", all), file("b", {0x01, 0xF0, 0x12})};
  std::vector<Bytes> rows = read({files[1], files[1]}, 0, 3);
  EXPECT_EQ(rows[0], (Bytes{0x80, 0x0F, 0x48}));

  rows = read({files[0], files[0]}, 0, 256);
  for (unsigned v = 0; v < 256; ++v) {
    unsigned reversed = 0;
    for (int bit = 0; bit < 8; ++bit) {
      if (v & (1u << bit)) reversed |= 0x80u >> bit;
    }
    EXPECT_EQ(rows[1][v], reversed) << "byte " << v;
  }
}

TEST_F(BlockReader, SwitchEndiannessReordersEachRow) {
  FileList files = {file("a", sequence(1, 16)), file("b", sequence(101, 16))};
  options_.chunkSize = 2;
  EXPECT_EQ(read(files, 0, 4), (std::vector<Bytes>{{2, 1, 4, 3}, {102, 101, 104, 103}}));
  options_.chunkSize = 4;
  EXPECT_EQ(read(files, 0, 4), (std::vector<Bytes>{{4, 3, 2, 1}, {104, 103, 102, 101}}));
  options_.chunkSize = 8;
  EXPECT_EQ(read(files, 8, 8)[0], (Bytes{16, 15, 14, 13, 12, 11, 10, 9}));
  EXPECT_EQ(err_.str(), "");

  // A row that is not a whole number of chunks is read but not reordered.
  options_.chunkSize = 4;
  EXPECT_EQ(read(files, 0, 6)[0], sequence(1, 6));
  EXPECT_EQ(err_.str(),
            "Wrong buffer size: bytes not reordered\nWrong buffer size: bytes not reordered\n");
}

TEST_F(BlockReader, InversionAndReorderingCombine) {
  FileList files = {file("a", {0x01, 0x80, 0x03, 0xC0})};
  options_.inverseByteOrder = true;
  options_.chunkSize = 2;
  EXPECT_EQ(read({files[0], files[0]}, 0, 4)[0], (Bytes{0x01, 0x80, 0x03, 0xC0}));
  options_.chunkSize = 4;
  EXPECT_EQ(read({files[0], files[0]}, 0, 4)[0], (Bytes{0x03, 0xC0, 0x01, 0x80}));
}

TEST_F(BlockReader, OffsetsBeyondFourGibibytes) {
  const std::string path = dir_ + "/sparse";
  const std::uint64_t fourGiB = 4ULL << 30;
  int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
  ASSERT_GE(fd, 0);
  bool sparse = ::ftruncate(fd, static_cast<off_t>((5ULL << 30) + 5)) == 0;
  const unsigned char marker[2] = {0xAB, 0xCD};
  if (sparse) {
    sparse = ::pwrite(fd, marker, 2, static_cast<off_t>(fourGiB + 3)) == 2;
  }
  struct stat info {};
  if (sparse) sparse = ::fstat(fd, &info) == 0 && info.st_blocks * 512LL < (64LL << 20);
  ::close(fd);
  if (!sparse) {
    boost::filesystem::remove(path);
    GTEST_SKIP() << "the file system does not keep sparse files";
  }
  FileList files = {path, path};
  EXPECT_EQ(read(files, fourGiB, 8)[1], (Bytes{0, 0, 0, 0xAB, 0xCD, 0, 0, 0}));
  EXPECT_EQ(read(files, fourGiB + 4, 1)[0], Bytes{0xCD});
  EXPECT_EQ(read(files, (5ULL << 30), 5)[0], Bytes(5, 0));
  boost::filesystem::remove(path);
}

TEST_F(BlockReader, MissingOrShortFilesEndTheRun) {
  FileList files = {file("a", sequence(0, 10)), dir_ + "/missing"};
  EXPECT_EQ(failingRead(files, 0, 8), 1);
  EXPECT_EQ(err_.str(), "Error reading file '\"" + dir_ + "/missing\"'.\n");

  err_.str("");
  files = {file("b", sequence(0, 10)), file("c", sequence(0, 9))};
  EXPECT_EQ(failingRead(files, 2, 8), 1);
  EXPECT_EQ(err_.str(), "Error reading file '\"" + dir_ + "/c\"'.\n");

  err_.str("");
  EXPECT_EQ(failingRead({files[0], files[0]}, 12, 1), 1);
  EXPECT_EQ(err_.str(), "Error reading file '\"" + dir_ + "/b\"'.\n");
}

TEST_F(BlockReader, QuotesAndAmpersandsInThePathAreEscaped) {
  FileList files = {file("a", sequence(0, 4)), dir_ + "/x&y\"z"};
  EXPECT_EQ(failingRead(files, 0, 4), 1);
  EXPECT_EQ(err_.str(), "Error reading file '\"" + dir_ + "/x&&y&\"z\"'.\n");
}

}  // namespace
