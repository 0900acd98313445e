// Runs worked out by hand: every message, the printed formats, project-file spellings, hostile
// paths and bytes, dissimilarities with what later attributes inherit, files beyond 4 GiB.
#include "case_runner.h"

namespace {

using namespace std::string_literals;

const char kData[] =
    "a.bin=0FF0 b.bin=0F00 t.bin=00112233445566778899 e.bin=0011223344556677889900 z0= z1= sub/k=";
const char kP[] = "file A B\na.bin x 1\nb.bin x 2\n";  // masks: A FF 0F, B FF FF
const char kW[] = "Warning - no attribute specified, outputting common bits for all files.\n";
const char kTooMany[] =
    "Too many files to process. Try to increase memory limit using '-m' option\n";
const char kNoName[] = "Project file must contain at least one attribute name.\n";
const std::string kFF = "__partialResult1_tmp=\xFF\xFF;";  // B's mask record, left behind
const char kDisB[] = "(11-11)\n(10-10)\n(9-9)\n(8-8)\n";
// z is zero and m the complement of the wanted mask, both in the one group of G.
const char kM[] = "file G\nz g\nm g\n";
const char kRow[] = "z=000000 m=F500FF";                                     // mask 0A FF 00
const char k12[] = "z=000000000000000000000000 m=FFFEFDFCFBFAF9F8F7F6F5F4";  // mask 00 .. 0B
const char kGH[] = "file G H\nz g h\ng g 1\nh 2 h\n";  // G groups {z, g}, H groups {z, h}
const char kGHData[] = "z=0000 g=F500 h=FEFD";         // masks 0A FF and 01 02
const std::string kNul =
    "file n\0ul \xE9t\xFF v\na.bin 1 x\0y \x80\x81\nb.bin 1 x\0z \x80\x81\n"
    "c.bin 1 x\0y \xFF\n"s;  // cut at the NUL, \xE9t\xFF would be one group
const char kCr[] = "file A B\r\na.bin x 1\r\nb.bin x 2\r\nc.bin y 1\r\n";  // "B\r", "1\r" and "1"
const char kAbc[] = "a.bin=F0 b.bin=00 c.bin=F1";
// Three one-file groups x, y, z, differing at positions 1 .. 6 as 110 101 100 011 010 001; the
// stretch (3-5) contains (4-5) and is not written. U groups {x, y} against {z}.
const char kT[] = "file T U\nx x g\ny y g\nz z h\n";
const char kXyz[] = "x=F0 y=CC z=AA";
const std::string kXyzLines = "(5-6)\n(4-5)\n(2-3)\n(1-2)\n";
// The same bits at 61 .. 66 of 16-byte files and at 93 .. 98 of 20-byte files (head block [0, 4)).
const char kX16[] =
    "x=00000000000000070000000000000000 y=0000000000000004C000000000000000"
    " z=0000000000000002A000000000000000";
const char kX20[] =
    "x=0000000000000000000000070000000000000000 y=000000000000000000000004C000000000000000"
    " z=000000000000000000000002A000000000000000";
const std::string kF8 = "FF FF FF FF FF FF FF FF", kT20 = "FF FF FF FF" + kF8 + kF8;
const std::string kLines20 = "(97-98)\n(96-97)\n(94-95)\n(93-94)\n";
const char kAB[] = "file A B\nf0 y q\nf1 x r\nf2 y p\nf3 y r\n";
const char kABData[] = "f0=5946 f1=A458 f2=BCF0 f3=D468";

std::string help(const std::string& program) {  // the option table as the reference shows it
  const std::string readme = slurp(OVRELL_README);
  const std::size_t from = readme.find(" Possible options:"), to = readme.find("```", from);
  return "Usage: " + program + " [options] <list of attributes>\n" + readme.substr(from, to - from);
}
std::string parse(int n, const std::string& s) {
  return "Error while parsing the line no:" + std::to_string(n) + " of project file: " + s + "\n";
}
std::string count(int n) {
  return "Error while parsing the line no:" + std::to_string(n) +
         ". Number of attribute values does not correspond to number of attributes defined in "
         "header. To specify empty attribute use ''. \n";
}
std::string unknown(const std::string& name) {
  return "Attribute \"" + name + "\" is not specified in the project file.\n";
}
std::string missing(const std::string& name) {
  return "File \"" + name + "\" specified in project file does not exists\n";
}
std::string cannot(const std::string& name) {
  return "Error wile opening file:'" + name + "' for writing\n";
}

TEST(Cases, StreamsStatusAndFilesOfEveryMessageFormatAndAttribute) {
  const std::string k8190(16380, '0'),
      abnormal =
          "terminate called after throwing an instance of 'boost::filesystem::filesystem_error'\n"
          "  what():  boost::filesystem::file_size: Operation not permitted: \"sub\"\n";
  const std::vector<Case> cases = {
      {"", "", "", 0, help("ovrell")},
      {"", "-v|-h|-e|3", "", 0, help("./bin/ovr"), "", "", "./bin/ovr"},  // help comes first
      {"", "-v|-m|0", "", 0,
       "Ovrell - version 1.1.1, compares equal-length binary files bit by bit\n"},
      {"", "-e|3|--quiet", "unrecognised option '--quiet'\ntry `my ovr -h' for more information.\n",
       1, "", "", "", "my ovr"},
      {kP, "-f|4 |A",
       "the argument for option '--format' is invalid\ntry `ovrell -h' for more "
       "information.\n"},
      {"", "-m|100b|-e|0", "Wrong number of bytes for endianness swap.\n"},  // before -m
      {"", "-m|2TB|-p|missing.txt", "Wrong format of suffix."},
      {"", "-m|KB", "Wrong value for the limit for dynamic memory\n"},
      {kP, "-e|4x|-m|55|A",
       "Warning - file length is not multiple of 4. Ignoring -e command line argument.\n" +
           std::string(kTooMany)},
      {kP, "-m|56|A", "", 0, "FF 0F"},  // two files: 32 bytes of fixed cost + 8 × 3 bytes
      {kP, "-m|20K|-q|A", kTooMany},    // 20 bytes, no fixed cost without -d
      {"", "-p||A", "You must specify project file. Try /x/ovr -h for more information.\n", 1, "",
       "", "", "/x/ovr"},
      {"", "-p|missing.txt", kW + "Project file \"missing.txt\" does not exist.\n"s},
      {"", "-p|sub|A", "Project file \"sub\" is not a regular file.\n"},
      {kP, "-d|sub|-c|sub|A",
       "Commonalities file \"sub\" does not exist or is not regular file.\n"},
      {kP, "-d|sub|A", "Dissimilarities file \"sub\" exists and is not regular file.\n"},
      {"# set\n\nfile A\na.bin \"x\n", "A", parse(4, "unclosed double quote.")},
      {"file A\na.bin x\n\n \t,, \n# c\nb.bin 'x\n", "-c|res|A", parse(6, "unclosed single quote."),
       1, "", "res:old", "res=old;"},
      {"file A\na.bin 'x\\", "A", parse(2, "single backslash at the end of line.")},
      {"file A\n# c\na.bin x\n\nb.bin x ''\n", "A", count(5)},
      {"file A ''\n", "A", "Attribute name must not be empty\n"},
      {"f A B A\n", "A", "Two attributes must not have the same name. \n"},
      {"", "-p|e.txt",
       kW + std::string(kNoName) + "Project file must contain more than one file to process.\n", 1,
       "", "e.txt:"},
      {"file\na.bin\n\nb.bin\n", "A", kNoName + unknown("A")},
      {"file A\na.bin x\n'a&b\"c.bin' x\n", "A", missing("a&&b&\"c.bin")},
      {"file A\nsub/k/x x\na.bin x\n", "A", missing("sub/k/x")},
      {"file A\na.bin x\nsub x\n", "A", abnormal, 134},
      {"file A\nt.bin x\ne.bin x\nmissing.bin x\n", "A",
       "Not all files specified in project file have the same size.\n"},
      {"file A\nz0 x\nz1 x\n", "-c|res|A", "", 0, "Nothing to do - all files are empty\n",
       "res:old"},
      {"file _id _id0\na.bin s s\nb.bin t t\n", "-c|res", kW, 0, "", "res:old res_0:keep",
       "res=FF 0F;res_0=keep;"},
      {kP, "-c|res|A|B|A", "", 0, "", "res:keep res_0:old res_3:keep",
       "res=keep;res_0=FF 0F;res_1=FF FF;res_2=FF 0F;res_3=keep;"},
      {kP, "-c|res|-d|dis|A|rev", unknown("rev"), 1, "", "res_0:old res_1:old res_2:keep dis:old",
       "res_2=keep;"},
      // With -d only the dissimilarities file itself is deleted; dis_i files are appended to.
      {kP, "-d|dis|A|B", "", 0, "FF 0FFF FF", "dis:old dis_0:(0-1) dis_1:(2-3)",
       "dis_0=(0-1);dis_1=(2-3)" + std::string(kDisB) + ";"},
      // Without -d a commonalities file that cannot be opened swallows the mask silently.
      {kP, "-c|none/res|A|B", "", 0},
      {kP, "-c|none/res|-d|dis|B", cannot("none/res"), 1, "", "",
       "dis=" + std::string(kDisB) + ";" + kFF},
      {kP, "-d|none/dis|B|A", cannot("none/dis_0"), 1, "", "", kFF},
      {kP, "-c|res|-d|dis|A|B", cannot("res_1"), 1, "", "res_1/x:1",
       "res_0=FF 0F;res_1=;dis_1=" + std::string(kDisB) + ";" + kFF},
      // The linear algorithm's lists, left linked by A, lead B's first column into a cycle.
      {"file A B\nf0 y p\nf1 w s\nf2 z r\nf3 y t\n", "-d|dis|A|B",
       "Error - the linear algorithm cannot go on with the lists that an earlier attribute of this "
       "run left linked. Name one attribute per run with -d, or use -q.\n",
       1, "17", "f0=60 f1=D2 f2=FD f3=88",
       "dis_0=(6-7)\n(5-6)\n(3-5)\n;__partialResult1_tmp=\xFF;"},
      // Names and values are byte strings: NUL and high bytes are kept; CR is an ordinary byte.
      {kNul, "-c|res|\xE9t\xFF|v", "", 0, "", kAbc, "res_0=FE;res_1=0F;"},
      {kNul, "-d|dis|\xE9t\xFF", "", 0, "FE", kAbc, "dis=(3-3)\n(2-2)\n(1-1)\n(0-0)\n;"},
      {"file A\na.bin 'x\0\n"s, "A", parse(2, "unclosed single quote.")},
      {kCr, "A|B\r", "", 0, "0FFE", kAbc},
      {kCr, "B", unknown("B"), 1, "", kAbc},
      {"file A B\na.bin x 1\r\nb.bin x 1\n", "B", "", 0, "FF FF"},
      {"file A\r\na.bin x\r\n\r\nb.bin x\r\n", "A", count(3)},
      // Formats, attributes back to back, blocks, -i, paths and spellings.
      {kM, "G", "", 0, "0A FF 00", kRow},
      {kM, "-f|3|G", "", 0, "012 377 000", kRow},
      {kM, "-f|4|-n|G", "", 0, "000010101111111100000000", kRow},
      {kM, "-f|0|G", "", 0, "\x0A\xFF\x00"s, kRow},
      {kM, "-f|9|-c|res|G", "", 0, "", kRow, "res=;"},
      {kGH, "G|H", "", 0, "0A FF01 02", kGHData},
      {kGH, "-c|res|H|G", "", 0, "", kGHData, "res_0=01 02;res_1=0A FF;"},
      {kM, "-m|56|-c|res|G", "", 0, "", k12 + " res:old"s,
       "res=00 01 02 03 04 05 06 0708 09 0A 0B;"},
      {"file G\na x\nb x\nc ''\nd \"\"\n", "-i|G", "", 0, "EF", "a=0F b=1F c=00 d=FF"},
      {"file A\na x\n/b x\n", "-p|d/p.txt|A", "", 0, "FF 0F", "d/a=0FF0 d/b=0F00"},
      {"file A\n/x/a x\nx/b x\n", "-p|q/p.txt|-r|d|A", "", 0, "FF 0F", "d/x/a=0FF0 d/x/b=0F00"},
      {"# c\nfile,'m,x'  rev # h\n'a.bin', 'X\"1',1\nb\\.bin \"X\\\"1\"\t2#", "m,x|rev", "", 0,
       "FF 0FFF FF", "a.bin=0FF0 b.bin=0F00"},
      // Dissimilarities: two groups differing in one bit, byte 2 bit 2, at position 21.
      {"file G\na x\nb y\n", "-d|dis|G", "", 0, "FF FF FF", "a=000000 b=000004", "dis=(21-21)\n;"},
      // 8-byte blocks: the queue and the last value carry the stretches across the boundary.
      {kT, "-m|168|-d|dis|T", "", 0, kF8 + kF8, kX16, "dis=(65-66)\n(64-65)\n(62-63)\n(61-62)\n;"},
      {kT, "-m|168|-x|-d|dis|T", "", 0, "00 00 00 0000 00 00 00 00 00 00 07E0 00 00 00 00 00 00 00",
       kX20, "dis=" + kLines20 + ";"},
      // Several attributes: one file each, in command-line order; U's groups differ at 1 and 6.
      {kT, "-q|-d|dis|U|T|U", "", 0, "C3FFC3", kXyz,
       "dis_0=(6-6)\n(1-1)\n;dis_1=" + kXyzLines + ";dis_2=(6-6)\n(1-1)\n;"},
      // Eight one-file groups: the linear algorithm walks lists of eight nodes.
      {"file G\nf0 a\nf1 b\nf2 c\nf3 d\nf4 e\nf5 f\nf6 g\nf7 h\n", "-d|dis|G", "", 0, "FF",
       "f0=00 f1=01 f2=02 f3=03 f4=04 f5=05 f6=06 f7=07", "dis=(5-7)\n;"},
      // Files of 8191 bytes count in 4 bytes; -f 9 prints nothing.
      {"file G\na x\nb y\n", "-f|9|-d|dis|G", "", 0, "", "a=" + k8190 + "00 b=" + k8190 + "01",
       "dis=(65527-65527)\n;"},
      {"file G\na x\nb y\n", "-q|-f|9|-d|dis|G", "", 0, "", "a=" + k8190 + "00 b=" + k8190 + "01",
       "dis=(65527-65527)\n;"},
      // Later attributes compare only the head block's length of each block; the rest of the rows
      // and the mask is what earlier blocks left: bytes 8-11 (stretches 157 .. 159), or '0's.
      {kT, "-m|123|-q|-d|dis|T|T", "", 0, kT20 + kT20, kX20,
       "dis_0=" + kLines20 + ";dis_1=(158-159)\n(157-158)\n" + kLines20 + ";"},
      {kT, "-m|243|-q|-d|dis|T|T", "", 0,
       "FF FF FF FF" + kF8 + " " + kF8 + "FF FF FF FF" + kF8 + " 30 30 30 30 30 30 30 30", kX20,
       "dis_0=" + kLines20 + ";dis_1=(93-94)\n;"},
      // With -b the padding the earlier blocks left has its bits reversed as well (07 becomes E0).
      {kT, "-b|-m|243|-q|-x|-d|dis|T|T", "", 0,
       "00 00 00 0000 00 00 00 00 00 00 E0 07 00 00 00 00 00 00 0000 00 00 0000 00 00 00 00 00 00"
       " E0 30 30 30 30 30 30 30 30",
       kX20, "dis_0=(102-103)\n(101-102)\n(89-90)\n(88-89)\n;dis_1=(89-90)\n;"},
      // The linear algorithm starts the second attribute on the lists the first left linked.
      {kAB, "-d|dis|A|B", "", 0, "12 418F CF", kABData,
       "dis_0=(3-3)\n;dis_1=(14-14)\n(13-13)\n(12-12)\n(7-7)\n(5-5)\n(4-4)\n(0-0)\n;"},
      {kAB, "-q|-d|dis|A|B", "", 0, "12 418F CF", kABData,
       "dis_0=(3-3)\n;dis_1=(12-13)\n(8-12)\n(7-8)\n(4-5)\n(0-4)\n;"},
  };
  for (const Case& c : cases) expectCase(c, kData);
}

// Files of 33 bytes, one block of 40: (33 - 40) / 40 full pieces, cut to 32 signed bits, is
// 1717986918; each seek fails, so each piece is the head again, then 00 padding once, then '0's.
// Files of 33 bytes in one block of 40: reading back the commonalities would go on without end,
// so the run stops before it deletes anything and names a limit that works; at that limit, and
// for 9 bytes in a block of 16 (the count wraps to a negative number), the runs are as ever.
TEST(Cases, ShortFileInAnUnevenBlockIsRefusedBeforeItsEndlessReadBack) {
  const Sandbox sb;
  EXPECT_EQ(runScenario(sb, "a=" + std::string(64, '0') + "00 b=" + std::string(64, '0') + "01",
                        "endless_read_back"),
            "ovrell: files of 33 bytes in one block of 40 bytes: the commonalities would be read "
            "back without end; use -m 724 or less; nothing was deleted or written\n = 1\nold\n" +
                std::string(66, 'F') +
                " = 0\n(263-263)\novrell: files of 33 bytes in one block of 40 bytes: the "
                "commonalities would be read back without end; use -m 724 or less; nothing was "
                "deleted or written\n = 1\n(263-263)\n" +
                std::string(18, 'F') + " = 0\n(71-71)\n");
}

// Two 5 GiB sparse files, equal but for a byte beyond 4 GiB and the last byte: the ascii mask
// (one byte per file byte) streams through a fifo to a listing of its bytes other than FF.
TEST(HugeFiles, MaskIsRightBeyondFourGibibytes) {
  const Sandbox sb;
  const std::string fifo = sb.root + "/mask";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  write(sb, "p.txt", "file A\na.bin x\nb.bin x\n");
  put(sb, "a.bin: b.bin:");
  for (const char* name : {"/a.bin", "/b.bin"}) fs::resize_file(sb.dir + name, 5ull << 30);
  std::fstream(sb.dir + "/b.bin", std::ios::in | std::ios::out).seekp(4418424085) << 'Z';
  std::fstream(sb.dir + "/b.bin", std::ios::in | std::ios::out).seekp(5368709119) << '\1';
  std::FILE* listing = popen(("tr -d '\\377' < " + fifo + " | od -An -tx1").c_str(), "r");
  const Outcome run = runOvrell(sb, {"ovrell", "-p", "p.txt", "-m", "64MB", "-f", "0", "A"}, fifo);
  char text[100] = {};
  EXPECT_EQ(std::fread(text, 1, sizeof text - 1, listing) + pclose(listing), 7u);
  EXPECT_EQ(std::make_tuple(run.err, run.status, std::string(text)),
            std::make_tuple("", 0, " a5 fe\n"));
}

}  // namespace
