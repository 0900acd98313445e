// The commonalities as printed: formats, several attributes, pieces of several blocks back to back,
// and the options and project-file spellings that decide the mask.
#include "case_runner.h"

namespace {

// z is zero and m the complement of the wanted mask, both in the one group of G.
const char kM[] = "file G\nz g\nm g\n";
const char kRow[] = "z=000000 m=F500FF";                                     // mask 0A FF 00
const char k12[] = "z=000000000000000000000000 m=FFFEFDFCFBFAF9F8F7F6F5F4";  // mask 00 .. 0B
const char k16[] = "z=00000000000000000000000000000000 m=FFFEFDFCFBFAF9F8F7F6F5F4F3F2F1F0";
const char kGH[] = "file G H\nz g h\ng g 1\nh 2 h\n";  // G groups {z, g}, H groups {z, h}
const char kGHData[] = "z=0000 g=F500 h=FEFD";         // masks 0A FF and 01 02
const char kX[] = "a=0F b=0F c=1F d=1F";

TEST(Outputs, FormatsAttributesBlocksAndTransforms) {
  const std::vector<Case> cases = {
      {kM, "G", "", 0, "0A FF 00", kRow},
      {kM, "-n|G", "", 0, "0AFF00", kRow},
      {kM, "-f|2|G", "", 0, "010 255 000", kRow},
      {kM, "-f|2|-n|G", "", 0, "010255000", kRow},
      {kM, "-f|3|G", "", 0, "012 377 000", kRow},
      {kM, "-f|3|-n|G", "", 0, "012377000", kRow},
      {kM, "-f|4|G", "", 0, "00001010 11111111 00000000", kRow},
      {kM, "-f|4|-n|G", "", 0, "000010101111111100000000", kRow},
      {kM, "-f|0|G", "", 0, std::string("\x0A\xFF\x00", 3), kRow},
      {kM, "-f|0|-n|G", "", 0, std::string("\x0A\xFF\x00", 3), kRow},
      {kM, "-f|9|-c|res|G", "", 0, "", kRow, "res=;"},
      {kGH, "G|H", "", 0, "0A FF01 02", kGHData},
      {kGH, "-c|res|H|G", "", 0, "", kGHData, "res_0=01 02;res_1=0A FF;"},
      {kM, "-m|56|G", "", 0, "00 01 02 03 04 05 06 0708 09 0A 0B", k12},  // 8-byte blocks
      {kM, "-m|56|-c|res|G", "", 0, "", std::string(k12) + " res:old",
       "res=00 01 02 03 04 05 06 0708 09 0A 0B;"},
      {kM, "-m|56|G", "", 0, "00 01 02 03 04 05 06 0708 09 0A 0B 0C 0D 0E 0F", k16},
      {kM, "-e|2|G", "", 0, "01 00 03 02 05 04 07 06 09 08 0B 0A 0D 0C 0F 0E", k16},
      {kM, "-e|4|G", "", 0, "03 02 01 00 07 06 05 04 0B 0A 09 08 0F 0E 0D 0C", k16},
      {kM, "-e|8|G", "", 0, "07 06 05 04 03 02 01 00 0F 0E 0D 0C 0B 0A 09 08", k16},
      {"file G\na g\nb g\n", "-x|G", "", 0, "00", kX},
      {"file G\na g\nb g\nc h\nd h\n", "-x|G", "", 0, "10", kX},
      {"file G\na x\nb x\nc ''\nd \"\"\n", "-i|G", "", 0, "EF", "a=0F b=1F c=00 d=FF"},
      {"file G\na g\nb g\n", "G", "", 0, "FE", "a=00 b=01"},
      {"file G\na g\nb g\n", "-b|G", "", 0, "7F", "a=00 b=01"},
      {"file A\na x\n/b x\n", "-p|d/p.txt|A", "", 0, "FF 0F", "d/a=0FF0 d/b=0F00"},
      {"file A\n/x/a x\nx/b x\n", "-p|q/p.txt|-r|d|A", "", 0, "FF 0F", "d/x/a=0FF0 d/x/b=0F00"},
      {"# c\nfile,'m,x'  rev # h\n'a.bin', 'X\"1',1\nb\\.bin \"X\\\"1\"\t2#", "m,x|rev", "", 0,
       "FF 0FFF FF", "a.bin=0FF0 b.bin=0F00"},
  };
  for (const Case& c : cases) expectCase(c);
}

}  // namespace
