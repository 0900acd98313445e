// Data and result paths that are not what the project file or the command line promised: a
// directory, a path through a regular file, files that shrink or vanish while the run reads them,
// result files in directories that do not exist.
#include "case_runner.h"

namespace {

const char kData[] = "a.bin=0FF0 b.bin=0F00 sub/k=";
const char kP[] = "file A B\na.bin x 1\nb.bin x 2\n";  // masks: A FF 0F, B FF FF
const char kDisB[] = "(11-11)\n(10-10)\n(9-9)\n(8-8)\n";

// Absence is the one file-system condition the tool reports. The length of a directory is an
// error of the file-system library that nothing catches: the run ends abnormally (SIGABRT).
TEST(HostileDataFiles, PathsThatAreNoRegularFiles) {
  const std::string abnormal =
      "terminate called after throwing an instance of 'boost::filesystem::filesystem_error'\n"
      "  what():  boost::filesystem::file_size: Operation not permitted: \"sub\"\n";
  const std::vector<Case> cases = {
      {"file A\nsub x\na.bin x\n", "A", abnormal, 134},
      {"file A\na.bin x\nsub x\n", "A", abnormal, 134},
      {"file A\na.bin x\na.bin/x x\n", "A",
       "File \"a.bin/x\" specified in project file does not exists\n"},
      {"file A\nsub/k/x x\na.bin x\n", "A",
       "File \"sub/k/x\" specified in project file does not exists\n"},
  };
  for (const Case& c : cases) expectCase(c, kData);
}

// Without -d a commonalities file that cannot be opened swallows the mask silently; with -d the
// final writer stops the run once the dissimilarities are written.
TEST(HostileDataFiles, ResultFilesInMissingDirectories) {
  const std::string kFF = "__partialResult1_tmp=\xFF\xFF;";
  const std::vector<Case> cases = {
      {kP, "-c|none/res|A", "", 0},
      {kP, "-c|none/res|A|B", "", 0},
      {kP, "-c|none/res|-d|dis|B", "Error wile opening file:'none/res' for writing\n", 1, "", "",
       "dis=" + std::string(kDisB) + ";" + kFF},
      {kP, "-d|none/dis|B", "Error wile opening file:'none/dis' for writing\n", 1, "", "", kFF},
      {kP, "-d|none/dis|B|A", "Error wile opening file:'none/dis_0' for writing\n", 1, "", "", kFF},
  };
  for (const Case& c : cases) expectCase(c, kData);
}

// A data file that vanishes, or shrinks, after the size check. Blocks are 100000 bytes, and the
// first block's 299999 characters of mask are more than a pipe holds: the reader takes one byte,
// so the run is still writing the first block when the file changes, and the second block cannot
// be read. The message quotes the path the way the file-system library does.
TEST(HostileDataFiles, DataFileVanishingOrShrinkingDuringTheRun) {
  const std::string odd = "my \"odd\" & #1.bin";
  const std::string expected =
      "299998\nError reading file '\"my &\"odd&\" && #1.bin\"'.\nstatus 1\n";
  for (const std::string change : {"rm \"$F\"", "truncate -s 150000 \"$F\""}) {
    SCOPED_TRACE(change);
    const Sandbox sb;
    put(sb, "a.bin", std::string(250000, '\0'));
    put(sb, odd, std::string(250000, '\0'));
    put(sb, "p.txt", "file A\na.bin x\n'" + odd + "' x\n");
    EXPECT_EQ(runScript(sb, "",
                        "F=\"my \\\"odd\\\" & #1.bin\"; (\"$OVRELL\" -p p.txt -m 300032 A 2>../err;"
                        " echo \"status $?\" >> ../err) | { dd bs=1 count=1 2>/dev/null >/dev/null;"
                        " " +
                            change + "; wc -c; }; cat ../err"),
              expected);
  }
}

}  // namespace
