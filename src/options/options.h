// The settings of one invocation, filled once from the command line.
//
// `Options(argc, argv)` parses and checks the whole command line. It returns
// only when every value is valid and the project file exists and is a
// regular file; help, version and every command-line error end the process
// (through exitProcess) with the exact text and status the user sees. After
// that the record is read-only, except that the driver may append a
// synthetic attribute name and the analysis may reset `chunkSize` to 1.
#ifndef OVRELL_OPTIONS_OPTIONS_H_
#define OVRELL_OPTIONS_OPTIONS_H_

#include <boost/any.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

// How commonalities are printed. Held in 32 bits; the parser accepts any
// unsigned number, and values above 4 print nothing.
enum output_opt : std::uint32_t {
  kAscii = 0,
  kHexadecimal = 1,
  kDecimal = 2,
  kOctal = 3,
  kBinary = 4,
};

// Reads a `format` value: one unsigned decimal number filling the whole
// token (no leading or trailing blanks). Anything else raises the option
// library's invalid-value error. Found by the option library through ADL.
void validate(boost::any& value, const std::vector<std::string>& tokens, output_opt*, int);

struct Options {
  std::string projectFile;
  std::string comFile;        // empty: commonalities go to standard output
  std::string disFile;        // empty: no dissimilarities
  std::string projectPrefix;  // replaces the project file's directory when set
  std::vector<std::string> attributes;
  output_opt format = kHexadecimal;
  std::uint32_t memLimit = 100000000;
  std::uint32_t chunkSize = 1;
  bool quiet = false;  // no option sets it
  bool inverseByteOrder = false;
  bool space = true;
  bool exclude = false;
  bool linear = true;
  bool includeEmptyValues = false;  // `-i` stores false: empty values never group

  Options() = default;
  Options(int argc, char** argv);

  void parseCommandLine(int argc, char** argv);
};

// The checks shared with the companion program, each ending the process
// with its message. `convertValues` converts the texts of -m and -e (empty:
// not given) into memLimit and chunkSize; `requireProjectFileOption` refuses
// an empty -p (`program` is argv[0]); `checkProjectFile` refuses a project
// file that is not there or not a regular file.
void convertValues(const std::string& memLimitText, const std::string& chunkSizeText, Options& o);
void requireProjectFileOption(const std::string& program, const std::string& name);
void checkProjectFile(const std::string& name);

// The "Selected Options" report of the three file names.
std::ostream& operator<<(std::ostream& out, const Options& options);

#endif  // OVRELL_OPTIONS_OPTIONS_H_
