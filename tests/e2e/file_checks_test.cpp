// The checks of the data-file set seen from outside: at least two files,
// every file present, all of one size, and the successful end of a run over
// empty files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

const char kFewerThanTwo[] = "Project file must contain more than one file to process.\n";
const char kSizesDiffer[] = "Not all files specified in project file have the same size.\n";
const char kAllEmpty[] = "Nothing to do - all files are empty\n";

std::string missingFile(const std::string& quotedPath) {
  return "File " + quotedPath + " specified in project file does not exists\n";
}

struct Case {
  std::string project;
  std::string err;
};

TEST(FileChecks, AtLeastTwoFilesAreNeeded) {
  Sandbox sb;
  sb.write("a.bin", "0123456789");
  const std::vector<Case> cases = {
      {"file A\n", kFewerThanTwo},
      {"file A\na.bin x\n", kFewerThanTwo},
      // The count is checked before the file is looked for.
      {"file A\nmissing.bin x\n", kFewerThanTwo},
      {"file A\n\n# a.bin x\nmissing.bin ''\n", kFewerThanTwo},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.project);
    sb.write("proj.txt", c.project);
    RunResult r = sb.run({"-p", "proj.txt", "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(FileChecks, MissingFileIsNamedAsJoined) {
  Sandbox sb;
  sb.write("data/b.bin", "0123456789");
  sb.write("data/c.bin", "0123456789");
  const std::vector<Case> cases = {
      {"file A\na.bin x\nb.bin x\n", missingFile("\"data/a.bin\"")},
      {"file A\nb.bin x\na.bin x\nc.bin x\n", missingFile("\"data/a.bin\"")},
      {"file A\nb.bin x\nc.bin x\nd.bin x\n", missingFile("\"data/d.bin\"")},
      // The first missing file in project order is the one reported.
      {"file A\nb.bin x\ne.bin y\nd.bin x\n", missingFile("\"data/e.bin\"")},
      // Inside the quotes, & and " are preceded by &.
      {"file A\nb.bin x\n'a&b\"c.bin' x\n", missingFile("\"data/a&&b&\"c.bin\"")},
      {"file A\nb.bin x\n\"&&.bin\" x\n", missingFile("\"data/&&&&.bin\"")},
      {"file A\nb.bin x\n'x y\\'s.bin' x\n", missingFile("\"data/x y's.bin\"")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.project);
    sb.write("data/proj.txt", c.project);
    RunResult r = sb.run({"-p", "data/proj.txt", "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(FileChecks, AllFilesMustHaveTheFirstFilesSize) {
  Sandbox sb;
  sb.write("ten0.bin", "0123456789");
  sb.write("ten1.bin", "0123456789");
  sb.write("eleven.bin", "0123456789A");
  sb.write("empty.bin", "");
  const std::vector<Case> cases = {
      {"file A\nten0.bin x\nten1.bin x\neleven.bin x\n", kSizesDiffer},
      {"file A\neleven.bin x\nten0.bin x\nten1.bin x\n", kSizesDiffer},
      // Each file is looked for and measured before the next one.
      {"file A\nten0.bin x\neleven.bin x\nmissing.bin x\n", kSizesDiffer},
      {"file A\nten0.bin x\nten1.bin x\nmissing.bin x\n", missingFile("\"missing.bin\"")},
      {"file A\nmissing.bin x\nten0.bin x\neleven.bin x\n", missingFile("\"missing.bin\"")},
      {"file A\nempty.bin x\nempty.bin x\nten0.bin x\n", kSizesDiffer},
      // Files outside every group are checked too.
      {"file A\nten0.bin x\nten1.bin x\neleven.bin ''\n", kSizesDiffer},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.project);
    sb.write("proj.txt", c.project);
    RunResult r = sb.run({"-p", "proj.txt", "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(FileChecks, FileChecksComeBeforeTheChunkWarningAndTheBudget) {
  Sandbox sb;
  sb.write("ten0.bin", "0123456789");
  sb.write("eleven.bin", "0123456789A");
  sb.write("proj.txt", "file A\nten0.bin x\neleven.bin x\n");
  // 10 bytes are no multiple of 4, and a limit of 50 bytes leaves no block.
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"-p", "proj.txt", "-e", "4", "A"},
        std::vector<std::string>{"-p", "proj.txt", "-m", "50", "A"}}) {
    SCOPED_TRACE(args[2] + " " + args[3]);
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, kSizesDiffer);
  }
}

TEST(FileChecks, AllFilesEmptyEndsTheRunSuccessfully) {
  Sandbox sb;
  sb.write("a.bin", "");
  sb.write("b.bin", "");
  sb.write("proj.txt", "file A B\na.bin x y\nb.bin x z\na.bin w y\n");
  RunResult r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kAllEmpty);
  EXPECT_EQ(r.err, "");

  // No result file is written; an old one has been deleted before.
  sb.write("res", "old");
  r = sb.run({"-p", "proj.txt", "-c", "res", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kAllEmpty);
  EXPECT_EQ(r.err, "");
  EXPECT_FALSE(sb.exists("res"));

  r = sb.run({"-p", "proj.txt", "-c", "res", "A", "B"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kAllEmpty);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.list(), (std::vector<std::string>{"a.bin", "b.bin", "proj.txt"}));
}

TEST(FileChecks, AllFilesEmptyWithoutAttributesStillWarns) {
  Sandbox sb;
  sb.write("a.bin", "");
  sb.write("b.bin", "");
  sb.write("proj.txt", "file A\na.bin x\nb.bin y\n");
  RunResult r = sb.run({"-p", "proj.txt", "-e", "8"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kAllEmpty);
  EXPECT_EQ(r.err, "Warning - no attribute specified, outputting common bits for all files.\n");
}

}  // namespace
