// ovrell-report: which bits of equal-length binary files tell the groups of
// an attribute apart, as a table, JSON and a picture.
#include <iostream>

#include "base/fatal.h"
#include "base/output.h"
#include "report/report_options.h"
#include "report/report_run.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  setProgramName("ovrell-report");
  useCheckedStandardOutput();
  failRunWhenOutOfMemory();
  Options options;
  ReportOptions report;
  parseReportCommandLine(argc, argv, options, report);
  runReport(options, report);
  exitProcess(0);
}
