#include "options/options.h"

#include <boost/filesystem.hpp>
#include <boost/program_options.hpp>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "base/fatal.h"
#include "options/command_line.h"
#include "options/option_values.h"

namespace po = boost::program_options;
namespace fs = boost::filesystem;

namespace {

const ProgramText kProgramText{"Ovrell", "compares equal-length binary files bit by bit",
                               "[options] <list of attributes>", ""};

const char kFormatHelp[] =
    "format options specifies how commonalites are displayed:\n"
    "    0 \tascii format - may result in not printable characters\n"
    "    1 \thexadecimal base format - (2 spaces per byte)\n"
    "    2 \tdecimal base format(3 spaces per byte)\n"
    "    3 \toctal base format (3 spaces per byte)\n"
    "    4 \tbinary base format (8 spaces per byte);";

// A string option whose default is empty and whose help shows just "arg".
po::typed_value<std::string>* text(std::string* target) {
  return po::value<std::string>(target)->default_value(std::string(), "");
}

// The file named by an option must be a regular file if it is there at all.
void checkResultPath(const std::string& name, const char* label, const char* problem) {
  if (name.empty()) return;
  const fs::path path(name);
  if (fs::exists(path) && !fs::is_regular_file(path)) fatal(label, path, problem, "\n");
}

}  // namespace

void validate(boost::any& value, const std::vector<std::string>& tokens, output_opt*, int) {
  po::validators::check_first_occurrence(value);
  const std::string& token = po::validators::get_single_string(tokens);
  std::istringstream in(token);
  unsigned int number = 0;
  in >> std::noskipws >> number;
  // The library's own text for a rejected value, without the token, as its
  // validators of custom types raise it.
  if (in.fail() || in.get() != std::istringstream::traits_type::eof())
    throw po::validation_error(po::validation_error::invalid_option_value);
  value = boost::any(static_cast<output_opt>(number));
}

namespace {

// The option table. `-m` and `-e` are read as text into the two locals and
// converted after parsing; everything else is stored into its field.
struct OptionTable {
  po::options_description parsed;                      // all four groups
  po::options_description shown{" Possible options"};  // the help: no hidden group
  po::positional_options_description positional;
};

void describeOptions(Options& o, std::string& memLimitText, std::string& chunkSizeText,
                     OptionTable& table) {
  // clang-format off
  po::options_description generic("  Generic options");
  generic.add_options()
      ("help,h", "print this help message")
      ("version,v", "print version string");

  po::options_description task("  Task options");
  task.add_options()
      ("project-file,p", text(&o.projectFile), "project file - must be specified")
      ("project-prefix,r", text(&o.projectPrefix),
       "prefix for the files specified in project file - useful if you moved project file into the different directory.")
      ("com-file,c", text(&o.comFile),
       "commonalites output file - if not given, output is written to standard output")
      ("dis-file,d", text(&o.disFile),
       "dissimilarities output file - if not given, dissimilarities are not calculated")
      ("mem-limit,m", text(&memLimitText),
       "limit of dynamic memory - if given program will try not to allocate  more memory than specified in bytes.'MB', 'KB' and 'GB' can be added as suffix.")
      ("exclude,x",
       "exclude bytes that are the same in all files - it sets corresponding bit to 0 in commonalities output.")
      ("quadratic,q",
       "use quadratic instead of linear algorithm for dissimilarities(e.g. for testing).")
      ("include-empty-values,i",
       "consider input file even if the attribute value is an empty string ''.");

  po::options_description formatting("  Format options");
  formatting.add_options()
      ("format,f", po::value<output_opt>(&o.format)->default_value(kHexadecimal), kFormatHelp)
      ("no-space,n", "do not put space between bytes (in ascii format no space is added)")
      ("switch-endianness,e", text(&chunkSizeText),
       "size of chunks in bytes in which input bytes that should be reordered. Possible values are 1(no reordering), 2,4 and 8 bytes. Can be used to switch endianness.")
      ("inverse-byte-order,b", "inverse bytes in the input for each byte.");

  po::options_description hidden("Hidden options");
  hidden.add_options()
      ("attributes,a", po::value<std::vector<std::string>>(&o.attributes)->composing(),
       "list of attributes");
  // clang-format on

  table.parsed.add(generic).add(task).add(hidden).add(formatting);
  table.shown.add(generic).add(task).add(formatting);
  table.positional.add("attributes", -1);
}

void applySwitches(const po::variables_map& map, Options& o) {
  if (map.count("quadratic")) o.linear = false;
  // The switch stores false, its default: a file with an empty value never joins a group.
  if (map.count("include-empty-values")) o.includeEmptyValues = false;
  if (map.count("no-space")) o.space = false;
  if (map.count("inverse-byte-order")) o.inverseByteOrder = true;
  if (map.count("exclude")) o.exclude = true;
  if (map.count("quiet")) o.quiet = true;  // never declared, so never present
}

}  // namespace

void convertValues(const std::string& memLimitText, const std::string& chunkSizeText, Options& o) {
  if (!chunkSizeText.empty()) {
    o.chunkSize = static_cast<std::uint32_t>(atolValue(chunkSizeText));
    if (o.chunkSize != 1 && o.chunkSize != 2 && o.chunkSize != 4 && o.chunkSize != 8)
      fatal("Wrong number of bytes for endianness swap.\n");
  }
  if (memLimitText.empty()) return;
  switch (convertMemLimit(memLimitText, o.memLimit)) {
    case MemLimitVerdict::kOk:
      return;
    case MemLimitVerdict::kBadSuffix:
      fatal("Wrong format of suffix.");
    case MemLimitVerdict::kZeroValue:
      fatal("Wrong value for the limit for dynamic memory\n");
  }
}

void requireProjectFileOption(const std::string& program, const std::string& name) {
  if (name.empty())
    fatal("You must specify project file. Try " + program + " -h for more information.\n");
}

void checkProjectFile(const std::string& name) {
  const fs::path project(name);
  if (!fs::exists(project)) fatal("Project file ", project, " does not exist.\n");
  if (!fs::is_regular_file(project)) fatal("Project file ", project, " is not a regular file.\n");
}

Options::Options(int argc, char** argv) { parseCommandLine(argc, argv); }

void Options::parseCommandLine(int argc, char** argv) {
  const CommandLine commandLine(argc, argv, kProgramText);
  const std::string& program = commandLine.program();
  std::string memLimitText;
  std::string chunkSizeText;
  OptionTable table;
  describeOptions(*this, memLimitText, chunkSizeText, table);
  const po::variables_map map = commandLine.parse(table.parsed, table.shown, table.positional);
  applySwitches(map, *this);
  convertValues(memLimitText, chunkSizeText, *this);

  requireProjectFileOption(program, projectFile);
  if (attributes.empty())
    warn("Warning - no attribute specified, outputting common bits for all files.\n");
  checkProjectFile(projectFile);
  checkResultPath(comFile, "Commonalities file ", " does not exist or is not regular file.");
  checkResultPath(disFile, "Dissimilarities file ", " exists and is not regular file.");
}

std::ostream& operator<<(std::ostream& out, const Options& options) {
  out << "Selected Options:" << std::endl;
  out << std::left << std::setw(20) << "  Project file:" << std::setw(12) << options.projectFile
      << std::endl;
  out << std::left << std::setw(20) << "  Commonalities output file:" << std::setw(12)
      << options.comFile << std::endl;
  out << std::left << std::setw(20) << " Dissimilarities output file :" << std::setw(12)
      << options.disFile << std::endl;
  return out;
}
