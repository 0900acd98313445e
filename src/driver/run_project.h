// The run of one project by ovrell: the driver's whole job after the
// command line.
//
// `runProject` reads the project file, adds the synthetic all-files
// attribute when no attribute was named, refuses result paths that name an
// input, deletes old result files, checks the attribute names and runs the
// analysis. Every error ends the process inside the step that finds it.
#ifndef OVRELL_DRIVER_RUN_PROJECT_H_
#define OVRELL_DRIVER_RUN_PROJECT_H_

#include "options/options.h"

void runProject(Options& options);

#endif  // OVRELL_DRIVER_RUN_PROJECT_H_
