// The checks of the set of data files before any of them is read.
//
// There must be at least two files, each must exist, and all must have the
// same length, which is returned (always > 0). Each file is opened as it is
// checked (base/data_files.h) and its length taken through its descriptor;
// one that cannot be opened is checked by name, and its first read ends the
// run with the read error. Every failure prints its message and ends the
// process with status 1; when all files are empty, "Nothing to do - all
// files are empty" goes to standard output and the process ends with status
// 0. File-system errors other than a missing file raise the path library's
// error.
#ifndef OVRELL_PROJECT_FILE_CHECKS_H_
#define OVRELL_PROJECT_FILE_CHECKS_H_

#include <cstdint>

#include "base/data_files.h"

std::uint64_t checkFileSet(DataFiles& files);

#endif  // OVRELL_PROJECT_FILE_CHECKS_H_
