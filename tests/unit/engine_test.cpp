// Engine steps a run cannot isolate: the stream state the printer leaves, and block reads in
// tiles, which fall back to whole blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <boost/filesystem.hpp>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <thread>

#include "base/fatal.h"
#include "engine/ovrell.h"

// Every format; 1-3 leave fill, alignment and upper case set, and OR their base with the old one
// (hex and oct together print decimal).
TEST(Engine, PrinterOverwritesTheRowAndLeavesTheStreamChanged) {
  Options options;
  Ovrell engine(options);
  // clang-format off
  const std::string images[] = {std::string("\0\7\x80\xFF", 4), "00 07 80 FF", "000 007 128 255",
      "000 007 200 377", "00000000 00000111 10000000 11111111", ""};
  // clang-format on
  for (unsigned format : {0u, 1u, 2u, 3u, 4u, 5u})
    for (bool space : {true, false}) {
      options.format = static_cast<output_opt>(format);
      options.space = space;
      unsigned char row[] = {0x00, 0x07, 0x80, 0xFF, 0x55};
      // The same row in two parts, formatted first and written after, as the tiles print it.
      std::ostringstream out, parts;
      out.flags(std::ios::oct), out.width(9);  // only formats 1-4 consume the width
      parts.flags(std::ios::oct), parts.width(9);
      char text[64];
      for (unsigned part : {0u, 2u})
        engine.putFormatted(text, engine.formatBitRowPart(row + part, 2, part == 2, text), 2, parts);
      engine.printBitRow(row, 4, out);
      engine.printBitRow(row + 4, 0, out);  // prints nothing and keeps the byte
      for (std::ostream* stream : {&out, &parts})
        *stream << ' ' << 255 << ' ' << std::setw(4) << 7 << ' ' << std::hex << 171;
      EXPECT_EQ(parts.str(), out.str()) << format << space;
      const bool numbers = format >= 1 && format <= 3;
      std::string want = images[format];
      if (!space) want.erase(std::remove(want.begin(), want.end(), ' '), want.end());
      want += std::string(format % 5 ? 0 : 8, ' ') +
              (format == 1 || format == 2 ? " 255" : " 377") + (numbers ? " 0007" : "    7") +
              (format == 1 ? " AB" : " ab");
      EXPECT_EQ(out.str() + std::string(row, row + 5), want + "0000\x55") << format << space;
      EXPECT_TRUE(!numbers || (out.flags() & std::ios::right)) << format;
    }
}

// Tiles against the whole-block read, for few files and for more than are kept open; a missing
// and a short file end the run with status 1.
TEST(Engine, BlockReadsInTilesCarryTheBytesOfWholeBlocks) {
  Options options;
  Ovrell engine(options);
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
    const FileList files(all.begin(), all.begin() + (round % 8 ? 2 + 2 * round : 130));
    options.inverseByteOrder = round % 3, options.chunkSize = 1 << round % 4;
    const std::uint64_t n = files.size(),
                        size = 49984 + round / options.chunkSize * options.chunkSize;
    const std::uint64_t pitch = pitchOf(size), start = 8 * round;
    std::vector<unsigned char> whole(pitch * n), tiled(whole.size(), 0xAB), seen(whole.size());
    engine.readBlock(files, start, {whole.data(), size, n});
    const bool backwards = round % 4 >= 2;
    std::uint64_t next = backwards ? pitch / 8 : 0;  // where the next tile must start or end
    engine.readThreads = 1 + round % 3;
    engine.tileBytes = round % 3 ? 512 * 1024 : 8 * (1 + round);
    // compute copies the tile out and fills the slot's scratch, on any thread; commit sees the
    // tiles in order (or from the last), in the slot compute had them in, rows and scratch intact.
    std::vector<std::uint64_t> slotTile(engine.tileSlots(), ~0ULL);
    const std::thread::id caller = std::this_thread::get_id();
    const std::uint64_t perByte = round % 3, perTile = round % 5;
    auto scratchWords = [&](std::uint64_t first, std::uint64_t end) {
      return (end - first) * perByte + perTile;
    };
    auto compute = [&](unsigned slot, std::uint64_t first, std::uint64_t end,
                       const std::vector<Word*>& at) {
      for (std::size_t i = 0; i < n; ++i)
        std::memcpy(&seen[i * pitch + first * 8], at[i], (end - first) * 8);
      std::fill_n(engine.tileScratch(slot), scratchWords(first, end), first);
      slotTile[slot] = first;
      if (round % 8 >= 4 && std::this_thread::get_id() != caller)  // a slow helper
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    };
    auto commit = [&](unsigned slot, std::uint64_t first, std::uint64_t end,
                      const std::vector<Word*>& at) {
      EXPECT_EQ(backwards ? end : first, next);
      EXPECT_EQ(slotTile[slot], first);
      const Word* scratch = engine.tileScratch(slot);
      EXPECT_EQ(std::count(scratch, scratch + scratchWords(first, end), first),
                static_cast<std::ptrdiff_t>(scratchWords(first, end)));
      for (std::size_t i = 0; i < n; ++i)
        EXPECT_EQ(std::memcmp(&seen[i * pitch + first * 8], at[i], (end - first) * 8), 0);
      next = backwards ? first : end;
    };
    Ovrell::TileSteps steps{compute, perByte, commit};
    steps.backwards = backwards, steps.scratchPerTile = perTile;
    engine.readBlockInTiles(files, start, {tiled.data(), size, n}, steps);
    EXPECT_EQ(next, backwards ? 0 : pitch / 8);
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_TRUE(std::equal(&whole[i * pitch], &whole[i * pitch] + size, &seen[i * pitch]))
          << round;
    const bool untouched = std::all_of(tiled.begin(), tiled.end(), [](int c) { return c == 0xAB; });
    EXPECT_TRUE(untouched) << round;
    // Into the block's rows: byte for byte what readBlock leaves, stale padding included.
    std::vector<unsigned char> kept(whole.size() + 8, 0x5C), plain(kept);
    engine.readBlock(files, start, {plain.data(), size, n});
    steps.intoBlock = true;
    next = backwards ? pitch / 8 : 0;
    engine.readBlockInTiles(files, start, {kept.data(), size, n}, steps);
    EXPECT_TRUE(kept == plain) << round;
  }
  std::vector<unsigned char> rows(16);
  std::ostringstream err;
  std::streambuf* const savedErr = std::cerr.rdbuf(err.rdbuf());
  setExitHandler([](int status) { std::cerr << "status " << status << "\n", throw status; });
  EXPECT_THROW(engine.readBlock({all[1], dir + "/none"}, 0, {rows.data(), 8, 2}), int);
  // A file too short for the block: nothing of the block is worked on before the message.
  std::vector<unsigned char> block(pitchOf(60000));
  int tiles = 0;
  engine.tileBytes = 64;
  EXPECT_THROW(engine.readBlockInTiles({all[1]}, 8, {block.data(), 60000, 1},
                                       [&](std::uint64_t, std::uint64_t,
                                           const std::vector<Word*>&) { ++tiles; }),
               int);
  EXPECT_EQ(tiles, 0);
  EXPECT_EQ(err.str(), "Error reading file '\"" + dir +
                           "/none\"'.\nstatus 1\nError reading file '\"" + all[1].string() +
                           "\"'.\nstatus 1\n");
  std::cerr.rdbuf(savedErr), setExitHandler(nullptr);
  boost::filesystem::remove_all(dir);
}
