// The Options record: command-line parsing, checks and the report of the
// selected file names.
#include "options/options.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "driver/process_exit.h"

namespace {

struct ExitCalled {
  int status;
};

[[noreturn]] void throwOnExit(int status) { throw ExitCalled{status}; }

const std::string kTryHelp = "try `ovrell -h' for more information.\n";
const std::string kNoAttributeWarning =
    "Warning - no attribute specified, outputting common bits for all files.\n";

bool endsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

class CommandLine : public ::testing::Test {
 protected:
  void SetUp() override {
    previousHandler_ = setExitHandler(throwOnExit);
    std::string pattern = (boost::filesystem::temp_directory_path() / "ovrell-opt-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    project_ = dir_ + "/proj.txt";
    std::ofstream(project_) << "file a\n";
    previousErr_ = std::cerr.rdbuf(err_.rdbuf());
    previousOut_ = std::cout.rdbuf(out_.rdbuf());
  }

  void TearDown() override {
    std::cerr.rdbuf(previousErr_);
    std::cout.rdbuf(previousOut_);
    setExitHandler(previousHandler_);
    boost::filesystem::remove_all(dir_);
  }

  // Parses `args` (program name first). Returns the record, or nullptr when
  // the parse ended the process; the status is then in `status_`.
  std::unique_ptr<Options> parse(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    status_ = -1;
    try {
      return std::make_unique<Options>(static_cast<int>(args.size()), argv.data());
    } catch (const ExitCalled& e) {
      status_ = e.status;
      return nullptr;
    }
  }

  // The exit status of a parse that must end the process.
  int exitStatus(const std::vector<std::string>& args) {
    std::unique_ptr<Options> o = parse(args);
    EXPECT_EQ(o, nullptr) << "the parse returned normally";
    return status_;
  }

  std::unique_ptr<Options> parseOk(const std::vector<std::string>& args) {
    std::unique_ptr<Options> o = parse(args);
    EXPECT_NE(o, nullptr) << "ended with status " << status_ << ", stderr: " << err_.str();
    return o;
  }

  void clearStreams() {
    err_.str("");
    out_.str("");
  }

  std::string dir_;
  std::string project_;
  std::ostringstream err_;
  std::ostringstream out_;
  int status_ = -1;

 private:
  ExitHandler previousHandler_ = nullptr;
  std::streambuf* previousErr_ = nullptr;
  std::streambuf* previousOut_ = nullptr;
};

TEST(OptionsRecord, DefaultConstructedHoldsTheDefaults) {
  Options o;
  EXPECT_EQ(o.projectFile, "");
  EXPECT_EQ(o.comFile, "");
  EXPECT_EQ(o.disFile, "");
  EXPECT_EQ(o.projectPrefix, "");
  EXPECT_TRUE(o.attributes.empty());
  EXPECT_EQ(o.format, kHexadecimal);
  EXPECT_EQ(o.memLimit, 100000000u);
  EXPECT_EQ(o.chunkSize, 1u);
  EXPECT_FALSE(o.quiet);
  EXPECT_FALSE(o.inverseByteOrder);
  EXPECT_TRUE(o.space);
  EXPECT_FALSE(o.exclude);
  EXPECT_TRUE(o.linear);
  EXPECT_FALSE(o.includeEmptyValues);
}

TEST_F(CommandLine, OnlyAProjectFileKeepsEveryOtherDefault) {
  auto o = parseOk({"ovrell", "-p", project_, "A"});
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->projectFile, project_);
  EXPECT_EQ(o->attributes, std::vector<std::string>{"A"});
  EXPECT_EQ(o->comFile, "");
  EXPECT_EQ(o->disFile, "");
  EXPECT_EQ(o->projectPrefix, "");
  EXPECT_EQ(o->format, kHexadecimal);
  EXPECT_EQ(o->memLimit, 100000000u);
  EXPECT_EQ(o->chunkSize, 1u);
  EXPECT_FALSE(o->quiet);
  EXPECT_FALSE(o->inverseByteOrder);
  EXPECT_TRUE(o->space);
  EXPECT_FALSE(o->exclude);
  EXPECT_TRUE(o->linear);
  EXPECT_FALSE(o->includeEmptyValues);
  EXPECT_EQ(err_.str(), "");
  EXPECT_EQ(out_.str(), "");
}

TEST_F(CommandLine, AttributesComposeInCommandLineOrder) {
  auto o = parseOk({"ovrell", "-p", project_, "A", "B", "-a", "C"});
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->attributes, (std::vector<std::string>{"A", "B", "C"}));

  o = parseOk({"ovrell", "A", "-a", "C", "-p", project_, "B", "--attributes=D"});
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->attributes, (std::vector<std::string>{"A", "C", "B", "D"}));
}

TEST_F(CommandLine, SwitchesSetTheirFields) {
  auto o = parseOk({"ovrell", "-p", project_, "-q", "-n", "-b", "-x", "-i", "A"});
  ASSERT_NE(o, nullptr);
  EXPECT_FALSE(o->linear);
  EXPECT_FALSE(o->space);
  EXPECT_TRUE(o->inverseByteOrder);
  EXPECT_TRUE(o->exclude);
  EXPECT_FALSE(o->includeEmptyValues);  // -i deliberately stores false
  EXPECT_FALSE(o->quiet);

  o = parseOk({"ovrell", "--project-file", project_, "--quadratic", "--no-space",
               "--inverse-byte-order", "--exclude", "--include-empty-values", "A"});
  ASSERT_NE(o, nullptr);
  EXPECT_FALSE(o->linear);
  EXPECT_FALSE(o->space);
  EXPECT_TRUE(o->inverseByteOrder);
  EXPECT_TRUE(o->exclude);
  EXPECT_FALSE(o->includeEmptyValues);
}

TEST_F(CommandLine, FileNamesAreStoredAsGiven) {
  auto o = parseOk(
      {"ovrell", "-p", project_, "-c", dir_ + "/out", "-d", dir_ + "/dis", "-r", "/mnt/set", "A"});
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->comFile, dir_ + "/out");
  EXPECT_EQ(o->disFile, dir_ + "/dis");
  EXPECT_EQ(o->projectPrefix, "/mnt/set");

  // A unique abbreviation of a long name is accepted.
  o = parseOk({"ovrell", "--project-f", project_, "--com", dir_ + "/c2", "A"});
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->comFile, dir_ + "/c2");
}

TEST_F(CommandLine, ChunkSizeIsReadWithAtol) {
  const std::vector<std::pair<std::string, unsigned>> accepted = {
      {"1", 1}, {"2", 2}, {"4", 4}, {"8", 8}, {"4x", 4}, {" 8", 8}, {"", 1}};
  for (const auto& [text, chunk] : accepted) {
    SCOPED_TRACE("-e [" + text + "]");
    auto o = parseOk({"ovrell", "-p", project_, "-e", text, "A"});
    if (o) {
      EXPECT_EQ(o->chunkSize, chunk);
    }
  }
  for (const std::string text : {"3", "16", "0", "x", "-2", "-4"}) {
    SCOPED_TRACE("-e [" + text + "]");
    clearStreams();
    EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "--switch-endianness=" + text, "A"}), 1);
    EXPECT_EQ(err_.str(), "Wrong number of bytes for endianness swap.\n");
  }
}

TEST_F(CommandLine, MemoryLimitIsConvertedAndChecked) {
  const std::vector<std::pair<std::string, unsigned>> accepted = {
      {"1KB", 1024}, {"10", 10}, {"10K", 10}, {"5b", 5}, {"4GB", 0}, {"", 100000000}};
  for (const auto& [text, limit] : accepted) {
    SCOPED_TRACE("-m [" + text + "]");
    auto o = parseOk({"ovrell", "-p", project_, "-m", text, "A"});
    if (o) {
      EXPECT_EQ(o->memLimit, limit);
    }
  }
  for (const std::string text : {"0", "KB"}) {
    SCOPED_TRACE("-m [" + text + "]");
    clearStreams();
    EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "-m", text, "A"}), 1);
    EXPECT_EQ(err_.str(), "Wrong value for the limit for dynamic memory\n");
  }
  for (const std::string text : {"100b", "2TB"}) {
    SCOPED_TRACE("-m [" + text + "]");
    clearStreams();
    EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "-m", text, "A"}), 1);
    EXPECT_EQ(err_.str(), "Wrong format of suffix.");
  }
}

TEST_F(CommandLine, ValuesAreCheckedInOrder) {
  // Chunk size before memory limit, memory limit before the project file.
  EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "-m", "0", "-e", "3", "A"}), 1);
  EXPECT_EQ(err_.str(), "Wrong number of bytes for endianness swap.\n");
  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-m", "100b", "A"}), 1);
  EXPECT_EQ(err_.str(), "Wrong format of suffix.");
  // The missing-attribute warning comes before the project file check.
  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-p", dir_ + "/missing.txt"}), 1);
  EXPECT_EQ(err_.str(),
            kNoAttributeWarning + "Project file \"" + dir_ + "/missing.txt\" does not exist.\n");
}

TEST_F(CommandLine, FormatTakesAnyUnsignedNumber) {
  const std::vector<std::pair<std::string, unsigned>> accepted = {
      {"0", kAscii}, {"4", kBinary}, {"9", 9}, {"4294967295", 4294967295u}};
  for (const auto& [text, format] : accepted) {
    SCOPED_TRACE("-f [" + text + "]");
    auto o = parseOk({"ovrell", "-p", project_, "-f", text, "A"});
    if (o) {
      EXPECT_EQ(static_cast<unsigned>(o->format), format);
    }
  }
  auto o = parseOk({"ovrell", "-p", project_, "--format=2", "A"});
  if (o) {
    EXPECT_EQ(o->format, kDecimal);
  }
}

TEST_F(CommandLine, LibraryErrorsEndWithTheHelpHint) {
  const std::vector<std::vector<std::string>> refused = {
      {"ovrell", "-p", project_, "-f", "4 ", "A"},
      {"ovrell", "-p", project_, "-f", " 4", "A"},
      {"ovrell", "-p", project_, "-f", "x", "A"},
      {"ovrell", "-p", project_, "-f", "", "A"},
      {"ovrell", "-p", project_, "-f", "1", "-f", "2", "A"},
      {"ovrell", "-p", project_, "-p", project_, "A"},
      {"ovrell", "-p", project_, "--quiet", "A"},
      {"ovrell", "-p", project_, "-z", "A"},
      {"ovrell", "--pro", project_, "A"},  // ambiguous abbreviation
      {"ovrell", "A", "-p"},
  };
  for (const auto& args : refused) {
    std::string line;
    for (const std::string& a : args) line += "[" + a + "]";
    SCOPED_TRACE(line);
    clearStreams();
    EXPECT_EQ(exitStatus(args), 1);
    EXPECT_TRUE(endsWith(err_.str(), "\n" + kTryHelp)) << err_.str();
    EXPECT_GT(err_.str().size(), kTryHelp.size() + 1);
  }
  clearStreams();
  EXPECT_EQ(exitStatus({"./bin/ovr", "--quiet"}), 1);
  EXPECT_TRUE(endsWith(err_.str(), "\ntry `./bin/ovr -h' for more information.\n")) << err_.str();
}

TEST_F(CommandLine, MissingProjectFileIsAnError) {
  EXPECT_EQ(exitStatus({"ovr", "A"}), 1);
  EXPECT_EQ(err_.str(), "You must specify project file. Try ovr -h for more information.\n");
  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-p", "", "A"}), 1);
  EXPECT_EQ(err_.str(), "You must specify project file. Try ovrell -h for more information.\n");
}

TEST_F(CommandLine, ProjectFileMustBeARegularFile) {
  EXPECT_EQ(exitStatus({"ovrell", "-p", dir_, "A"}), 1);
  EXPECT_EQ(err_.str(), "Project file \"" + dir_ + "\" is not a regular file.\n");
}

TEST_F(CommandLine, NoAttributeIsAWarningOnly) {
  auto o = parseOk({"ovrell", "-p", project_});
  ASSERT_NE(o, nullptr);
  EXPECT_TRUE(o->attributes.empty());
  EXPECT_EQ(err_.str(), kNoAttributeWarning);
}

TEST_F(CommandLine, ResultPathsMustNotBeDirectories) {
  auto o = parseOk({"ovrell", "-p", project_, "-c", dir_ + "/new", "-d", dir_ + "/new2", "A"});
  EXPECT_NE(o, nullptr);
  o = parseOk({"ovrell", "-p", project_, "-c", project_, "-d", project_, "A"});
  EXPECT_NE(o, nullptr);

  EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "-c", dir_, "A"}), 1);
  EXPECT_EQ(err_.str(),
            "Commonalities file \"" + dir_ + "\" does not exist or is not regular file.\n");
  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-p", project_, "-d", dir_, "A"}), 1);
  EXPECT_EQ(err_.str(), "Dissimilarities file \"" + dir_ + "\" exists and is not regular file.\n");
}

TEST_F(CommandLine, HelpAndVersionEndWithStatusZero) {
  EXPECT_EQ(exitStatus({"ovrell"}), 0);
  const std::string usage = "Usage: ovrell [options] <list of attributes>\n";
  EXPECT_EQ(out_.str().substr(0, usage.size()), usage);
  const std::string help = out_.str();
  EXPECT_NE(help.find("  Generic options"), std::string::npos);
  EXPECT_NE(help.find("-p [ --project-file ] arg"), std::string::npos);
  EXPECT_NE(help.find("arg (=1)"), std::string::npos);
  EXPECT_EQ(help.find("list of attributes\n", usage.size()), std::string::npos)
      << "the hidden group is shown";
  EXPECT_EQ(err_.str(), "");

  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-v", "-h"}), 0);
  EXPECT_EQ(out_.str(), help);

  clearStreams();
  EXPECT_EQ(exitStatus({"ovrell", "-v"}), 0);
  const std::string version = "Ovrell - version 1.1.1, ";
  EXPECT_EQ(out_.str().substr(0, version.size()), version);
  EXPECT_TRUE(endsWith(out_.str(), "\n"));
  EXPECT_EQ(out_.str().find('\n'), out_.str().size() - 1) << "not one line";
  EXPECT_EQ(err_.str(), "");
}

TEST(SelectedOptionsReport, PadsLabelsToTwentyAndValuesToTwelve) {
  Options o;
  o.projectFile = "p.txt";
  o.comFile = "c";
  o.disFile = "a-rather-long-name";
  std::ostringstream out;
  out << o;
  EXPECT_EQ(out.str(),
            "Selected Options:\n"
            "  Project file:     p.txt       \n"
            "  Commonalities output file:c           \n"
            " Dissimilarities output file :a-rather-long-name\n");

  std::ostringstream empty;
  empty << Options();
  EXPECT_EQ(empty.str(),
            "Selected Options:\n"
            "  Project file:                 \n"
            "  Commonalities output file:            \n"
            " Dissimilarities output file :            \n");
}

}  // namespace
