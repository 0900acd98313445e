// ovrell-report: which bits of equal-length binary files tell the groups of
// an attribute apart, as a table, JSON and a picture.
#include <iostream>
#include <new>

#include "base/fatal.h"
#include "base/output.h"
#include "report/report_options.h"
#include "report/report_run.h"

namespace {

void outOfMemory() {
  std::set_new_handler(nullptr);  // the message itself must not come back here
  failRun("out of memory; a smaller memory limit (-m) may help");
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  useCheckedStandardOutput();
  std::set_new_handler(outOfMemory);
  Options options;
  ReportOptions report;
  parseReportCommandLine(argc, argv, options, report);
  runReport(options, report);
  exitProcess(0);
}
