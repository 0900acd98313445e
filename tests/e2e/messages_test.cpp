// Every message of the command line, the project file, the data-file checks, the memory budget and
// the driver: exact standard output, standard error, exit status and the result files left behind.
#include "case_runner.h"

namespace {

const char kData[] =
    "a.bin=0FF0 b.bin=0F00 t.bin=00112233445566778899 e.bin=0011223344556677889900 z0= z1= sub/k=";
const char kP[] = "file A B\na.bin x 1\nb.bin x 2\n";  // masks: A FF 0F, B FF FF

const char kW[] = "Warning - no attribute specified, outputting common bits for all files.\n";
const char kTooMany[] =
    "Too many files to process. Try to increase memory limit using '-m' option\n";
const char kBroken[] =
    "Error - the linear algorithm cannot go on with the lists that an earlier attribute of this "
    "run left linked. Name one attribute per run with -d, or use -q.\n";
const std::string kFF = "__partialResult1_tmp=\xFF\xFF;";  // B's mask record, left behind
const char kNoName[] = "Project file must contain at least one attribute name.\n";

// Usage and help; help.txt holds the option table as the option library lays it out.
std::string help(const std::string& program) {
  return "Usage: " + program + " [options] <list of attributes>\n" +
         slurp(OVRELL_E2E_DATA "/help.txt");
}

std::string parse(int n, const std::string& s) {
  return "Error while parsing the line no:" + std::to_string(n) + " of project file: " + s + "\n";
}

TEST(Messages, EveryMessageWithItsStreamsStatusAndFiles) {
  const std::vector<Case> cases = {
      {nullptr, "", "", 0, help("ovrell")},
      {nullptr, "-v|-h|-e|3", "", 0, help("./bin/ovr"), "", "", "./bin/ovr"},  // help comes first
      {nullptr, "-v|-m|0", "", 0,
       "Ovrell - version 1.1.1, compares equal-length binary files bit by bit\n"},
      {nullptr, "-e|3|--quiet",
       "unrecognised option '--quiet'\ntry `my ovr -h' for more information.\n", 1, "", "", "",
       "my ovr"},
      {kP, "-f|4 |A",
       "the argument for option '--format' is invalid\n"
       "try `ovrell -h' for more information.\n"},
      {nullptr, "-m|100b|-e|0", "Wrong number of bytes for endianness swap.\n"},  // before -m
      {nullptr, "-m|2TB|-p|missing.txt", "Wrong format of suffix."},
      {nullptr, "-m|KB", "Wrong value for the limit for dynamic memory\n"},
      {kP, "-e|4x|-m|55|A",
       "Warning - file length is not multiple of 4. Ignoring -e command line argument.\n" +
           std::string(kTooMany)},
      {kP, "-m|56|A", "", 0, "FF 0F"},   // two files: 32 bytes of fixed cost + 8 × 3 bytes
      {kP, "-m|4GB|A", "", 0, "FF 0F"},  // 0 bytes: the fixed cost wraps around
      {kP, "-m|20K|-q|A", kTooMany},     // 20 bytes, no fixed cost without -d
      {nullptr, "-p||A", "You must specify project file. Try /x/ovr -h for more information.\n", 1,
       "", "", "", "/x/ovr"},
      {nullptr, "-p|missing.txt",
       kW + std::string("Project file \"missing.txt\" does not exist.\n")},
      {nullptr, "-p|sub|A", "Project file \"sub\" is not a regular file.\n"},
      {kP, "-d|sub|-c|sub|A",
       "Commonalities file \"sub\" does not exist or is not regular file.\n"},
      {kP, "-d|sub|A", "Dissimilarities file \"sub\" exists and is not regular file.\n"},
      {kP, "A", "Unable to open project file!\n", 1, "", "proj.txt!"},
      {kP, "A", "Error reading file '\"b.bin\"'.\n", 1, "", "b.bin!"},
      {"# set\n\nfile A\na.bin \"x\n", "A", parse(4, "unclosed double quote.")},
      {"file A\na.bin x\n\n \t,, \n# c\nb.bin 'x\n", "-c|res|A", parse(6, "unclosed single quote."),
       1, "", "res:old", "res=old;"},
      {"file A\na.bin 'x\\", "A", parse(2, "single backslash at the end of line.")},
      {"file A\n# c\na.bin x\n\nb.bin x ''\n", "A",
       "Error while parsing the line no:5. Number of attribute values does not correspond to "
       "number of attributes defined in header. To specify empty attribute use ''. \n"},
      {"file A ''\n", "A", "Attribute name must not be empty\n"},
      {"f A B A\n", "A", "Two attributes must not have the same name. \n"},
      {"", "",
       kW + std::string(kNoName) + "Project file must contain more than one file to process.\n"},
      {"file\na.bin\n\nb.bin\n", "A",
       kNoName + std::string("Attribute \"A\" is not specified in the project file.\n")},
      {"file A\na.bin x\n'a&b\"c.bin' x\n", "A",
       "File \"a&&b&\"c.bin\" specified in project file does not exists\n"},
      {"file A\nt.bin x\ne.bin x\nmissing.bin x\n", "A",
       "Not all files specified in project file have the same size.\n"},
      {"file A\nz0 x\nz1 x\n", "-c|res|A", "", 0, "Nothing to do - all files are empty\n",
       "res:old"},
      {"file _id _id0\na.bin s s\nb.bin t t\n", "-c|res", kW, 0, "", "res:old res_0:keep",
       "res=FF 0F;res_0=keep;"},
      {kP, "-c|res|A|B|A", "", 0, "", "res:keep res_0:old res_3:keep",
       "res=keep;res_0=FF 0F;res_1=FF FF;res_2=FF 0F;res_3=keep;"},
      {kP, "-c|res|-d|dis|A|rev", "Attribute \"rev\" is not specified in the project file.\n", 1,
       "", "res_0:old res_1:old res_2:keep dis:old", "res_2=keep;"},
      // With -d only the dissimilarities file itself is deleted; dis_i files are appended to.
      {kP, "-d|dis|A|B", "", 0, "FF 0FFF FF", "dis:old dis_0:(0-1) dis_1:(2-3)",
       "dis_0=(0-1);dis_1=(2-3)(11-11)\n(10-10)\n(9-9)\n(8-8)\n;"},
      {kP, "-d|none/dis|B", "Error wile opening file:'none/dis' for writing\n", 1, "", "", kFF},
      {kP, "-c|res|-d|dis|A|B", "Error wile opening file:'res_1' for writing\n", 1, "", "res_1/x:1",
       "res_0=FF 0F;res_1=;dis_1=(11-11)\n(10-10)\n(9-9)\n(8-8)\n;" + kFF},
      // The linear algorithm's lists, left linked by A, lead B's first column into a cycle.
      {"file A B\nf0 y p\nf1 w s\nf2 z r\nf3 y t\n", "-d|dis|A|B", kBroken, 1, "17",
       "f0=60 f1=D2 f2=FD f3=88", "dis_0=(6-7)\n(5-6)\n(3-5)\n;__partialResult1_tmp=\xFF;"},
  };
  for (const Case& c : cases) expectCase(c, kData);
}

}  // namespace
