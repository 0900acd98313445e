// The command line seen from outside: usage, help and version, the option
// library's errors, the checks of the option values and of the named files,
// and the order in which those checks report.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

using Args = std::vector<std::string>;

const char kUsageLine[] = "Usage: ovrell [options] <list of attributes>\n";

// The help description as the option library renders the option table: the
// captions with their colons, "arg" and "arg (=1)", the column of the help
// texts, the wrapping with its trailing blanks and the indentation after the
// tabs of the format text are all the library's layout.
const char kHelp[] =
    " Possible options:\n"
    "\n"
    "  Generic options:\n"
    "  -h [ --help ]                   print this help message\n"
    "  -v [ --version ]                print version string\n"
    "\n"
    "  Task options:\n"
    "  -p [ --project-file ] arg       project file - must be specified\n"
    "  -r [ --project-prefix ] arg     prefix for the files specified in project \n"
    "                                  file - useful if you moved project file into \n"
    "                                  the different directory.\n"
    "  -c [ --com-file ] arg           commonalites output file - if not given, \n"
    "                                  output is written to standard output\n"
    "  -d [ --dis-file ] arg           dissimilarities output file - if not given, \n"
    "                                  dissimilarities are not calculated\n"
    "  -m [ --mem-limit ] arg          limit of dynamic memory - if given program \n"
    "                                  will try not to allocate  more memory than \n"
    "                                  specified in bytes.'MB', 'KB' and 'GB' can be\n"
    "                                  added as suffix.\n"
    "  -x [ --exclude ]                exclude bytes that are the same in all files \n"
    "                                  - it sets corresponding bit to 0 in \n"
    "                                  commonalities output.\n"
    "  -q [ --quadratic ]              use quadratic instead of linear algorithm for\n"
    "                                  dissimilarities(e.g. for testing).\n"
    "  -i [ --include-empty-values ]   consider input file even if the attribute \n"
    "                                  value is an empty string ''.\n"
    "\n"
    "  Format options:\n"
    "  -f [ --format ] arg (=1)        format options specifies how commonalites are\n"
    "                                  displayed:\n"
    "                                      0 ascii format - may result in not \n"
    "                                        printable characters\n"
    "                                      1 hexadecimal base format - (2 spaces per\n"
    "                                        byte)\n"
    "                                      2 decimal base format(3 spaces per byte)\n"
    "                                      3 octal base format (3 spaces per byte)\n"
    "                                      4 binary base format (8 spaces per byte);\n"
    "  -n [ --no-space ]               do not put space between bytes (in ascii \n"
    "                                  format no space is added)\n"
    "  -e [ --switch-endianness ] arg  size of chunks in bytes in which input bytes \n"
    "                                  that should be reordered. Possible values are\n"
    "                                  1(no reordering), 2,4 and 8 bytes. Can be \n"
    "                                  used to switch endianness.\n"
    "  -b [ --inverse-byte-order ]     inverse bytes in the input for each byte.\n";

const char kVersion[] = "Ovrell - version 1.1.1, compares equal-length binary files bit by bit\n";
const char kNoAttributeWarning[] =
    "Warning - no attribute specified, outputting common bits for all files.\n";
const char kEndiannessError[] = "Wrong number of bytes for endianness swap.\n";
const char kMemValueError[] = "Wrong value for the limit for dynamic memory\n";
const char kMemSuffixError[] = "Wrong format of suffix.";
const char kTooManyFiles[] =
    "Too many files to process. Try to increase memory limit using '-m' option\n";

// Two files of two bytes that share the value of A: the mask of A is the
// bits equal in both, "FF 0F".
void writeBasicProject(const Sandbox& sb) {
  sb.write("proj.txt", "file A\na.bin x\nb.bin x\n");
  sb.write("a.bin", std::string("\x0F\xF0", 2));
  sb.write("b.bin", std::string("\x0F\x00", 2));
}

std::string joined(const Args& args) {
  std::string text;
  for (const auto& arg : args) text += "[" + arg + "]";
  return text;
}

Args withBasicProject(Args args) {
  args.insert(args.begin(), {"-p", "proj.txt"});
  args.push_back("A");
  return args;
}

// A library error: one non-empty line of the library's own text, then the
// pointer to the help, and nothing else anywhere.
void expectLibraryError(const RunResult& r, const std::string& program = "ovrell") {
  const std::string tryLine = "try `" + program + " -h' for more information.\n";
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  ASSERT_GT(r.err.size(), tryLine.size() + 1) << r.err;
  EXPECT_EQ(r.err.substr(r.err.size() - tryLine.size()), tryLine);
  const std::string first = r.err.substr(0, r.err.size() - tryLine.size());
  EXPECT_EQ(first.find('\n'), first.size() - 1) << "first line: " << first;
}

TEST(CommandLine, NoArgumentsPrintsUsageAndHelp) {
  Sandbox sb;
  RunResult r = sb.run({});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, std::string(kUsageLine) + kHelp);
  EXPECT_EQ(r.err, "");
}

TEST(CommandLine, UsageLineQuotesTheProgramName) {
  Sandbox sb;
  RunResult r = sb.run({"-h"}, "./tools/ovr");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, std::string("Usage: ./tools/ovr [options] <list of attributes>\n") + kHelp);
  EXPECT_EQ(r.err, "");
}

TEST(CommandLine, HelpWinsOverEverythingButParseErrors) {
  Sandbox sb;
  // Help is looked at before the version and before any value or file check.
  for (const Args& args :
       {Args{"-h"}, Args{"--help"}, Args{"--he"}, Args{"-h", "-v"}, Args{"-v", "-h"},
        Args{"-h", "-p", "missing.txt", "-e", "3", "A"}, Args{"-m", "0", "-h"}}) {
    SCOPED_TRACE(joined(args));
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, std::string(kUsageLine) + kHelp);
    EXPECT_EQ(r.err, "");
  }
  // A parse error is found before help is considered.
  expectLibraryError(sb.run({"-h", "--bogus"}));
}

TEST(CommandLine, VersionLine) {
  Sandbox sb;
  for (const Args& args : {Args{"-v"}, Args{"--version"}, Args{"-v", "A", "B"},
                           Args{"-v", "-p", "missing.txt", "-e", "3", "-m", "100b"}}) {
    SCOPED_TRACE(joined(args));
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kVersion);
    EXPECT_EQ(r.err, "");
  }
}

TEST(CommandLine, LibraryErrorsAreReportedWithAPointerToHelp) {
  Sandbox sb;
  writeBasicProject(sb);
  const std::vector<Args> cases = {
      {"-p", "proj.txt", "--bogus", "A"},             // unknown long option
      {"-p", "proj.txt", "-y", "A"},                  // unknown short option
      {"-p", "proj.txt", "--quiet", "A"},             // "quiet" is no option
      {"-p", "proj.txt", "A", "-c"},                  // missing value
      {"-p", "proj.txt", "A", "--format"},            // missing value, long name
      {"-p", "proj.txt", "-p", "proj.txt", "A"},      // second project file
      {"-p", "proj.txt", "-c", "x", "-c", "y", "A"},  // second commonalities file
      {"-p", "proj.txt", "-f", "x", "A"},             // not a number
      {"-p", "proj.txt", "-f", "4 ", "A"},            // trailing blank
      {"-p", "proj.txt", "-f", "", "A"},              // empty format value
      {"-p", "proj.txt", "-f", "4x", "A"},            // trailing letter
      {"-p", "proj.txt", "-f", "1", "-f", "2", "A"},  // format given twice
      {"-p", "proj.txt", "--in", "A"},                // ambiguous abbreviation
      {"--proj", "proj.txt", "A"},                    // ambiguous abbreviation
      {"-p", "proj.txt", "-x=1", "A"},                // switch with a value attached
  };
  for (const Args& args : cases) {
    SCOPED_TRACE(joined(args));
    expectLibraryError(sb.run(args));
  }
  EXPECT_EQ(sb.list(), (std::vector<std::string>{"a.bin", "b.bin", "proj.txt"}));
}

TEST(CommandLine, LibraryErrorQuotesTheProgramNameAsGiven) {
  Sandbox sb;
  writeBasicProject(sb);
  expectLibraryError(sb.run({"-p", "proj.txt", "--quiet"}, "../bin/my ovrell"), "../bin/my ovrell");
}

TEST(CommandLine, LibraryErrorComesBeforeValueChecks) {
  Sandbox sb;
  expectLibraryError(sb.run({"-e", "3", "-m", "100b", "--bogus"}));
  expectLibraryError(sb.run({"-p", "missing.txt", "-f", "x"}));
}

TEST(CommandLine, ProjectFileMustBeGiven) {
  Sandbox sb;
  for (const Args& args : {Args{"A"}, Args{"-p", "", "A"}, Args{"-c", "out", "-x"}}) {
    SCOPED_TRACE(joined(args));
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    // No attribute warning either: the missing project file is found first.
    EXPECT_EQ(r.err, "You must specify project file. Try ovrell -h for more information.\n");
  }
  RunResult r = sb.run({"A"}, "/usr/local/bin/ovr");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "You must specify project file. Try /usr/local/bin/ovr -h for more information.\n");
  EXPECT_EQ(sb.list(), std::vector<std::string>{});
}

TEST(CommandLine, EndiannessValuesOutsideOneTwoFourEightFail) {
  Sandbox sb;
  writeBasicProject(sb);
  for (const char* value : {"3", "16", "0", "x", "5"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-e", value, "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, kEndiannessError);
  }
}

TEST(CommandLine, EndiannessValueIsReadLikeAtol) {
  Sandbox sb;
  writeBasicProject(sb);
  // Chunks of 2 swap the two bytes of each file: a = F0 0F, b = 00 0F.
  for (const char* value : {"2", " 2", "2 chunks", "+2"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-e", value, "A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "0F FF");
    EXPECT_EQ(r.err, "");
  }
  // "4x" reads as 4; the two-byte files are no multiple of it.
  RunResult r = sb.run({"-p", "proj.txt", "-e", "4x", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err,
            "Warning - file length is not multiple of 4. Ignoring -e command line argument.\n");
}

TEST(CommandLine, EmptyOrOneEndiannessValueKeepsBytesInPlace) {
  Sandbox sb;
  writeBasicProject(sb);
  for (const char* value : {"", "1"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-e", value, "A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "FF 0F");
    EXPECT_EQ(r.err, "");
  }
}

TEST(CommandLine, MemoryLimitValuesThatAreAccepted) {
  Sandbox sb;
  writeBasicProject(sb);
  // Two files of two bytes run with any limit whose budget is not 1 to 7
  // bytes per block; a limit below the fixed cost wraps around to a large one.
  for (const char* value : {"1KB", "1kb", "1kB", "2mb", "3Gb", "10", "10K", "1M", "5b", "1.5GB",
                            "4GB", "5GB", "", "100000000"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-m", value, "A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "FF 0F");
    EXPECT_EQ(r.err, "");
  }
}

TEST(CommandLine, MemoryLimitValueIsConvertedAsWritten) {
  Sandbox sb;
  writeBasicProject(sb);
  // Two files: the fixed cost is 32 bytes and each block byte costs 3, so
  // limits of 32 to 55 bytes leave fewer than 8 bytes per block.
  struct Case {
    Args args;
    bool tooSmall;
  };
  const std::vector<Case> cases = {
      {{"-m", "50K"}, true},  // a lone K is no suffix: 50 bytes
      {{"-m", "55"}, true},
      {{"-m", "56"}, false},
      {{"-m", "50KB"}, false},  // 51200 bytes
      {{"-m", "55 MB"}, false},
      // Without dissimilarities the quadratic choice has no fixed cost, so
      // a limit that reads as 0 leaves no block at all: 4GB wraps to 0.
      {{"-q", "-m", "4GB"}, true},
      {{"-q", "-m", "5GB"}, false},
      {{"-q", "-m", "23"}, true},
      {{"-q", "-m", "24"}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(joined(c.args));
    RunResult r = sb.run(withBasicProject(c.args));
    if (c.tooSmall) {
      EXPECT_EQ(r.status, 1);
      EXPECT_EQ(r.out, "");
      EXPECT_EQ(r.err, kTooManyFiles);
    } else {
      EXPECT_EQ(r.status, 0);
      EXPECT_EQ(r.out, "FF 0F");
      EXPECT_EQ(r.err, "");
    }
  }
}

TEST(CommandLine, MemoryLimitReadingAsZeroFails) {
  Sandbox sb;
  writeBasicProject(sb);
  for (const char* value : {"0", "KB", "kb", "x", "0MB", "-0", "GB"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-m", value, "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, kMemValueError);
  }
}

TEST(CommandLine, MemoryLimitWithUnknownSuffixFailsWithoutLineEnd) {
  Sandbox sb;
  writeBasicProject(sb);
  for (const char* value : {"100b", "2TB", "1 B", "0xB", "12bb"}) {
    SCOPED_TRACE(value);
    RunResult r = sb.run({"-p", "proj.txt", "-m", value, "A"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, kMemSuffixError);
  }
}

TEST(CommandLine, ValueChecksReportInOrder) {
  Sandbox sb;
  struct Case {
    Args args;
    std::string err;
  };
  // Endianness, then memory limit, then the project file.
  const std::vector<Case> cases = {
      {{"-m", "100b", "-e", "3"}, kEndiannessError},
      {{"-m", "0", "-e", "3", "-p", "missing.txt"}, kEndiannessError},
      {{"-m", "100b", "-p", "missing.txt"}, kMemSuffixError},
      {{"-m", "0"}, kMemValueError},
      {{"-m", "0", "-c", "."}, kMemValueError},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(joined(c.args));
    RunResult r = sb.run(c.args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(CommandLine, AnyFormatNumberIsAccepted) {
  Sandbox sb;
  writeBasicProject(sb);
  RunResult r = sb.run({"-p", "proj.txt", "-f", "4", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "11111111 00001111");
  EXPECT_EQ(r.err, "");
  // Numbers above 4 pass the parser; nothing is printed for the masks.
  for (const Args& args : {Args{"-f", "9"}, Args{"--format=9"}, Args{"-f5"}}) {
    SCOPED_TRACE(joined(args));
    r = sb.run(withBasicProject(args));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");
  }
}

TEST(CommandLine, LongNamesAbbreviationsAndAttachedValues) {
  Sandbox sb;
  writeBasicProject(sb);
  for (const Args& args :
       {Args{"--project-file", "proj.txt", "--attributes", "A"}, Args{"--project-f=proj.txt", "A"},
        Args{"-pproj.txt", "-aA"}, Args{"A", "--project-file=proj.txt", "--mem", "1KB"}}) {
    SCOPED_TRACE(joined(args));
    RunResult r = sb.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "FF 0F");
    EXPECT_EQ(r.err, "");
  }
}

TEST(CommandLine, WarningWhenNoAttributeIsNamed) {
  Sandbox sb;
  writeBasicProject(sb);
  RunResult r = sb.run({"-p", "proj.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "FF 0F");
  EXPECT_EQ(r.err, kNoAttributeWarning);
}

TEST(CommandLine, WarningComesBeforeTheProjectFileCheck) {
  Sandbox sb;
  RunResult r = sb.run({"-p", "missing.txt"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            std::string(kNoAttributeWarning) + "Project file \"missing.txt\" does not exist.\n");
}

TEST(CommandLine, ProjectFileMustExistAndBeRegular) {
  Sandbox sb;
  sb.write("sub/proj.txt", "file A\n");
  struct Case {
    Args args;
    std::string err;
  };
  const std::vector<Case> cases = {
      {{"-p", "missing.txt", "A"}, "Project file \"missing.txt\" does not exist.\n"},
      {{"-p", "sub/missing.txt", "A"}, "Project file \"sub/missing.txt\" does not exist.\n"},
      {{"-p", "sub", "A"}, "Project file \"sub\" is not a regular file.\n"},
      {{"-p", ".", "A"}, "Project file \".\" is not a regular file.\n"},
      // The project file is checked before the result paths.
      {{"-p", "missing.txt", "-c", "sub", "-d", "sub", "A"},
       "Project file \"missing.txt\" does not exist.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(joined(c.args));
    RunResult r = sb.run(c.args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(CommandLine, ResultPathsMustNotBeDirectories) {
  Sandbox sb;
  writeBasicProject(sb);
  sb.write("sub/keep", "");
  struct Case {
    Args args;
    std::string err;
  };
  const std::vector<Case> cases = {
      {{"-c", "."}, "Commonalities file \".\" does not exist or is not regular file.\n"},
      {{"-c", "sub"}, "Commonalities file \"sub\" does not exist or is not regular file.\n"},
      {{"-d", "sub"}, "Dissimilarities file \"sub\" exists and is not regular file.\n"},
      {{"-d", "."}, "Dissimilarities file \".\" exists and is not regular file.\n"},
      // Commonalities path first.
      {{"-d", "sub", "-c", "."},
       "Commonalities file \".\" does not exist or is not regular file.\n"},
      {{"-c", "new", "-d", "sub"},
       "Dissimilarities file \"sub\" exists and is not regular file.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(joined(c.args));
    RunResult r = sb.run(withBasicProject(c.args));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, c.err);
  }
  EXPECT_FALSE(sb.exists("new"));
}

TEST(CommandLine, CommonalitiesFileNotYetThereIsCreated) {
  Sandbox sb;
  writeBasicProject(sb);
  RunResult r = sb.run({"-p", "proj.txt", "-c", "res", "A"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res"), "FF 0F");
}

// Three files of one byte, 00, 01 and 02. Each attribute puts a different
// pair in one group, so each has its own mask: A FE, B FD, C FC.
void writeThreeAttributeProject(const Sandbox& sb) {
  sb.write("proj.txt",
           "file A B C\n"
           "f0.bin x x y\n"
           "f1.bin x z x\n"
           "f2.bin w x x\n");
  sb.write("f0.bin", std::string(1, '\x00'));
  sb.write("f1.bin", "\x01");
  sb.write("f2.bin", "\x02");
}

TEST(CommandLine, AttributesKeepCommandLineOrder) {
  Sandbox sb;
  writeThreeAttributeProject(sb);
  RunResult r = sb.run({"-p", "proj.txt", "A", "B", "-a", "C", "-c", "res"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res_0"), "FE");
  EXPECT_EQ(sb.read("res_1"), "FD");
  EXPECT_EQ(sb.read("res_2"), "FC");
  EXPECT_FALSE(sb.exists("res"));
}

TEST(CommandLine, AttributeOptionsAndBareWordsInterleave) {
  Sandbox sb;
  writeThreeAttributeProject(sb);
  // Each -a takes one word; the word after it is a bare attribute name.
  RunResult r = sb.run({"-a", "C", "A", "-c", "res", "-p", "proj.txt", "B"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(sb.read("res_0"), "FC");
  EXPECT_EQ(sb.read("res_1"), "FE");
  EXPECT_EQ(sb.read("res_2"), "FD");
}

TEST(CommandLine, IncludeEmptyValuesSwitchChangesNothing) {
  Sandbox sb;
  // The empty value of f2 keeps it out of every group of A, with or without
  // the switch: A's only group is {f0, f1}, so the mask is NOT(00 XOR 01).
  // If f2 and f3 formed a group of the empty value, bit 7 would be cleared.
  sb.write("proj.txt", "file A\nf0.bin x\nf1.bin x\nf2.bin ''\nf3.bin \"\"\n");
  sb.write("f0.bin", std::string(1, '\x00'));
  sb.write("f1.bin", "\x01");
  sb.write("f2.bin", std::string(1, '\x00'));
  sb.write("f3.bin", "\x80");
  for (const Args& args : {Args{}, Args{"-i"}, Args{"--include-empty-values"}}) {
    SCOPED_TRACE(joined(args));
    RunResult r = sb.run(withBasicProject(args));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "FE");
    EXPECT_EQ(r.err, "");
  }
}

}  // namespace
