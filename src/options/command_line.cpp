#include "options/command_line.h"

#include <iostream>
#include <vector>

#include "base/fatal.h"
#include "base/version.h"

namespace po = boost::program_options;

CommandLine::CommandLine(int argc, char** argv, const ProgramText& text)
    : argc_(argc),
      argv_(argv),
      text_(text),
      program_(argc > 0 && argv[0] != nullptr ? argv[0] : programName()) {}

po::variables_map CommandLine::parse(const po::options_description& parsed,
                                     const po::options_description& shown,
                                     const po::positional_options_description& positional) const {
  std::vector<std::string> arguments(argv_ + (argc_ > 0 ? 1 : 0), argv_ + argc_);
  po::variables_map map;
  try {
    po::store(po::command_line_parser(arguments).options(parsed).positional(positional).run(), map);
    po::notify(map);
  } catch (const po::error& error) {
    refuse(error.what());
  }
  if (map.count("help") || argc_ <= 1) {
    std::cout << "Usage: " << program_ << " " << text_.usage << "\n" << text_.description << shown;
    exitProcess(0);
  }
  if (map.count("version")) {
    std::cout << text_.title << " - version " << kVersion << ", " << text_.notice << std::endl;
    exitProcess(0);
  }
  return map;
}

void CommandLine::refuse(const std::string& message) const {
  fatal(message, "\ntry `", program_, " -h' for more information.\n");
}
