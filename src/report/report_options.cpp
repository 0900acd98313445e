#include "report/report_options.h"

#include <boost/program_options.hpp>

#include "options/command_line.h"

namespace po = boost::program_options;

namespace {

const ProgramText kProgramText{
    "Ovrell-report", "which bits of equal-length binary files encode an attribute",
    "-p PROJECT [options] [ATTRIBUTE ...]",
    "Which bits of the project's files tell the groups of each attribute apart.\n"
    "With no attribute named, every attribute of the project file is reported.\n"};

po::typed_value<std::string>* text(std::string* target) {
  return po::value<std::string>(target)->default_value(std::string(), "");
}

void describe(Options& o, ReportOptions& r, std::string& memLimitText, std::string& chunkText,
              std::string& limitText, po::options_description& shown,
              po::options_description& parsed) {
  // clang-format off
  shown.add_options()
      ("help,h", "print this help message")
      ("version,v", "print version string")
      ("project-file,p", text(&o.projectFile), "project file - must be specified")
      ("project-prefix,r", text(&o.projectPrefix),
       "prefix for the files specified in project file, instead of its directory")
      ("mem-limit,m", text(&memLimitText),
       "limit of dynamic memory in bytes; 'MB', 'KB' and 'GB' can be added as suffix")
      ("switch-endianness,e", text(&chunkText),
       "reverse the input bytes in chunks of 1 (no reordering), 2, 4 or 8 bytes")
      ("inverse-byte-order,b", "inverse the bits of each input byte")
      ("json", text(&r.jsonFile), "write the whole report as JSON to this file ('-': standard output, instead of the table)")
      ("html", text(&r.htmlFile), "write the picture of the files as one HTML file ('-': standard output, instead of the table)")
      ("ksy", text(&r.ksyFile), "write the layout as a Kaitai Struct description to this file ('-': standard output, instead of the table)")
      ("bits", "list each region's fields in the table")
      ("limit", po::value<std::string>(&limitText)->default_value("50"),
       "rows of a table before it is cut (0: no limit)");
  // clang-format on
  po::options_description hidden;
  hidden.add_options()("attributes,a", po::value<std::vector<std::string>>(&o.attributes),
                       "attributes");
  parsed.add(shown).add(hidden);
}

}  // namespace

void parseReportCommandLine(int argc, char** argv, Options& options, ReportOptions& report) {
  const CommandLine commandLine(argc, argv, kProgramText);
  std::string memLimitText, chunkText, limitText;
  po::options_description shown(" Options"), parsed;
  describe(options, report, memLimitText, chunkText, limitText, shown, parsed);
  po::positional_options_description positional;
  positional.add("attributes", -1);
  const po::variables_map map = commandLine.parse(parsed, shown, positional);
  if (limitText.empty() || limitText.size() > 18 ||
      limitText.find_first_not_of("0123456789") != std::string::npos)
    commandLine.refuse("the argument ('" + limitText + "') for option '--limit' is invalid");
  report.limit = std::stoull(limitText);
  if (map.count("inverse-byte-order")) options.inverseByteOrder = true;
  report.bits = map.count("bits") != 0;
  options.exclude = true;
  convertValues(memLimitText, chunkText, options);
  if (!report.ksyFile.empty() && (options.chunkSize > 1 || options.inverseByteOrder))
    commandLine.refuse(
        "option '--ksy' cannot be used with '-e' or '-b': the description reads the files as they are");
  requireProjectFileOption(commandLine.program(), options.projectFile);
  checkProjectFile(options.projectFile);
}
