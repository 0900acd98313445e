// ovrell-report: which bits of equal-length binary files tell the groups of
// an attribute apart, as a table, JSON and a picture.
#include "base/fatal.h"
#include "report/report_options.h"
#include "report/report_run.h"

int main(int argc, char** argv) {
  beginRun("ovrell-report");
  Options options;
  ReportOptions report;
  parseReportCommandLine(argc, argv, options, report);
  runReport(options, report);
  exitProcess(0);
}
