// The project file seen from outside: its messages with their line numbers,
// the splitting of lines into fields, empty values, where the data paths
// point, and line ends with carriage returns.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "sandbox.h"

namespace {

using Args = std::vector<std::string>;

const char kNoAttributeWarning[] =
    "Warning - no attribute specified, outputting common bits for all files.\n";
const char kNoAttributeInHeader[] = "Project file must contain at least one attribute name.\n";
const char kFieldCountTail[] =
    ". Number of attribute values does not correspond to number of attributes defined in "
    "header. To specify empty attribute use ''. \n";

std::string lineError(int line, const std::string& text) {
  return "Error while parsing the line no:" + std::to_string(line) + " of project file: " + text +
         "\n";
}

std::string fieldCountError(int line) {
  return "Error while parsing the line no:" + std::to_string(line) + kFieldCountTail;
}

std::string missingFile(const std::string& quotedPath) {
  return "File " + quotedPath + " specified in project file does not exists\n";
}

// a.bin = 0F F0 and b.bin = 0F 00: in one group the mask is "FF 0F", in
// groups of their own "FF FF".
void writeDataFiles(const Sandbox& sb, const std::string& dir = "") {
  sb.write(dir + "a.bin", std::string("\x0F\xF0", 2));
  sb.write(dir + "b.bin", std::string("\x0F\x00", 2));
}

struct Case {
  std::string project;
  std::string err;
};

TEST(ProjectFile, LineErrorsCountEveryPhysicalLine) {
  Sandbox sb;
  writeDataFiles(sb);
  const std::vector<Case> cases = {
      {"# capture set\n\nfile A\na.bin \"x\n", lineError(4, "unclosed double quote.")},
      {"file A\na.bin x\n\n  \t,, \n# note\nb.bin 'x\n", lineError(6, "unclosed single quote.")},
      {"file A\na.bin x\\\n", lineError(2, "single backslash at the end of line.")},
      // A lone backslash inside a quote reports the backslash.
      {"file A\na.bin 'x\\\n", lineError(2, "single backslash at the end of line.")},
      {"\n\n# header follows\nfile 'A\na.bin x\n", lineError(4, "unclosed single quote.")},
      // A last line without a line feed is read too.
      {"file A\na.bin x\nb.bin x\n\n\"", lineError(5, "unclosed double quote.")},
      // A comment does not hide a quote opened before it.
      {"file A # attributes\na.bin \"x # y\n", lineError(2, "unclosed double quote.")},
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

TEST(ProjectFile, DataLinesMustHaveOneValuePerAttribute) {
  Sandbox sb;
  writeDataFiles(sb);
  const std::vector<Case> cases = {
      {"file A B\n# c\na.bin x y\n\nb.bin x\n", fieldCountError(5)},
      {"file A\na.bin x ''\nb.bin x\n", fieldCountError(2)},
      {"file A\na.bin x\nb.bin x y # too many\n", fieldCountError(3)},
      {"file A\na.bin\nb.bin x\n", fieldCountError(2)},
      // A quote closes a field, so text right after it starts another one.
      {"file A\na.bin 'x'y\n", fieldCountError(2)},
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

TEST(ProjectFile, HeaderNamesMustBeNonEmptyAndDistinct) {
  Sandbox sb;
  writeDataFiles(sb);
  const std::vector<Case> cases = {
      {"file A ''\na.bin x y\nb.bin x y\n", "Attribute name must not be empty\n"},
      {"file \"\" A\na.bin x y\nb.bin x y\n", "Attribute name must not be empty\n"},
      {"file A A\na.bin x y\nb.bin x y\n", "Two attributes must not have the same name. \n"},
      {"file A B 'A'\na.bin x y z\n", "Two attributes must not have the same name. \n"},
      // The header is checked before any data line is read.
      {"\nfile A A\na.bin 'x\n", "Two attributes must not have the same name. \n"},
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

TEST(ProjectFile, FileColumnTitleMayBeEmpty) {
  Sandbox sb;
  writeDataFiles(sb);
  sb.write("proj.txt", "'' A\na.bin x\nb.bin x\n");
  RunResult r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");
}

TEST(ProjectFile, AttributeNamesMatchExactly) {
  Sandbox sb;
  writeDataFiles(sb);
  sb.write("proj.txt", "file A a\na.bin x 1\nb.bin x 2\n");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "a", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res_0"), "FF FF");
  EXPECT_EQ(sb.read("res_1"), "FF 0F");

  // The first unknown name decides.
  for (const Args& names : {Args{"A", "b", "c"}, Args{"A "}, Args{"A", "aa"}}) {
    Args args{"-p", "proj.txt"};
    args.insert(args.end(), names.begin(), names.end());
    r = sb.run(args);
    const std::string unknown = names[0] == "A" ? names[1] : names[0];
    SCOPED_TRACE(unknown);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Attribute \"" + unknown + "\" is not specified in the project file.\n");
  }
}

TEST(ProjectFile, MissingAttributeNamesOnlyWarn) {
  Sandbox sb;
  writeDataFiles(sb);
  struct RunCase {
    std::string project;
    Args names;
    int status;
    std::string out;
    std::string err;
  };
  const std::vector<RunCase> cases = {
      // No header at all: no files and no attributes.
      {"",
       {"A"},
       1,
       "",
       std::string(kNoAttributeInHeader) +
           "Attribute \"A\" is not specified in the project file.\n"},
      {"# only a comment\n\n",
       {},
       1,
       "",
       std::string(kNoAttributeWarning) + kNoAttributeInHeader +
           "Project file must contain more than one file to process.\n"},
      // A header with the file column only: data lines are bare paths.
      {"file\na.bin\n\nb.bin\n",
       {},
       0,
       "FF 0F",
       std::string(kNoAttributeWarning) + kNoAttributeInHeader},
      {"file\na.bin\nb.bin\n",
       {"A"},
       1,
       "",
       std::string(kNoAttributeInHeader) +
           "Attribute \"A\" is not specified in the project file.\n"},
      {"file # no attributes\na.bin\nb.bin x\n",
       {},
       1,
       "",
       std::string(kNoAttributeWarning) + kNoAttributeInHeader + fieldCountError(3)},
  };
  for (const RunCase& c : cases) {
    SCOPED_TRACE(c.project);
    sb.write("proj.txt", c.project);
    Args args{"-p", "proj.txt"};
    args.insert(args.end(), c.names.begin(), c.names.end());
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(ProjectFile, QuotesEscapesCommentsAndCommas) {
  Sandbox sb;
  // f0 = 00 00, f1 = 01 00, f2 = 00 10, f3 = 00 30.
  sb.write("b c.bin", std::string(2, '\x00'));
  sb.write("d e.bin", std::string("\x01\x00", 2));
  sb.write("f#g.bin", std::string("\x00\x10", 2));
  sb.write("h.bin", std::string("\x00\x30", 2));
  // model: X"1 = {f0, f1}, X2 = {f2, f3}: mask FE DF.
  // rev: 2 = {f0}, 3 = {f1, f3}, f2 has the empty value: mask FE CF.
  sb.write("proj.txt",
           "# header with commas and a comment\n"
           "file,model,,rev   # columns\n"
           "\"b c.bin\", 'X\"1', 2\n"
           "d\\ e.bin \"X\\\"1\"\t3 # same model as the line above\n"
           "'f#g.bin'X2''\n"
           "h.bin,X\\2,\"3\"#comment");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "model", "rev"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res_0"), "FE DF");
  EXPECT_EQ(sb.read("res_1"), "FE CF");
}

TEST(ProjectFile, QuotedAttributeNamesAndEscapedSeparators) {
  Sandbox sb;
  writeDataFiles(sb);
  sb.write("proj.txt",
           "file 'model name' rev\\,2 \\#3\n"
           "a.bin m 1 p\n"
           "b.bin m 2 p\n");
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "model name", "rev,2", "#3"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res_0"), "FF 0F");
  EXPECT_EQ(sb.read("res_1"), "FF FF");
  EXPECT_EQ(sb.read("res_2"), "FF 0F");
}

TEST(ProjectFile, EmptyValueKeepsTheFileOutOfTheAttributesGroups) {
  Sandbox sb;
  // f0 = 00, f1 = 01, f2 = 00, f3 = 80. A: x = {f0, f1}; f2 and f3 have the
  // empty value. If the empty value formed a group {f2, f3}, bit 7 would be
  // cleared as well. B has no usable value at all: no group, all ones.
  sb.write("f0.bin", std::string(1, '\x00'));
  sb.write("f1.bin", "\x01");
  sb.write("f2.bin", std::string(1, '\x00'));
  sb.write("f3.bin", "\x80");
  sb.write("proj.txt",
           "file A B\n"
           "f0.bin x ''\n"
           "f1.bin x \"\"\n"
           "f2.bin '' ''\n"
           "f3.bin \"\" ''\n");
  for (const Args& extra : {Args{}, Args{"-i"}, Args{"--include-empty-values"}}) {
    SCOPED_TRACE(extra.empty() ? "" : extra[0]);
    Args args{"-p", "proj.txt", "-c", "res", "A", "B"};
    args.insert(args.end(), extra.begin(), extra.end());
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.read("res_0"), "FE");
    EXPECT_EQ(sb.read("res_1"), "FF");
  }
  // The files with empty values still count in the all-files group.
  RunResult r = sb.run({"-p", "proj.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "7E");
  EXPECT_EQ(r.err, kNoAttributeWarning);
}

TEST(ProjectFile, SamePathListedTwiceCountsTwice) {
  Sandbox sb;
  writeDataFiles(sb);
  // {a} and {a, b}: the second copy of a is grouped with b.
  sb.write("proj.txt", "file A\na.bin x\na.bin y\nb.bin y\n");
  RunResult r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");
  // One file listed twice is two files.
  sb.write("proj.txt", "file A\nb.bin x\nb.bin x\n");
  r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF FF");
  EXPECT_EQ(r.err, "");
}

TEST(ProjectFile, DataPathsAreRelativeToTheProjectFilesDirectory) {
  Sandbox sb;
  writeDataFiles(sb, "proj/");
  sb.write("proj/list.txt", "file A\na.bin x\nb.bin x\n");
  RunResult r = sb.run({"-p", "proj/list.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");
}

TEST(ProjectFile, PrefixReplacesTheProjectFilesDirectory) {
  Sandbox sb;
  writeDataFiles(sb, "data/");
  sb.write("proj/list.txt", "file A\na.bin x\nb.bin x\n");
  for (const std::string& prefix :
       {std::string("data"), std::string("data/"), std::string("./data"), sb.path("data")}) {
    SCOPED_TRACE(prefix);
    RunResult r = sb.run({"-p", "proj/list.txt", "-r", prefix, "A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "FF 0F");
    EXPECT_EQ(r.err, "");
  }
}

TEST(ProjectFile, JoinedDataPaths) {
  Sandbox sb;
  writeDataFiles(sb, "data/");
  writeDataFiles(sb, "data/x/");
  writeDataFiles(sb, "proj/");
  sb.write("proj/list.txt", "file A\na.bin x\nc.bin x\n");
  sb.write("data/list.txt", "file A\n/x/a.bin x\n/x/c.bin x\n");
  sb.write("list.txt", "file A\n/nonexistent-ovrell-e2e/c.bin x\na.bin x\n");
  struct PathCase {
    Args args;
    std::string quotedPath;
  };
  const std::vector<PathCase> cases = {
      {{"-p", "proj/list.txt"}, "\"proj/c.bin\""},
      {{"-p", "./proj/list.txt"}, "\"./proj/c.bin\""},
      {{"-p", "proj//list.txt"}, "\"proj/c.bin\""},
      {{"-p", "proj/list.txt", "-r", "data"}, "\"data/c.bin\""},
      {{"-p", "proj/list.txt", "-r", "data/"}, "\"data/c.bin\""},
      {{"-p", "proj/list.txt", "-r", "/nonexistent-ovrell-e2e"},
       "\"/nonexistent-ovrell-e2e/a.bin\""},
      // An absolute data path is put under the base directory.
      {{"-p", "data/list.txt"}, "\"data/x/c.bin\""},
      {{"-p", "data/list.txt", "-r", "proj"}, "\"proj/x/a.bin\""},
      {{"-p", "data/list.txt", "-r", "proj/"}, "\"proj//x/a.bin\""},
      // Without a directory part the path is used as it stands.
      {{"-p", "list.txt"}, "\"/nonexistent-ovrell-e2e/c.bin\""},
  };
  for (const PathCase& c : cases) {
    SCOPED_TRACE(c.args[1] + (c.args.size() > 2 ? " -r " + c.args[3] : ""));
    Args args = c.args;
    args.push_back("A");
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, missingFile(c.quotedPath));
  }
  // The absolute data paths that exist under the base directory are found.
  sb.write("data/list.txt", "file A\n/x/a.bin x\n/x/b.bin x\n");
  RunResult r = sb.run({"-p", "data/list.txt", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");
}

TEST(ProjectFile, CarriageReturnsBelongToTheLastField) {
  Sandbox sb;
  writeDataFiles(sb);
  // The header names the attribute "A\r".
  sb.write("proj.txt", "file A\r\na.bin x\r\nb.bin x\r\n");
  RunResult r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Attribute \"A\" is not specified in the project file.\n");

  r = sb.run({"-p", "proj.txt", "A\r"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, "");

  // Without a line end on the last line its value is "x", not "x\r".
  sb.write("proj.txt", "file A\r\na.bin x\r\nb.bin x");
  r = sb.run({"-p", "proj.txt", "A\r"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF FF");
  EXPECT_EQ(r.err, "");

  // With the file column alone, the carriage return ends the path.
  sb.write("proj.txt", "file\r\na.bin\r\nb.bin\r\n");
  r = sb.run({"-p", "proj.txt"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            std::string(kNoAttributeWarning) + kNoAttributeInHeader + missingFile("\"a.bin\r\""));
}

// Writes one field in a randomly chosen but equivalent spelling.
std::string spell(const std::string& field, std::mt19937& random) {
  switch (random() % 4) {
    case 0:
      return "'" + field + "'";
    case 1:
      return "\"" + field + "\"";
    case 2: {
      // Every byte may be escaped.
      std::string escaped;
      for (char c : field) escaped += random() % 2 ? std::string("\\") + c : std::string(1, c);
      return escaped;
    }
    default:
      return field;
  }
}

// The same table written with any mix of separators, quotes, escapes, blank
// lines and comments reads the same: the results do not change.
TEST(ProjectFile, EquivalentSpellingsGiveTheSameResults) {
  Sandbox sb;
  const std::vector<std::vector<std::string>> table = {
      {"file", "model", "rev", "site"}, {"f0.bin", "X1", "2", "north"},
      {"f1.bin", "X1", "3", "north"},   {"f2.bin", "X2", "3", "south"},
      {"f3.bin", "X2", "2", "south"},   {"f4.bin", "X1", "3", "east"},
  };
  const char data[5][4] = {"\x00\x11\x22", "\x01\x11\x23", "\x80\x10\x22", "\x81\x13\x20",
                           "\x01\x51\x2A"};
  for (int f = 0; f < 5; ++f) sb.write("f" + std::to_string(f) + ".bin", std::string(data[f], 3));
  const std::vector<std::string> args{"-p", "proj.txt", "-c", "res", "model", "rev", "site"};

  std::string plain;
  for (const auto& row : table) {
    for (std::size_t k = 0; k < row.size(); ++k) plain += (k ? " " : "") + row[k];
    plain += "\n";
  }
  sb.write("proj.txt", plain);
  RunResult r = sb.run(args);
  ASSERT_EQ(r.status, 0);
  ASSERT_EQ(r.err, "");
  const std::string expected[] = {sb.read("res_0"), sb.read("res_1"), sb.read("res_2")};

  const char* separators[] = {" ", "\t", ",", " , ", ",,", "\t \t"};
  const char* fillers[] = {"\n", "# comment 'with \"quotes\n", " \t,\n", "\t# indented\n"};
  std::mt19937 random(77);
  for (int round = 0; round < 20; ++round) {
    std::string project;
    for (const auto& row : table) {
      if (random() % 3 == 0) project += fillers[random() % 4];
      if (random() % 3 == 0) project += separators[random() % 6];
      for (std::size_t k = 0; k < row.size(); ++k) {
        if (k) project += separators[random() % 6];
        project += spell(row[k], random);
      }
      if (random() % 3 == 0) project += separators[random() % 6];
      if (random() % 3 == 0) project += " # trailing comment";
      project += "\n";
    }
    if (random() % 2) project.pop_back();  // the last line may lack its line end
    SCOPED_TRACE(project);
    sb.write("proj.txt", project);
    r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.read("res_0"), expected[0]);
    EXPECT_EQ(sb.read("res_1"), expected[1]);
    EXPECT_EQ(sb.read("res_2"), expected[2]);
  }
}

TEST(ProjectFile, UnreadableProjectFile) {
  if (geteuid() == 0) GTEST_SKIP() << "permissions do not stop the superuser";
  Sandbox sb;
  writeDataFiles(sb);
  sb.write("proj.txt", "file A\na.bin x\nb.bin x\n");
  ASSERT_EQ(chmod(sb.path("proj.txt").c_str(), 0), 0);
  RunResult r = sb.run({"-p", "proj.txt", "A"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "Unable to open project file!\n");
}

}  // namespace
