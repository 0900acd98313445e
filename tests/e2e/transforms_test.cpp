// End-to-end tests of what decides the commonality mask: the value groups of
// the attribute, the exclusion of bits equal in all files (-x), the bit
// inversion inside each input byte (-b) and the byte reordering in chunks (-e).
// All masks are printed in hexadecimal to standard output.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "sandbox.h"

namespace {

struct DataFile {
  std::string name;
  std::string bytes;
  std::vector<std::string> values;  // one per attribute; "" is the empty value
};

void writeProject(const Sandbox& sb, const std::vector<DataFile>& files,
                  const std::vector<std::string>& attributes = {"G"}) {
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

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Runs on attribute G with the given options; expects success, no message,
// and `out` on standard output.
void expectMask(const Sandbox& sb, const std::vector<std::string>& options,
                const std::string& out) {
  std::string label;
  for (const auto& o : options) label += o + " ";
  SCOPED_TRACE("options: " + label);
  RunResult r = sb.run(concat({"-p", "proj.txt", "G"}, options));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, out);
}

std::string complement(const std::string& bytes) {
  std::string result;
  for (unsigned char c : bytes) result.push_back(static_cast<char>(~c));
  return result;
}

std::string invertBits(const std::string& bytes) {
  std::string result;
  for (unsigned char c : bytes) {
    unsigned char mirrored = 0;
    for (int j = 0; j < 8; ++j)
      if (c & (1 << j)) mirrored |= static_cast<unsigned char>(1 << (7 - j));
    result.push_back(static_cast<char>(mirrored));
  }
  return result;
}

std::string reverseChunks(const std::string& bytes, size_t chunk) {
  std::string result;
  for (size_t at = 0; at < bytes.size(); at += chunk) {
    std::string piece = bytes.substr(at, chunk);
    result.append(piece.rbegin(), piece.rend());
  }
  return result;
}

// Hexadecimal text of a mask printed block by block (no blank between pieces).
std::string hexBlocks(const std::string& mask, size_t blockSize) {
  std::string text;
  for (size_t i = 0; i < mask.size(); ++i) {
    char image[4];
    std::snprintf(image, sizeof image, "%02X", static_cast<unsigned char>(mask[i]));
    if (i % blockSize != 0) text += " ";
    text += image;
  }
  return text;
}

std::string countingBytes(size_t size, unsigned first) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(first + i));
  return bytes;
}

// Two files, zero bytes and `data`, in one group of G: the mask is NOT data
// after the input transformations.
void writePair(const Sandbox& sb, const std::string& data) {
  writeProject(sb, {{"a.bin", std::string(data.size(), '\0'), {"g"}}, {"b.bin", data, {"g"}}});
}

TEST(GroupMasks, SingleFileGroupsConstrainNothing) {
  Sandbox sb;
  writeProject(
      sb,
      {{"a.bin", "\x0F\x01", {"x"}}, {"b.bin", "\xF0\xFF", {"y"}}, {"c.bin", "\x55\xAA", {"z"}}});
  expectMask(sb, {}, "FF FF");
  writeProject(sb, {{"a.bin", "\x0F\x01", {"x"}}, {"b.bin", "\xF0\xFF", {"y"}}});
  expectMask(sb, {}, "FF FF");
}

TEST(GroupMasks, PairAndSingleFileGiveNotXorOfThePair) {
  Sandbox sb;
  const DataFile a{"a.bin", "\x0F\x01", {"x"}}, b{"b.bin", std::string("\x1F\x00", 2), {"x"}},
      c{"c.bin", "\xAA\x55", {"y"}};
  writeProject(sb, {a, b, c});
  expectMask(sb, {}, "EF FE");
  writeProject(sb, {c, a, b});
  expectMask(sb, {}, "EF FE");
  writeProject(sb, {a, c, b});
  expectMask(sb, {}, "EF FE");
}

TEST(GroupMasks, TwoPairsEachConstrainTheMask) {
  Sandbox sb;
  const DataFile a{"a.bin", std::string("\x0F\x00", 2), {"x"}},
      b{"b.bin", std::string("\x1F\x00", 2), {"x"}}, c{"c.bin", "\x30\xF0", {"y"}},
      d{"d.bin", "\x30\xF1", {"y"}};
  writeProject(sb, {a, b, c, d});
  expectMask(sb, {}, "EF FE");
  writeProject(sb, {a, c, b, d});
  expectMask(sb, {}, "EF FE");
}

TEST(GroupMasks, GroupOfThreeComparesAllItsFiles) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x01", {"x"}}, {"b.bin", "\x01", {"x"}}, {"c.bin", "\x03", {"x"}}});
  expectMask(sb, {}, "FD");
  writeProject(sb, {{"a.bin", "\x01", {"x"}}, {"b.bin", "\x03", {"x"}}, {"c.bin", "\x01", {"x"}}});
  expectMask(sb, {}, "FD");
  writeProject(sb, {{"a.bin", "\x81", {"x"}}, {"b.bin", "\x01", {"x"}}, {"c.bin", "\x01", {"x"}}});
  expectMask(sb, {}, "7F");
}

TEST(GroupMasks, FilesWithAnEmptyValueAreInNoGroup) {
  Sandbox sb;
  // c and d share the empty value but differ everywhere; had they formed a
  // group, the mask would be all zero.
  writeProject(sb, {{"a.bin", "\x0F\x0F", {"x"}},
                    {"c.bin", std::string("\x00\x00", 2), {""}},
                    {"b.bin", "\x1F\x0F", {"x"}},
                    {"d.bin", "\xFF\xFF", {""}}});
  expectMask(sb, {}, "EF FF");
  expectMask(sb, {"-i"}, "EF FF");
}

TEST(GroupMasks, NoFileWithAValueLeavesAllOnes) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F\x0F", {""}}, {"b.bin", std::string("\xF1\x00", 2), {""}}});
  expectMask(sb, {}, "FF FF");
  expectMask(sb, {"-x"}, "00 00");
}

TEST(GroupMasks, EachAttributeUsesItsOwnGroups) {
  Sandbox sb;
  writeProject(
      sb,
      {{"a.bin", "\x0F", {"x", "p"}}, {"b.bin", "\x1F", {"x", "q"}}, {"c.bin", "\x8F", {"y", "p"}}},
      {"G", "H"});
  RunResult r = sb.run({"-p", "proj.txt", "G", "H", "-f", "4"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "1110111101111111");  // G then H
}

TEST(ExcludeOption, IdenticalPairClearsEveryBit) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"b.bin", "\x0F", {"x"}}});
  expectMask(sb, {}, "FF");
  expectMask(sb, {"-x"}, "00");
  expectMask(sb, {"--exclude"}, "00");
}

TEST(ExcludeOption, KeepsOnlyBitsThatDifferBetweenGroups) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", std::string("\x0F\x00", 2), {"x"}},
                    {"b.bin", std::string("\x0F\x00", 2), {"x"}},
                    {"c.bin", std::string("\x1F\x00", 2), {"y"}},
                    {"d.bin", std::string("\x1F\x00", 2), {"y"}}});
  expectMask(sb, {}, "FF FF");
  expectMask(sb, {"-x"}, "10 00");
  expectMask(sb, {"-x", "-f", "4"}, "00010000 00000000");
}

// The bits of a byte are cleared one by one: a byte that differs somewhere
// still loses its bits that are equal in all files.
TEST(ExcludeOption, WorksBitByBitNotByteByByte) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"b.bin", "\x0F", {"x"}}, {"c.bin", "\x1F", {"y"}}});
  expectMask(sb, {}, "FF");
  expectMask(sb, {"-x"}, "10");
}

TEST(ExcludeOption, SingleFileGroups) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F\x33", {"x"}}, {"b.bin", "\x1F\x33", {"y"}}});
  expectMask(sb, {"-x"}, "10 00");
}

TEST(ExcludeOption, OneGroupedFileClearsEveryBit) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"b.bin", "\x1F", {""}}});
  expectMask(sb, {}, "FF");
  expectMask(sb, {"-x"}, "00");
}

TEST(ExcludeOption, FilesWithoutAValueAreNotCompared) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"c.bin", "\xFF", {""}}, {"b.bin", "\x0F", {"x"}}});
  expectMask(sb, {"-x"}, "00");
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"c.bin", "\xFF", {"y"}}, {"b.bin", "\x0F", {"x"}}});
  expectMask(sb, {"-x"}, "F0");
}

TEST(InverseByteOrder, MaskBitsMoveWithTheInputBitsAndBytesKeepTheirPlaces) {
  Sandbox sb;
  writePair(sb, "\x01");
  expectMask(sb, {}, "FE");
  expectMask(sb, {"-b"}, "7F");
  writePair(sb, "\x01\xF0\x03\x5A");
  expectMask(sb, {}, "FE 0F FC A5");
  expectMask(sb, {"-b"}, "7F F0 3F A5");
  expectMask(sb, {"--inverse-byte-order", "-f", "4", "-n"}, "01111111111100000011111110100101");
}

TEST(InverseByteOrder, ExclusionSeesTheInvertedBits) {
  Sandbox sb;
  writeProject(sb, {{"a.bin", "\x0F", {"x"}}, {"b.bin", "\x0F", {"x"}}, {"c.bin", "\x1F", {"y"}}});
  expectMask(sb, {"-x", "-b"}, "08");
}

TEST(SwitchEndianness, ChunksReorderTheMaskBytes) {
  Sandbox sb;
  writePair(sb, countingBytes(8, 1));
  expectMask(sb, {}, "FE FD FC FB FA F9 F8 F7");
  expectMask(sb, {"-e", "1"}, "FE FD FC FB FA F9 F8 F7");
  expectMask(sb, {"-e", "2"}, "FD FE FB FC F9 FA F7 F8");
  expectMask(sb, {"-e", "4"}, "FB FC FD FE F7 F8 F9 FA");
  expectMask(sb, {"-e", "8"}, "F7 F8 F9 FA FB FC FD FE");
  expectMask(sb, {"--switch-endianness=4"}, "FB FC FD FE F7 F8 F9 FA");
}

TEST(SwitchEndianness, TogetherWithBitInversion) {
  Sandbox sb;
  writePair(sb, "\x01\x02");
  expectMask(sb, {}, "FE FD");
  expectMask(sb, {"-b"}, "7F BF");
  expectMask(sb, {"-e", "2"}, "FD FE");
  expectMask(sb, {"-b", "-e", "2"}, "BF 7F");
  writePair(sb, "\x01\x80");
  expectMask(sb, {"-e", "2", "-b"}, "FE 7F");
  writePair(sb, countingBytes(8, 0x11));
  expectMask(sb, {"-e", "8", "-b"},
             hexBlocks(complement(invertBits(reverseChunks(countingBytes(8, 0x11), 8))), 8));
}

TEST(SwitchEndianness, LengthNotAMultipleOfTheChunkIsWarnedAndIgnored) {
  Sandbox sb;
  struct Case {
    size_t size;
    const char* chunk;
  };
  for (const Case& c : {Case{10, "4"}, Case{6, "4"}, Case{12, "8"}, Case{5, "2"}, Case{3, "8"}}) {
    SCOPED_TRACE(std::to_string(c.size) + " bytes, chunk " + c.chunk);
    const std::string data = countingBytes(c.size, 0x21);
    writePair(sb, data);
    const std::string warning = std::string("Warning - file length is not multiple of ") + c.chunk +
                                ". Ignoring -e command line argument.\n";
    RunResult r = sb.run({"-p", "proj.txt", "-e", c.chunk, "G"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning);
    EXPECT_EQ(r.out, hexBlocks(complement(data), c.size));
    // The bit inversion still applies.
    r = sb.run({"-p", "proj.txt", "-e", c.chunk, "-b", "G"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning);
    EXPECT_EQ(r.out, hexBlocks(complement(invertBits(data)), c.size));
  }
}

TEST(SwitchEndianness, WarningComesBeforeTheBudgetRefusal) {
  Sandbox sb;
  writePair(sb, countingBytes(6, 1));
  RunResult r = sb.run({"-p", "proj.txt", "-e", "4", "-m", "55", "G"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "Warning - file length is not multiple of 4. Ignoring -e command line argument.\n"
            "Too many files to process. Try to increase memory limit using '-m' option\n");
  EXPECT_EQ(r.out, "");
}

// Block sizes are multiples of eight, so with two files -m 56 gives 8-byte
// blocks and -m 62 and -m 80 16-byte blocks; no chunk straddles two blocks.
TEST(SwitchEndianness, ChunksStayInsideBlocks) {
  Sandbox sb;
  struct Case {
    size_t size;
    std::vector<std::string> options;
    size_t chunk;
    bool invert;
    size_t blockSize;
  };
  const std::vector<Case> cases = {
      {40, {"-e", "8", "-m", "80"}, 8, false, 16},
      {24, {"-e", "8", "-m", "56"}, 8, false, 8},
      {20, {"-e", "4", "-m", "56"}, 4, false, 8},
      {36, {"-e", "4", "-m", "62"}, 4, false, 16},
      {18, {"-e", "2", "-b", "-m", "62"}, 2, true, 16},
      {40, {"-e", "8", "-b", "-m", "56"}, 8, true, 8},
  };
  for (const Case& c : cases) {
    std::string label;
    for (const auto& o : c.options) label += o + " ";
    SCOPED_TRACE(std::to_string(c.size) + " bytes, " + label);
    std::string data;
    for (size_t i = 0; i < c.size; ++i) data.push_back(static_cast<char>(i * 7 + 1));
    writePair(sb, data);
    const std::string transformed = reverseChunks(c.invert ? invertBits(data) : data, c.chunk);
    RunResult r = sb.run(concat({"-p", "proj.txt", "G"}, c.options));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, hexBlocks(complement(transformed), c.blockSize));
  }
}

}  // namespace
