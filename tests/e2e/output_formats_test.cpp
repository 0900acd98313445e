// End-to-end tests of how commonality masks are printed: the five formats with
// and without blanks, and where the masks of several attributes go (standard
// output back to back, or one result file per attribute).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

// Writes a project whose attribute k (named names[k]) has the commonality mask
// masks[k] over the whole file.
//
// File z.bin is all zero bytes; file m<k>.bin is the complement of masks[k].
// Attribute k puts z.bin and m<k>.bin into one group and every other file into
// a group of its own, so its mask is NOT (z XOR m<k>) = masks[k].
void writeMaskProject(const Sandbox& sb, const std::vector<std::string>& names,
                      const std::vector<std::string>& masks) {
  const size_t size = masks.front().size();
  std::string project = "file";
  for (const auto& name : names) project += " " + name;
  project += "\nz.bin";
  for (size_t k = 0; k < names.size(); ++k) project += " g";
  project += "\n";
  sb.write("z.bin", std::string(size, '\0'));
  for (size_t i = 0; i < masks.size(); ++i) {
    std::string complement;
    for (unsigned char c : masks[i]) complement.push_back(static_cast<char>(~c));
    const std::string file = "m" + std::to_string(i) + ".bin";
    sb.write(file, complement);
    project += file;
    for (size_t k = 0; k < names.size(); ++k) project += k == i ? " g" : " u" + std::to_string(i);
    project += "\n";
  }
  sb.write("proj.txt", project);
}

// One attribute G with the given mask.
void writeMaskProject(const Sandbox& sb, const std::string& mask) {
  writeMaskProject(sb, {"G"}, {mask});
}

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

struct FormatCase {
  std::vector<std::string> options;
  std::string expected;
};

void expectPrinted(const Sandbox& sb, const std::vector<FormatCase>& cases) {
  for (const auto& c : cases) {
    std::string label;
    for (const auto& o : c.options) label += o + " ";
    SCOPED_TRACE("options: " + label);
    RunResult r = sb.run(concat({"-p", "proj.txt", "G"}, c.options));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, c.expected);
  }
}

const std::string kExampleRow("\x0A\xFF\x00", 3);

TEST(OutputFormats, ExampleRowInEveryFormat) {
  Sandbox sb;
  writeMaskProject(sb, kExampleRow);
  expectPrinted(sb, {
                        {{}, "0A FF 00"},
                        {{"-f", "1"}, "0A FF 00"},
                        {{"-f", "2"}, "010 255 000"},
                        {{"-f", "3"}, "012 377 000"},
                        {{"-f", "4"}, "00001010 11111111 00000000"},
                        {{"-f", "0"}, kExampleRow},
                        {{"-n"}, "0AFF00"},
                        {{"-f", "1", "-n"}, "0AFF00"},
                        {{"-f", "2", "-n"}, "010255000"},
                        {{"-f", "3", "-n"}, "012377000"},
                        {{"-f", "4", "-n"}, "000010101111111100000000"},
                        {{"-f", "0", "-n"}, kExampleRow},
                        {{"--format=3", "--no-space"}, "012377000"},
                    });
}

TEST(OutputFormats, ByteValuesAcrossTheRange) {
  Sandbox sb;
  writeMaskProject(sb, std::string("\x00\x07\x80\xFF", 4));
  expectPrinted(sb, {
                        {{"-f", "1"}, "00 07 80 FF"},
                        {{"-f", "2"}, "000 007 128 255"},
                        {{"-f", "3"}, "000 007 200 377"},
                        {{"-f", "4"}, "00000000 00000111 10000000 11111111"},
                        {{"-f", "4", "-n"}, "00000000000001111000000011111111"},
                    });
}

TEST(OutputFormats, AsciiWritesUnprintableBytesUnchanged) {
  Sandbox sb;
  const std::string mask("\x00\x07\x0A\x0D\x1B \x7F\x80\xFF\x41", 10);
  writeMaskProject(sb, mask);
  expectPrinted(sb, {{{"-f", "0"}, mask}, {{"-f", "0", "-n"}, mask}});
}

TEST(OutputFormats, OneByteRowHasNoSeparator) {
  Sandbox sb;
  writeMaskProject(sb, "\x0A");
  expectPrinted(sb, {
                        {{"-f", "0"}, "\x0A"},
                        {{"-f", "1"}, "0A"},
                        {{"-f", "2"}, "010"},
                        {{"-f", "3"}, "012"},
                        {{"-f", "4"}, "00001010"},
                        {{"-f", "4", "-n"}, "00001010"},
                    });
}

TEST(OutputFormats, FormatNumberAboveFourPrintsNothing) {
  Sandbox sb;
  writeMaskProject(sb, kExampleRow);
  expectPrinted(sb, {{{"-f", "9"}, ""}, {{"-f", "5"}, ""}, {{"-f", "9", "-n"}, ""}});

  // The result file is still opened for appending, so it exists but stays empty.
  RunResult r = sb.run({"-p", "proj.txt", "G", "-f", "9", "-c", "res"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(sb.read("res"), "");
}

TEST(OutputFormats, ResultFileHoldsTheSameTextWithoutLineEnd) {
  Sandbox sb;
  writeMaskProject(sb, kExampleRow);
  const std::vector<FormatCase> cases = {
      {{"-f", "2"}, "010 255 000"},
      {{"-f", "4", "-n"}, "000010101111111100000000"},
      {{"-f", "0"}, kExampleRow},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    RunResult r = sb.run(concat({"-p", "proj.txt", "-c", "res", "G"}, c.options));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(sb.read("res"), c.expected);
  }
  EXPECT_FALSE(sb.exists("res_0"));
}

// Masks used by the several-attribute tests: G = 0A FF, H = 01 02, K = 80 00.
const std::vector<std::string> kNames = {"G", "H", "K"};
const std::vector<std::string> kMasks = {"\x0A\xFF", "\x01\x02", std::string("\x80\x00", 2)};

TEST(SeveralAttributes, MasksFollowEachOtherOnStandardOutput) {
  Sandbox sb;
  writeMaskProject(sb, kNames, kMasks);
  const std::vector<FormatCase> cases = {
      {{"G", "H", "K"}, "0A FF01 0280 00"},
      {{"K", "G"}, "80 000A FF"},
      {{"H", "-a", "G", "-f", "4", "-n"},
       "0000000100000010"
       "0000101011111111"},
      {{"G", "H", "-f", "0"}, "\x0A\xFF\x01\x02"},
      {{"G", "G"}, "0A FF0A FF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    RunResult r = sb.run(concat({"-p", "proj.txt"}, c.options));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, c.expected);
  }
}

TEST(SeveralAttributes, ResultFilesAreNumberedByCommandLinePosition) {
  Sandbox sb;
  writeMaskProject(sb, kNames, kMasks);
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "K", "G", "H"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(sb.read("res_0"), "80 00");
  EXPECT_EQ(sb.read("res_1"), "0A FF");
  EXPECT_EQ(sb.read("res_2"), "01 02");
  EXPECT_FALSE(sb.exists("res"));
  EXPECT_FALSE(sb.exists("res_3"));
}

TEST(SeveralAttributes, OldResultsAreDeletedBeforeTheWritersAppend) {
  Sandbox sb;
  writeMaskProject(sb, kNames, kMasks);
  sb.write("res", "old plain");
  sb.write("res_0", "old zero");
  sb.write("res_1", "old one");
  sb.write("res_2", "old two");
  const std::vector<std::string> args = {"-p", "proj.txt", "-c", "res", "G", "H"};
  for (int run = 0; run < 2; ++run) {
    SCOPED_TRACE(run);
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.read("res_0"), "0A FF");
    EXPECT_EQ(sb.read("res_1"), "01 02");
  }
  // Only the names of this run are deleted.
  EXPECT_EQ(sb.read("res"), "old plain");
  EXPECT_EQ(sb.read("res_2"), "old two");
}

TEST(SeveralAttributes, OneAttributeLeavesSuffixedResultsAlone) {
  Sandbox sb;
  writeMaskProject(sb, kNames, kMasks);
  sb.write("res", "old plain");
  sb.write("res_0", "old zero");
  for (int run = 0; run < 2; ++run) {
    SCOPED_TRACE(run);
    RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "K"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.read("res"), "80 00");
  }
  EXPECT_EQ(sb.read("res_0"), "old zero");
}

TEST(SeveralAttributes, NoAttributeNamedComparesAllFilesAsOneGroup) {
  Sandbox sb;
  writeMaskProject(sb, kNames, kMasks);
  // z is zero, the other files are NOT G, NOT H, NOT K: a bit is common to all
  // four files where G AND H AND K is set.
  const std::string warning =
      "Warning - no attribute specified, outputting common bits for all files.\n";
  RunResult r = sb.run({"-p", "proj.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, warning);
  EXPECT_EQ(r.out, "00 00");

  writeMaskProject(sb, {"G", "H"}, {"\x0F\xF3", "\x3C\xF1"});
  r = sb.run({"-p", "proj.txt", "-c", "res", "-f", "4"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, warning);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(sb.read("res"), "00001100 11110001");
  EXPECT_FALSE(sb.exists("res_0"));
}

}  // namespace
