// Text: a changing run that is printable ASCII (or NUL) in every file.
//
// Pure, over a RunWindow (run_window.h).
#ifndef OVRELL_EXPLAIN_TEXT_RUNS_H_
#define OVRELL_EXPLAIN_TEXT_RUNS_H_

#include "explain/run_window.h"

bool isPrintableRun(const RunWindow& w);

#endif  // OVRELL_EXPLAIN_TEXT_RUNS_H_
