// The command line of ovrell-report.
//
// `parseReportCommandLine` fills the shared Options record (project file,
// prefix, memory limit, -b, -e, attribute names) the way ovrell does, with
// the same messages for the same mistakes, and the report's own settings.
// It returns only when every value is valid and the project file exists and
// is a regular file, and --ksy is not given with -e or -b (its offsets are
// the files' own); help, version and every command-line error end the
// process with the text and status the user sees.
#ifndef OVRELL_REPORT_REPORT_OPTIONS_H_
#define OVRELL_REPORT_REPORT_OPTIONS_H_

#include <cstdint>
#include <string>

#include "options/options.h"

struct ReportOptions {
  std::string jsonFile;      // empty: no JSON; "-": standard output, instead of the text
  std::string htmlFile;      // empty: no picture; "-": standard output, instead of the text
  std::string ksyFile;       // empty: no description; "-": standard output, instead of the text
  bool bits = false;         // the text lists each region's fields
  std::uint64_t limit = 50;  // rows of a text table; 0: all
};

void parseReportCommandLine(int argc, char** argv, Options& options, ReportOptions& report);

#endif  // OVRELL_REPORT_REPORT_OPTIONS_H_
