// What every program's command line has in common: the parse with the
// option library's own messages, help, version, and "try ... -h".
//
// A program describes its options (those parsed, and those the help shows)
// and what its help and version lines say; `parseCommandLine` returns the
// parsed values, or ends the process: help (also when no argument is given)
// and version print to standard output with status 0, an error of the
// option library prints its text and "try `PROGRAM -h' for more
// information." with status 1 (base/fatal.h). PROGRAM is argv[0] as given,
// or, when there is none, the name the program gave beginRun.
#ifndef OVRELL_OPTIONS_COMMAND_LINE_H_
#define OVRELL_OPTIONS_COMMAND_LINE_H_

#include <boost/program_options.hpp>
#include <string>

struct ProgramText {
  const char* title;        // the version line's first word: "Ovrell"
  const char* notice;       // what the version line says after the number
  const char* usage;        // the help's first line after "Usage: PROGRAM "
  const char* description;  // the help's lines before the options ("" or lines ending in \n)
};

class CommandLine {
 public:
  CommandLine(int argc, char** argv, const ProgramText& text);

  // REQUIRES: `shown` is part of `parsed`.
  boost::program_options::variables_map parse(
      const boost::program_options::options_description& parsed,
      const boost::program_options::options_description& shown,
      const boost::program_options::positional_options_description& positional) const;

  // argv[0], or the name given to beginRun.
  const std::string& program() const { return program_; }

  // Ends the process with `message`, a line end and the "try" line.
  [[noreturn]] void refuse(const std::string& message) const;

 private:
  int argc_;
  char** argv_;
  ProgramText text_;
  std::string program_;
};

#endif  // OVRELL_OPTIONS_COMMAND_LINE_H_
