// The dissimilarities as written, on cases worked out by hand: single bits, stretches of several
// bits, stretches across blocks, -x, several attributes, what later attributes inherit from
// earlier ones, the read-back of the commonalities, and a data file that shrinks during the run.
#include "case_runner.h"

namespace {

// Three one-file groups x, y, z; their bits on the six positions that are not equal in all three
// files are 110 101 100 011 010 001 (x y z). The inclusion-minimal stretches that tell all three
// apart are the ones below; the stretch (3-5) contains (4-5) and is not written.
const char kT[] = "file T U\nx x g\ny y g\nz z h\n";  // U groups {x, y} and {z}
const char kXyz[] = "x=F0 y=CC z=AA";
const char kXyzLines[] = "(5-6)\n(4-5)\n(2-3)\n(1-2)\n";
// The same six bits at positions 61 .. 66 of 16-byte files, across the boundary of 8-byte blocks;
// and at 93 .. 98 of 20-byte files, whose blocks are [12, 20), [4, 12) and the head [0, 4).
const char k16[] =
    "x=00000000000000070000000000000000 y=0000000000000004C000000000000000"
    " z=0000000000000002A000000000000000";
const char k20[] =
    "x=0000000000000000000000070000000000000000 y=000000000000000000000004C000000000000000"
    " z=000000000000000000000002A000000000000000";
const std::string kFF8 = "FF FF FF FF FF FF FF FF";  // one 8-byte piece of a full mask

TEST(Dissimilarities, HandDerivedStretches) {
  const std::vector<Case> cases = {
      // Two one-file groups that differ in one bit: byte 2, bit 2, is position 21.
      {"file G\na x\nb y\n", "-d|dis|G", "", 0, "FF FF FF", "a=000000 b=000004", "dis=(21-21)\n;"},
      {"file G\na x\nb y\n", "-q|-d|dis|G", "", 0, "FF FF FF", "a=000000 b=000004",
       "dis=(21-21)\n;"},
      {kT, "-d|dis|T", "", 0, "FF", kXyz, std::string("dis=") + kXyzLines + ";"},
      {kT, "-q|-d|dis|T", "", 0, "FF", kXyz, std::string("dis=") + kXyzLines + ";"},
      // -x clears the bits equal in all files from the printed mask only.
      {kT, "-x|-d|dis|T", "", 0, "7E", kXyz, std::string("dis=") + kXyzLines + ";"},
      // 8-byte blocks: linear (F = 48, D = 15) and quadratic (F = 3); the queue and the last value
      // carry the stretches across the block boundary.
      {kT, "-m|168|-d|dis|T", "", 0, kFF8 + kFF8, k16, "dis=(65-66)\n(64-65)\n(62-63)\n(61-62)\n;"},
      {kT, "-m|123|-q|-x|-d|dis|T", "", 0, "00 00 00 00 00 00 00 07E0 00 00 00 00 00 00 00", k16,
       "dis=(65-66)\n(64-65)\n(62-63)\n(61-62)\n;"},
      {kT, "-m|168|-x|-d|dis|T", "", 0, "00 00 00 0000 00 00 00 00 00 00 07E0 00 00 00 00 00 00 00",
       k20, "dis=(97-98)\n(96-97)\n(94-95)\n(93-94)\n;"},
      // Two attributes: one file each, suffixed in command-line order. U's mask keeps the bits
      // where x and y agree (C3); its groups differ at positions 1 and 6.
      {kT, "-q|-c|res|-d|dis|T|U", "", 0, "", kXyz,
       std::string("res_0=FF;res_1=C3;dis_0=") + kXyzLines + ";dis_1=(6-6)\n(1-1)\n;"},
      {kT, "-q|-d|dis|U|T|U", "", 0, "C3FFC3", kXyz,
       std::string("dis_0=(6-6)\n(1-1)\n;dis_1=") + kXyzLines + ";dis_2=(6-6)\n(1-1)\n;"},
      // A file shorter than its one block of 8 bytes: no full piece is read back.
      {"file G\na x\nb y\n", "-d|dis|G", "", 0, "FF FF FF FF FF", "a=0000000000 b=0000000080",
       "dis=(32-32)\n;"},
  };
  for (const Case& c : cases) expectCase(c);
}

// After the short head block every later attribute reads, groups and compares only as many bytes
// of each block as the head block had; the rest of its data rows and of its mask is what earlier
// blocks left there.
TEST(Dissimilarities, LaterAttributesInheritTheHeadBlockLength) {
  const std::string ff4 = "FF FF FF FF", t = ff4 + kFF8 + kFF8;
  const std::string lines = "(97-98)\n(96-97)\n(94-95)\n(93-94)\n";
  const std::vector<Case> cases = {
      // Blocks of 8 bytes, head 4: T's second run reads bytes 12-15 and 4-7, whose row padding
      // still holds bytes 8-11 of the block read before; that adds the stretches at 157 .. 159.
      {kT, "-m|123|-q|-d|dis|T|T", "", 0, t + t, k20,
       "dis_0=" + lines + ";dis_1=(158-159)\n(157-158)\n" + lines + ";"},
      // Blocks of 16 bytes: bytes 8-15 of the second run's mask still hold the '0' characters the
      // printing of the first left there (30 hex); they are printed, and their columns agree.
      {kT, "-m|243|-q|-d|dis|T|T", "", 0,
       ff4 + kFF8 + " " + kFF8 + ff4 + kFF8 + " 30 30 30 30 30 30 30 30", k20,
       "dis_0=" + lines + ";dis_1=(93-94)\n;"},
      // The linear algorithm starts the second attribute on the lists the first left linked; the
      // quadratic one starts afresh. Both outcomes are pinned.
      {"file A B\nf0 y q\nf1 x r\nf2 y p\nf3 y r\n", "-d|dis|A|B", "", 0, "12 418F CF",
       "f0=5946 f1=A458 f2=BCF0 f3=D468",
       "dis_0=(3-3)\n;dis_1=(14-14)\n(13-13)\n(12-12)\n(7-7)\n(5-5)\n(4-4)\n(0-0)\n;"},
      {"file A B\nf0 y q\nf1 x r\nf2 y p\nf3 y r\n", "-q|-d|dis|A|B", "", 0, "12 418F CF",
       "f0=5946 f1=A458 f2=BCF0 f3=D468",
       "dis_0=(3-3)\n;dis_1=(12-13)\n(8-12)\n(7-8)\n(4-5)\n(0-4)\n;"},
  };
  for (const Case& c : cases) expectCase(c);
}

// Files of 33 bytes make one block of 40: the count of full pieces, (33 - 40) / 40 taken in 64
// bits and cut to a signed 32-bit number, is 1717986918, so the read-back goes on printing pieces
// of a partial results file that holds only the 33-byte head. Their offsets are negative as 32-bit
// numbers, so the seek fails and each piece is the head read again from offset 0; the 7 bytes
// behind it are the mask's padding (00) the first time, then the '0' characters (30 hex) that
// printing leaves.
TEST(Dissimilarities, ShortFileInAnUnevenBlockRepeatsThePiecesForever) {
  const Sandbox sb;
  const std::string z = std::string(64, '0');
  const std::string printed = runScript(
      sb, "a=" + z + "00 b=" + z + "01",
      "printf \"file G\\na x\\nb y\\n\" > p.txt; \"$OVRELL\" -p p.txt -n -d dis G | head -c 500;"
      " echo; ls");
  const std::string head(66, 'F');
  std::string expected = head + head + "00000000000000";
  while (expected.size() < 500) expected += head + "30303030303030";
  // The reader going away ends the run by SIGPIPE, which takes back the
  // dissimilarities file it wrote and the partial results file.
  EXPECT_EQ(printed, expected.substr(0, 500) + "\na\nb\np.txt\n");
}

// A data file that shrinks after the first block: the fifo dis_0 holds the run while the first
// block's 16000 lines (more than a pipe takes) are written, the file is cut, and the next block
// cannot be read. The lines written and the partial results record stay; nothing else is written.
TEST(Dissimilarities, DataFileShrinkingDuringTheRunEndsIt) {
  const Sandbox sb;
  const std::string printed = runScript(
      sb, "",
      "head -c 6000 /dev/zero > a.bin; head -c 6000 /dev/zero | tr \"\\0\" \"\\377\" > b.bin;"
      " printf \"file A\\na.bin x\\nb.bin y\\n\" > p.txt; mkfifo dis_0;"
      " (\"$OVRELL\" -p p.txt -m 42032 -c res -d dis A A 2>../err; echo \"status $?\" >>../err) &"
      " exec 3<dis_0; : > b.bin; lines=$(wc -l <&3); wait; echo $lines; cat ../err; ls;"
      " wc -c < __partialResult1_tmp");
  EXPECT_EQ(printed,
            "16000\nError reading file '\"b.bin\"'.\nstatus 1\n__partialResult1_tmp\na.bin\nb.bin\n"
            "dis_0\np.txt\n2000\n");
}

}  // namespace
