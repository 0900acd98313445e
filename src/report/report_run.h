// The whole report: reads the project as ovrell does, checks the attribute
// names and the files with ovrell's messages, then scans one attribute at a
// time and hands each one's findings to every output asked for. The
// attributes are those named, or every attribute of the project file's
// header in its order when none is named. Errors end the process inside
// the step that finds them. The JSON and HTML outputs are checked before
// the scan and replaced whole at its end (base/replaced_outputs.h); one of
// them given "-" replaces the table. When standard output is closed or its
// reader goes away, what went there is cut, the other outputs are still
// completed, and the run ends with a message and status 1.
#ifndef OVRELL_REPORT_REPORT_RUN_H_
#define OVRELL_REPORT_REPORT_RUN_H_

#include "options/options.h"
#include "report/report_options.h"

void runReport(Options& options, const ReportOptions& report);

#endif  // OVRELL_REPORT_REPORT_RUN_H_
