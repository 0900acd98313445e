// End-to-end tests of the block-wise commonalities pass: the block size that
// follows from the memory limit, the pieces printed per block back to back,
// the refusal of a limit that leaves fewer than eight bytes per block, and a
// property check of the printed masks against a bit-by-bit computation over
// random files.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "sandbox.h"

namespace {

const char kTooManyFiles[] =
    "Too many files to process. Try to increase memory limit using '-m' option\n";

struct DataFile {
  std::string name;
  std::string bytes;
  std::vector<std::string> values;  // one per attribute; "" is the empty value
};

void writeProject(const Sandbox& sb, const std::vector<std::string>& attributes,
                  const std::vector<DataFile>& files) {
  std::string project = "file";
  for (const auto& a : attributes) project += " " + a;
  project += "\n";
  for (const auto& f : files) {
    sb.write(f.name, f.bytes);
    project += f.name;
    for (const auto& v : f.values) project += v.empty() ? " ''" : " " + v;
    project += "\n";
  }
  sb.write("proj.txt", project);
}

// Two files a.bin (zero bytes) and b.bin (NOT mask) in one group of attribute
// G, so that G's commonality mask is `mask`.
void writeMaskProject(const Sandbox& sb, const std::string& mask) {
  std::string complement;
  for (unsigned char c : mask) complement.push_back(static_cast<char>(~c));
  writeProject(sb, {"G"},
               {{"a.bin", std::string(mask.size(), '\0'), {"g"}}, {"b.bin", complement, {"g"}}});
}

// The mask of one attribute, bit by bit: a bit is set when every group agrees
// on it internally; with `exclude`, it is also cleared when all grouped files
// agree on it.
std::string bitByBitMask(const std::vector<DataFile>& files, size_t attribute, bool exclude) {
  std::map<std::string, std::vector<size_t>> groups;
  std::vector<size_t> grouped;
  for (size_t f = 0; f < files.size(); ++f) {
    const std::string& value = files[f].values[attribute];
    if (value.empty()) continue;
    groups[value].push_back(f);
    grouped.push_back(f);
  }
  const size_t size = files.front().bytes.size();
  std::string mask(size, '\0');
  for (size_t b = 0; b < size; ++b) {
    for (int j = 0; j < 8; ++j) {
      auto bit = [&](size_t f) { return (static_cast<unsigned char>(files[f].bytes[b]) >> j) & 1; };
      bool common = true;
      for (const auto& g : groups)
        for (size_t f : g.second) common = common && bit(f) == bit(g.second.front());
      if (exclude) {
        bool allSame = true;
        for (size_t f : grouped) allSame = allSame && bit(f) == bit(grouped.front());
        if (allSame) common = false;
      }
      if (common) mask[b] = static_cast<char>(mask[b] | (1 << j));
    }
  }
  return mask;
}

std::string formatRow(const std::string& bytes, int format, bool space) {
  if (format == 0) return bytes;
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const unsigned value = static_cast<unsigned char>(bytes[i]);
    char image[16];
    if (format == 1) std::snprintf(image, sizeof image, "%02X", value);
    if (format == 2) std::snprintf(image, sizeof image, "%03u", value);
    if (format == 3) std::snprintf(image, sizeof image, "%03o", value);
    if (format == 4) {
      for (int j = 0; j < 8; ++j) image[j] = (value >> (7 - j)) & 1 ? '1' : '0';
      image[8] = '\0';
    }
    text += image;
    if (space && i + 1 < bytes.size()) text += " ";
  }
  return text;
}

// The text printed for the masks of several attributes: block by block from
// the start of the files, and within a block attribute by attribute, each
// piece formatted on its own.
std::string printedBlocks(const std::vector<std::string>& masks, size_t blockSize, int format,
                          bool space) {
  std::string text;
  const size_t size = masks.front().size();
  for (size_t start = 0; start < size; start += blockSize)
    for (const auto& mask : masks) text += formatRow(mask.substr(start, blockSize), format, space);
  return text;
}

std::string printedBlocks(const std::string& mask, size_t blockSize, int format = 1,
                          bool space = true) {
  return printedBlocks(std::vector<std::string>{mask}, blockSize, format, space);
}

std::string countingBytes(size_t size, unsigned first = 0) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(first + i));
  return bytes;
}

// Compares long texts and reports the first differing position instead of
// both texts.
::testing::AssertionResult sameText(const std::string& expected, const std::string& actual) {
  if (expected == actual) return ::testing::AssertionSuccess();
  size_t i = 0;
  while (i < expected.size() && i < actual.size() && expected[i] == actual[i]) ++i;
  const size_t from = i < 20 ? 0 : i - 20;
  return ::testing::AssertionFailure()
         << "lengths " << expected.size() << " (expected) and " << actual.size()
         << " (actual), first difference at " << i << "\n  expected ..."
         << expected.substr(from, 60) << "\n  actual   ..." << actual.substr(from, 60);
}

void expectSuccess(const RunResult& r, const std::string& out) {
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(sameText(out, r.out));
}

// Two files: 16 × 2 bytes of fixed cost and 3 bytes per block byte, so
// -m 56 gives 8-byte blocks, -m 62 a raw size of 10 rounded up to 16, and
// -m 80 16-byte blocks.

TEST(Blocks, PiecesTouchAtBlockBoundaries) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(12));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}), "00 01 02 03 04 05 06 0708 09 0A 0B");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "-f", "2", "G"}),
                "000 001 002 003 004 005 006 007008 009 010 011");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "-f", "4", "G"}),
                printedBlocks(countingBytes(12), 8, 4, true));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "-n", "G"}), "000102030405060708090A0B");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "-f", "0", "G"}), countingBytes(12));
}

TEST(Blocks, FileSizeAMultipleOfTheBlockSize) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(16, 0xF0));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}),
                "F0 F1 F2 F3 F4 F5 F6 F7F8 F9 FA FB FC FD FE FF");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "80", "G"}),
                "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF");

  writeMaskProject(sb, countingBytes(32));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "80", "G"}), printedBlocks(countingBytes(32), 16));
}

TEST(Blocks, MaskThatDiffersBetweenBlocks) {
  Sandbox sb;
  writeMaskProject(sb, std::string(8, '\xFF') + std::string(8, '\0') + "\x0F\x0F\x0F");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}),
                "FF FF FF FF FF FF FF FF00 00 00 00 00 00 00 000F 0F 0F");
}

TEST(Blocks, RawBlockSizeIsRoundedUpToAMultipleOfEight) {
  Sandbox sb;
  const std::string mask = countingBytes(40, 0x40);
  writeMaskProject(sb, mask);
  // Raw size 10: blocks of 16, 16 and a short one of 8.
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "62", "G"}), printedBlocks(mask, 16));
  EXPECT_NE(printedBlocks(mask, 16), printedBlocks(mask, 8));
}

TEST(Blocks, ShortLastBlockOfOneByte) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(17, 0xA0));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}),
                "A0 A1 A2 A3 A4 A5 A6 A7A8 A9 AA AB AC AD AE AFB0");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "-f", "3", "G"}),
                printedBlocks(countingBytes(17, 0xA0), 8, 3, true));
}

// With 16-byte blocks and 37-byte files, the last block's rows are 5 bytes
// long and packed at an 8-byte pitch instead of 16; every group must still
// compare its own files' rows.
TEST(Blocks, ShortBlockRowsOfSeveralGroups) {
  Sandbox sb;
  std::vector<DataFile> files;
  const char* values[] = {"x", "y", "x", "y"};
  for (int f = 0; f < 4; ++f) {
    std::string bytes;
    for (int i = 0; i < 37; ++i) bytes.push_back(static_cast<char>((i * 29 + f * 7) ^ (f * i)));
    files.push_back({"f" + std::to_string(f) + ".bin", bytes, {values[f]}});
  }
  writeProject(sb, {"G"}, files);
  const std::string mask = bitByBitMask(files, 0, false);
  // Four files: 64 bytes of fixed cost and 5 bytes per block byte.
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "144", "G"}), printedBlocks(mask, 16));
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "104", "G"}), printedBlocks(mask, 8));
  expectSuccess(sb.run({"-p", "proj.txt", "G"}), printedBlocks(mask, 40));
}

TEST(Blocks, SeveralAttributesInterleavePerBlock) {
  Sandbox sb;
  // G groups {a, b}, H groups {a, c}; a is zero, so G's mask is NOT b and H's
  // mask is NOT c.
  const std::string maskG = countingBytes(12, 0x10), maskH = countingBytes(12, 0x80);
  std::string b, c;
  for (size_t i = 0; i < 12; ++i) {
    b.push_back(static_cast<char>(~maskG[i]));
    c.push_back(static_cast<char>(~maskH[i]));
  }
  writeProject(sb, {"G", "H"},
               {{"a.bin", std::string(12, '\0'), {"g", "h"}},
                {"b.bin", b, {"g", "1"}},
                {"c.bin", c, {"2", "h"}}});
  // Three files: 48 bytes of fixed cost and 4 bytes per block byte.
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "80", "G", "H"}),
                "10 11 12 13 14 15 16 17"
                "80 81 82 83 84 85 86 87"
                "18 19 1A 1B"
                "88 89 8A 8B");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "80", "H", "G"}),
                printedBlocks({maskH, maskG}, 8, 1, true));

  RunResult r = sb.run({"-p", "proj.txt", "-m", "80", "-c", "res", "G", "H"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(sb.read("res_0"), "10 11 12 13 14 15 16 1718 19 1A 1B");
  EXPECT_EQ(sb.read("res_1"), "80 81 82 83 84 85 86 8788 89 8A 8B");
}

TEST(Blocks, ResultFileGrowsBlockByBlock) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(20, 0x30));
  sb.write("res", "left over from an earlier run");
  RunResult r = sb.run({"-p", "proj.txt", "-m", "56", "-c", "res", "-f", "0", "G"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(sb.read("res"), countingBytes(20, 0x30));
  r = sb.run({"-p", "proj.txt", "-m", "56", "-c", "res", "G"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(sb.read("res"), printedBlocks(countingBytes(20, 0x30), 8));
}

TEST(BlockBudget, RawBlockOfSevenBytesIsRefused) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(24));
  for (const char* limit : {"55", "33", "32"}) {
    SCOPED_TRACE(limit);
    RunResult r = sb.run({"-p", "proj.txt", "-m", limit, "G"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, kTooManyFiles);
    EXPECT_EQ(r.out, "");
  }
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}), printedBlocks(countingBytes(24), 8));
}

TEST(BlockBudget, ExactLimitGrowsWithTheNumberOfFiles) {
  Sandbox sb;
  const std::string mask = countingBytes(20, 0x61);
  std::string complement;
  for (unsigned char c : mask) complement.push_back(static_cast<char>(~c));
  writeProject(sb, {"G"},
               {{"a.bin", std::string(20, '\0'), {"g"}},
                {"b.bin", complement, {"g"}},
                {"c.bin", std::string(20, '\x55'), {"single"}}});
  // Three files: 48 bytes of fixed cost and 4 bytes per block byte.
  RunResult r = sb.run({"-p", "proj.txt", "-m", "79", "G"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, kTooManyFiles);
  EXPECT_EQ(r.out, "");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "80", "G"}), printedBlocks(mask, 8));
  // Two files need less: 56 bytes suffice for 8-byte blocks.
  writeMaskProject(sb, mask);
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "79", "G"}), printedBlocks(mask, 16));
}

TEST(BlockBudget, RefusedBeforeTheBlockIsClampedToTheFileSize) {
  Sandbox sb;
  writeMaskProject(sb, "\x01\x02\x03");
  RunResult r = sb.run({"-p", "proj.txt", "-m", "55", "G"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, kTooManyFiles);
  EXPECT_EQ(r.out, "");
  expectSuccess(sb.run({"-p", "proj.txt", "-m", "56", "G"}), "01 02 03");
}

TEST(BlockBudget, RefusalComesAfterOldResultsWereDeleted) {
  Sandbox sb;
  writeMaskProject(sb, countingBytes(16));
  sb.write("res", "old");
  RunResult r = sb.run({"-p", "proj.txt", "-m", "40", "-c", "res", "G"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, kTooManyFiles);
  EXPECT_EQ(r.out, "");
  EXPECT_FALSE(sb.exists("res"));
}

// A limit below the fixed cost wraps around to a huge block size, which is
// then clamped to the file size: one block, one piece.
TEST(BlockBudget, LimitBelowTheFixedCostWrapsAround) {
  Sandbox sb;
  const std::string mask = countingBytes(40, 0xC0);
  writeMaskProject(sb, mask);
  for (const char* limit : {"4GB", "4gb", "31", "1", "8GB"}) {
    SCOPED_TRACE(limit);
    expectSuccess(sb.run({"-p", "proj.txt", "-m", limit, "G"}), printedBlocks(mask, 40));
  }
}

// Five random files, mostly alike, with two attributes:
//   G: {0, 1}, {2, 3}, {4}        H: {0, 1, 2}, {4}; file 3 has no value.
std::vector<DataFile> randomFiles(size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> byte(0, 255);
  std::string base;
  for (size_t i = 0; i < size; ++i) base.push_back(static_cast<char>(byte(random)));
  const char* g[] = {"x", "x", "y", "y", "z"};
  const char* h[] = {"p", "p", "p", "", "q"};
  std::vector<DataFile> files;
  for (int f = 0; f < 5; ++f) {
    std::string bytes = base;
    for (auto& c : bytes) c = static_cast<char>(c ^ (byte(random) & byte(random) & byte(random)));
    files.push_back({"data/file" + std::to_string(f) + ".bin", bytes, {g[f], h[f]}});
  }
  return files;
}

size_t roundUpToEight(size_t n) { return (n + 7) / 8 * 8; }

// Memory limits for five files (80 bytes of fixed cost, 6 bytes per block
// byte) and the block size each gives; 0 stands for one block over the file.
struct Limit {
  std::vector<std::string> options;
  size_t blockSize;
};
const std::vector<Limit> kLimitsForFiveFiles = {
    {{"-m", "128"}, 8},   {{"-m", "158"}, 16},  {{"-m", "224"}, 24}, {{"-m", "680"}, 104},
    {{"-m", "800"}, 120}, {{"-m", "1KB"}, 160}, {{"-m", "4GB"}, 0},  {{}, 0},
};

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(BlocksProperty, PrintedMasksMatchABitByBitComputation) {
  for (size_t size : {3000u, 3001u}) {
    Sandbox sb;
    const std::vector<DataFile> files = randomFiles(size, static_cast<unsigned>(size));
    writeProject(sb, {"G", "H"}, files);
    const std::vector<std::string> masks = {bitByBitMask(files, 0, false),
                                            bitByBitMask(files, 1, false)};
    for (size_t i = 0; i < kLimitsForFiveFiles.size(); ++i) {
      const Limit& limit = kLimitsForFiveFiles[i];
      const size_t blockSize = limit.blockSize ? limit.blockSize : roundUpToEight(size);
      for (int format = 0; format <= 4; ++format) {
        const bool space = (format + i) % 2 == 0;
        SCOPED_TRACE("size " + std::to_string(size) + ", block " + std::to_string(blockSize) +
                     ", format " + std::to_string(format) + (space ? "" : " -n"));
        std::vector<std::string> args =
            concat({"-p", "proj.txt", "-f", std::to_string(format)}, limit.options);
        if (!space) args.push_back("-n");
        args.push_back("G");
        args.push_back("H");
        expectSuccess(sb.run(args), printedBlocks(masks, blockSize, format, space));
      }
    }
  }
}

TEST(BlocksProperty, ExclusionOverManyBlocks) {
  Sandbox sb;
  const std::vector<DataFile> files = randomFiles(2001, 7);
  writeProject(sb, {"G", "H"}, files);
  const std::vector<std::string> masks = {bitByBitMask(files, 0, true),
                                          bitByBitMask(files, 1, true)};
  for (const Limit& limit : kLimitsForFiveFiles) {
    const size_t blockSize = limit.blockSize ? limit.blockSize : roundUpToEight(2001);
    SCOPED_TRACE(blockSize);
    expectSuccess(sb.run(concat(concat({"-p", "proj.txt", "-x"}, limit.options), {"H", "G"})),
                  printedBlocks({masks[1], masks[0]}, blockSize, 1, true));
  }
}

// Without knowing how a mask is computed: the text printed in several blocks
// is the one-block text with the blank between the pieces left out.
TEST(BlocksProperty, SplittingIntoBlocksOnlyDropsBlanksBetweenPieces) {
  Sandbox sb;
  const std::vector<DataFile> files = randomFiles(3001, 11);
  writeProject(sb, {"G", "H"}, files);
  const int widths[] = {1, 2, 3, 3, 8};
  for (int format = 0; format <= 4; ++format) {
    for (bool space : {true, false}) {
      std::vector<std::string> args = {"-p", "proj.txt", "-f", std::to_string(format), "G"};
      if (!space) args.push_back("-n");
      RunResult whole = sb.run(args);
      ASSERT_EQ(whole.status, 0);
      for (const Limit& limit : kLimitsForFiveFiles) {
        if (limit.blockSize == 0) continue;
        SCOPED_TRACE("format " + std::to_string(format) + (space ? "" : " -n") + ", block " +
                     std::to_string(limit.blockSize));
        RunResult split = sb.run(concat(args, limit.options));
        EXPECT_EQ(split.status, 0);
        EXPECT_EQ(split.err, "");
        const size_t pieceWidth = limit.blockSize * static_cast<size_t>(widths[format]) +
                                  (space && format != 0 ? limit.blockSize - 1 : 0);
        std::string rejoined;
        for (size_t at = 0; at < split.out.size(); at += pieceWidth) {
          if (!rejoined.empty() && space && format != 0) rejoined += " ";
          rejoined += split.out.substr(at, pieceWidth);
        }
        EXPECT_TRUE(sameText(whole.out, rejoined));
      }
    }
  }
}

}  // namespace
