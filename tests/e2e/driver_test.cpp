// The analysis driver seen from outside: the synthetic attribute that groups
// all files when no attribute is named, the deletion of old result files
// before the analysis, and the order of reading, deleting and checking.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "sandbox.h"

namespace {

const char kNoAttributeWarning[] =
    "Warning - no attribute specified, outputting common bits for all files.\n";

// Three files of two bytes:
//   f0 = 0F F0, f1 = 0F 00, f2 = 1F 00.
// Bits equal in all three: EF 0F. A groups {f0, f1}: FF 0F. B groups
// {f1, f2}: EF FF.
void writeThreeFiles(const Sandbox& sb) {
  sb.write("f0.bin", std::string("\x0F\xF0", 2));
  sb.write("f1.bin", std::string("\x0F\x00", 2));
  sb.write("f2.bin", std::string("\x1F\x00", 2));
}

void writeProject(const Sandbox& sb) {
  writeThreeFiles(sb);
  sb.write("proj.txt",
           "file A B\n"
           "f0.bin x 1\n"
           "f1.bin x 2\n"
           "f2.bin '' 2\n");
}

TEST(Driver, NoAttributeNamedComparesAllFilesAsOneGroup) {
  Sandbox sb;
  writeProject(sb);
  // f2 has an empty value for A, yet it belongs to the one group of all files.
  RunResult r = sb.run({"-p", "proj.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "EF 0F");
  EXPECT_EQ(r.err, kNoAttributeWarning);
}

TEST(Driver, SyntheticAttributeWritesToTheCommonalitiesFileItself) {
  Sandbox sb;
  writeProject(sb);
  sb.write("res", "old");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, kNoAttributeWarning);
  EXPECT_EQ(sb.read("res"), "EF 0F");
  EXPECT_FALSE(sb.exists("res_0"));
}

TEST(Driver, SyntheticAttributeAvoidsTheProjectsOwnIdColumns) {
  Sandbox sb;
  writeThreeFiles(sb);
  // Every file has its own value in both columns, so analysing either column
  // instead of the synthetic attribute would give all ones.
  sb.write("proj.txt",
           "file _id _id0\n"
           "f0.bin s s\n"
           "f1.bin t t\n"
           "f2.bin u u\n");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, kNoAttributeWarning);
  EXPECT_EQ(sb.read("res"), "EF 0F");
  EXPECT_EQ(sb.list(), (std::vector<std::string>{"f0.bin", "f1.bin", "f2.bin", "proj.txt", "res"}));
}

TEST(Driver, ProjectColumnNamedIdIsAnOrdinaryAttribute) {
  Sandbox sb;
  writeThreeFiles(sb);
  sb.write("proj.txt",
           "file _id\n"
           "f0.bin s\n"
           "f1.bin s\n"
           "f2.bin t\n");
  RunResult r = sb.run({"-p", "proj.txt", "_id"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");
}

TEST(Driver, OneAttributeDeletesOnlyTheCommonalitiesFile) {
  Sandbox sb;
  writeProject(sb);
  sb.write("res", "old result ");
  sb.write("res_0", "from a run with two attributes");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res"), "FF 0F");
  EXPECT_EQ(sb.read("res_0"), "from a run with two attributes");
}

TEST(Driver, SeveralAttributesDeleteTheNumberedFilesOnly) {
  Sandbox sb;
  writeProject(sb);
  sb.write("res", "keep");
  sb.write("res_0", "old 0 ");
  sb.write("res_1", "old 1 ");
  sb.write("res_2", "old 2 ");
  sb.write("res_3", "keep 3");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A", "B", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res"), "keep");
  EXPECT_EQ(sb.read("res_0"), "FF 0F");
  EXPECT_EQ(sb.read("res_1"), "EF FF");
  EXPECT_EQ(sb.read("res_2"), "FF 0F");
  EXPECT_EQ(sb.read("res_3"), "keep 3");
}

TEST(Driver, WithoutCommonalitiesFileNothingIsDeleted) {
  Sandbox sb;
  writeProject(sb);
  sb.write("_0", "keep");
  sb.write("_1", "keep");
  RunResult r = sb.run({"-p", "proj.txt", "A", "B"});
  EXPECT_EQ(r.status, 0);
  // The texts of the attributes follow each other with nothing between them.
  EXPECT_EQ(r.out, "FF 0FEF FF");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("_0"), "keep");
  EXPECT_EQ(sb.read("_1"), "keep");
}

TEST(Driver, DissimilaritiesFileIsDeletedButNotItsNumberedFiles) {
  Sandbox sb;
  writeProject(sb);
  sb.write("out", "old\n");
  sb.write("out_0", "(0-1)\n");
  sb.write("out_1", "(2-3)\n");
  sb.run({"-p", "proj.txt", "-d", "out", "A", "B"});
  EXPECT_FALSE(sb.exists("out"));
  // Whatever the run adds, the earlier lines stay in front.
  EXPECT_EQ(sb.read("out_0").substr(0, 6), "(0-1)\n");
  EXPECT_EQ(sb.read("out_1").substr(0, 6), "(2-3)\n");
}

TEST(Driver, UnknownAttributeFailsAfterOldResultsAreDeleted) {
  Sandbox sb;
  writeProject(sb);
  sb.write("res", "old");
  sb.write("dis", "old\n");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "-d", "dis", "rev"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Attribute \"rev\" is not specified in the project file.\n");
  EXPECT_FALSE(sb.exists("res"));
  EXPECT_FALSE(sb.exists("dis"));
}

TEST(Driver, UnknownAttributeAmongSeveralDeletesTheNumberedFiles) {
  Sandbox sb;
  writeProject(sb);
  sb.write("res_0", "old");
  sb.write("res_1", "old");
  sb.write("res_2", "old");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A", "rev"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Attribute \"rev\" is not specified in the project file.\n");
  EXPECT_FALSE(sb.exists("res_0"));
  EXPECT_FALSE(sb.exists("res_1"));
  EXPECT_EQ(sb.read("res_2"), "old");
}

TEST(Driver, AttributeNamesAreCheckedBeforeTheDataFiles) {
  Sandbox sb;
  sb.write("proj.txt", "file A\nmissing0.bin x\nmissing1.bin x\n");
  RunResult r = sb.run({"-p", "proj.txt", "B"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Attribute \"B\" is not specified in the project file.\n");
}

TEST(Driver, OldResultsAreDeletedEvenWhenTheDataFilesFail) {
  Sandbox sb;
  sb.write("proj.txt", "file A\na.bin x\nb.bin x\n");
  sb.write("b.bin", "1");
  sb.write("res", "old");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "File \"a.bin\" specified in project file does not exists\n");
  EXPECT_FALSE(sb.exists("res"));
}

TEST(Driver, OldResultsSurviveAnUnreadableProjectFile) {
  Sandbox sb;
  writeThreeFiles(sb);
  sb.write("proj.txt", "file A\nf0.bin x\nf1.bin 'x\n");
  sb.write("res", "old");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Error while parsing the line no:3 of project file: unclosed single quote.\n");
  EXPECT_EQ(sb.read("res"), "old");
}

// The synthetic attribute and a project column in which every file has the
// same value must give the same mask, for any data and any output options.
TEST(Driver, SyntheticAttributeAgreesWithAColumnSharedByAllFiles) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 12; ++round) {
    Sandbox sb;
    const int files = 2 + static_cast<int>(random() % 5);
    const int size = 1 + static_cast<int>(random() % 40);
    std::string project = "file same own\n";
    for (int f = 0; f < files; ++f) {
      std::string bytes;
      // Mostly equal bytes, so that the masks are not all zero.
      for (int b = 0; b < size; ++b)
        bytes.push_back(static_cast<char>(random() % 4 == 0 ? random() : b * 37));
      const std::string name = "f" + std::to_string(f) + ".bin";
      sb.write(name, bytes);
      project += name + " v " + std::to_string(f) + "\n";
    }
    sb.write("proj.txt", project);
    const std::vector<std::string> extra[] = {{}, {"-x"}, {"-f", "4", "-n"}};
    for (const auto& options : extra) {
      SCOPED_TRACE("round " + std::to_string(round) + ", " + std::to_string(options.size()));
      std::vector<std::string> synthetic{"-p", "proj.txt"};
      synthetic.insert(synthetic.end(), options.begin(), options.end());
      std::vector<std::string> named = synthetic;
      named.push_back("same");
      RunResult bySynthetic = sb.run(synthetic);
      RunResult byColumn = sb.run(named);
      EXPECT_EQ(bySynthetic.status, 0);
      EXPECT_EQ(byColumn.status, 0);
      EXPECT_EQ(bySynthetic.err, kNoAttributeWarning);
      EXPECT_EQ(byColumn.err, "");
      EXPECT_EQ(bySynthetic.out, byColumn.out);
      EXPECT_FALSE(byColumn.out.empty());
    }
  }
}

}  // namespace
