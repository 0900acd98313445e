// Block reads in tiles, which a run cannot isolate: tiles against whole blocks, one reader thread
// or several, and the fall back to whole blocks.
#include "engine/tile_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "base/fatal.h"
#include "engine/block_reader.h"
#include "project/file_checks.h"

// Tiles against the whole-block read, for few files and for many; a file cut short ends the run
// with status 1, also when it shrinks under a tile read straight from its mapping.
TEST(TileReader, BlockReadsInTilesCarryTheBytesOfWholeBlocks) {
  TileReader reader;
  std::mt19937_64 random(11);
  const std::string dir = ::testing::TempDir() + boost::filesystem::unique_path().string();
  boost::filesystem::create_directories(dir);
  FileList all;
  for (int f = 0; f < 130; ++f) {
    std::string bytes(60000, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    all.push_back(dir + "/f" + std::to_string(f));
    std::ofstream(all.back().string(), std::ios::binary) << bytes;
  }
  for (int round = 0; round < 16; ++round) {
    DataFiles files(FileList(all.begin(), all.begin() + (round % 8 ? 2 + 2 * round : 130)));
    checkFileSet(files);
    reader.order = {round % 3 != 0, std::uint64_t{1} << round % 4};
    const std::uint64_t n = files.size(),
                        size = 49984 + round / reader.order.chunkSize * reader.order.chunkSize;
    const std::uint64_t pitch = pitchOf(size), start = 8 * round;
    std::vector<unsigned char> whole(pitch * n), tiled(whole.size(), 0xAB), seen(whole.size());
    readBlock(files, start, {whole.data(), size, n}, reader.order);
    const bool backwards = round % 4 >= 2;
    std::uint64_t next = backwards ? pitch / 8 : 0;  // where the next tile must start or end
    reader.readThreads = 1 + round % 3;
    reader.tileBytes = round % 3 ? 512 * 1024 : 8 * (1 + round);
    reader.leastMapped = round % 2 ? 32 * 1024 : 8;  // tiles read from mappings when they can
    // compute copies the tile out and fills the slot's scratch, on any thread; commit sees the
    // tiles in order (or from the last), in the slot compute had them in, rows and scratch intact.
    std::vector<std::uint64_t> slotTile(reader.tileSlots(), ~0ULL);
    const std::thread::id caller = std::this_thread::get_id();
    const std::uint64_t perByte = round % 3, perTile = round % 5;
    auto scratchWords = [&](std::uint64_t first, std::uint64_t end) {
      return (end - first) * perByte + perTile;
    };
    auto compute = [&](unsigned slot, std::uint64_t first, std::uint64_t end,
                       const std::vector<Word*>& at) {
      for (std::size_t i = 0; i < n; ++i)
        std::memcpy(&seen[i * pitch + first * 8], at[i], (end - first) * 8);
      std::fill_n(reader.tileScratch(slot), scratchWords(first, end), first);
      slotTile[slot] = first;
      if (round % 8 >= 4 && std::this_thread::get_id() != caller)  // a slow helper
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    };
    auto commit = [&](unsigned slot, std::uint64_t first, std::uint64_t end,
                      const std::vector<Word*>& at) {
      EXPECT_EQ(backwards ? end : first, next);
      EXPECT_EQ(slotTile[slot], first);
      const Word* scratch = reader.tileScratch(slot);
      EXPECT_EQ(std::count(scratch, scratch + scratchWords(first, end), first),
                static_cast<std::ptrdiff_t>(scratchWords(first, end)));
      for (std::size_t i = 0; i < n; ++i)
        EXPECT_EQ(std::memcmp(&seen[i * pitch + first * 8], at[i], (end - first) * 8), 0);
      next = backwards ? first : end;
    };
    TileReader::TileSteps steps{compute, perByte, commit};
    steps.backwards = backwards, steps.scratchPerTile = perTile;
    reader.readBlockInTiles(files, start, {tiled.data(), size, n}, steps);
    EXPECT_EQ(next, backwards ? 0 : pitch / 8);
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(std::equal(&whole[i * pitch], &whole[i * pitch] + size, &seen[i * pitch]))
          << round;
    const bool untouched = std::all_of(tiled.begin(), tiled.end(), [](int c) { return c == 0xAB; });
    EXPECT_TRUE(untouched) << round;
    // Into the block's rows: byte for byte what readBlock leaves, stale padding included.
    std::vector<unsigned char> kept(whole.size() + 8, 0x5C), plain(kept);
    readBlock(files, start, {plain.data(), size, n}, reader.order);
    steps.intoBlock = true;
    next = backwards ? pitch / 8 : 0;
    reader.readBlockInTiles(files, start, {kept.data(), size, n}, steps);
    EXPECT_TRUE(kept == plain) << round;
  }
  std::ostringstream err;
  std::streambuf* const savedErr = std::cerr.rdbuf(err.rdbuf());
  setExitHandler([](int status) { std::cerr << "status " << status << "\n", throw status; });
  // A file cut short after the checks is seen at the first read, before a tile is committed.
  DataFiles pair({all[1], all[2]});
  checkFileSet(pair);
  boost::filesystem::resize_file(all[2], 100);
  std::vector<unsigned char> block(2 * pitchOf(60000));
  int tiles = 0;
  reader.tileBytes = 64;
  EXPECT_THROW(reader.readBlockInTiles(
                   pair, 8, {block.data(), 59992, 2},
                   [&](std::uint64_t, std::uint64_t, const std::vector<Word*>&) { ++tiles; }),
               int);
  EXPECT_EQ(tiles, 0);
  EXPECT_EQ(err.str(), "ovrell: the data file '" + all[2].string() +
                           "' changed during the run (its size went from 60000 to 100 bytes)\n"
                           "status 1\n");
  // A file that shrinks under the mapping of its tile: the bus error, in a compute on any thread
  // or in a commit on the caller's, ends the run with the same message.
  reader.order = {false, 1};
  reader.tileBytes = 64 * 1024, reader.leastMapped = 8;
  for (const bool inCommit : {false, true}) {
    err.str("");
    boost::filesystem::copy_file(all[3], all[2],
                                 boost::filesystem::copy_options::overwrite_existing);
    DataFiles mapped({all[1], all[2]});
    checkFileSet(mapped);
    bool cut = false;
    auto cutAndLook = [&](const std::vector<Word*>& at) {
      if (!cut) boost::filesystem::resize_file(all[2], 100), cut = true;
      volatile Word word = at[1][2000];  // 16000 bytes in: a page past the new end
      (void)word;
    };
    TileReader::TileSteps steps{
        nullptr, 0, [&](unsigned, std::uint64_t, std::uint64_t, const std::vector<Word*>& at) {
          if (inCommit) cutAndLook(at);
        }};
    if (!inCommit)
      steps.compute = [&](unsigned, std::uint64_t, std::uint64_t, const std::vector<Word*>& at) {
        cutAndLook(at);
      };
    EXPECT_THROW(reader.readBlockInTiles(mapped, 0, {block.data(), 60000, 2}, steps), int);
    EXPECT_EQ(err.str(), "ovrell: the data file '" + all[2].string() +
                             "' changed during the run (its size went from 60000 to 100 bytes)\n"
                             "status 1\n");
  }
  std::cerr.rdbuf(savedErr), setExitHandler(nullptr);
  boost::filesystem::remove_all(dir);
}
