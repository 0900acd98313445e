#include "patch/patch_options.h"

#include <boost/program_options.hpp>

#include "options/command_line.h"

namespace po = boost::program_options;

namespace {

const ProgramText kProgramText{
    "Ovrell-patch", "turns a file into another group's variant, checksums fixed",
    "-p PROJECT [options] --set ATTRIBUTE=VALUE [--set ...] -o OUTPUT INPUT",
    "Writes INPUT to OUTPUT with the informative bits of each attribute set to\n"
    "those of the group VALUE, then recomputes every checksum found in the\n"
    "project's files, checks the result and prints what it changed.\n"};

po::typed_value<std::string>* text(std::string* target) {
  return po::value<std::string>(target)->default_value(std::string(), "");
}

}  // namespace

void parsePatchCommandLine(int argc, char** argv, Options& options, PatchOptions& patch) {
  const CommandLine commandLine(argc, argv, kProgramText);
  std::string memLimitText;
  std::vector<std::string> sets;
  po::options_description shown(" Options"), hidden, parsed;
  // clang-format off
  shown.add_options()
      ("help,h", "print this help message")
      ("version,v", "print version string")
      ("project-file,p", text(&options.projectFile), "project file - must be specified")
      ("project-prefix,r", text(&options.projectPrefix),
       "prefix for the files specified in project file, instead of its directory")
      ("mem-limit,m", text(&memLimitText),
       "limit of dynamic memory in bytes; 'MB', 'KB' and 'GB' can be added as suffix")
      ("set", po::value<std::vector<std::string>>(&sets),
       "ATTRIBUTE=VALUE: take the attribute's informative bits from the group VALUE")
      ("output,o", text(&patch.output), "the file to write - must be specified");
  // clang-format on
  hidden.add_options()("input", text(&patch.input), "input");
  parsed.add(shown).add(hidden);
  po::positional_options_description positional;
  positional.add("input", 1);
  commandLine.parse(parsed, shown, positional);
  convertValues(memLimitText, "", options);
  requireProjectFileOption(commandLine.program(), options.projectFile);
  if (sets.empty()) commandLine.refuse("the option '--set' is required but missing");
  if (patch.output.empty()) commandLine.refuse("the option '--output' is required but missing");
  if (patch.input.empty()) commandLine.refuse("the input file is required but missing");
  for (const std::string& set : sets) {
    const std::size_t equals = set.find('=');
    if (equals == std::string::npos || equals == 0)
      commandLine.refuse("the argument ('" + set + "') for option '--set' is invalid");
    Setting setting{set.substr(0, equals), set.substr(equals + 1)};
    for (const Setting& before : patch.settings)
      if (before.attribute == setting.attribute)
        commandLine.refuse("the attribute '" + setting.attribute + "' is set twice");
    patch.settings.push_back(setting);
  }
  checkProjectFile(options.projectFile);
}
