// Scratch files that leave nothing behind.
//
// A temporary file is made in $TMPDIR (or /tmp when that is unset or empty)
// with mode 0600 and unlinked at once, so that nobody else can open it and
// it goes when its descriptor is closed, however the process ends. The
// position queue spills to one; the report keeps its findings in them.
#ifndef OVRELL_ENGINE_TEMPORARY_FILE_H_
#define OVRELL_ENGINE_TEMPORARY_FILE_H_

#include <string>

// The directory temporary files are made in.
std::string temporaryDirectory();

// A read-write descriptor of a new unlinked file in `dir`, or -1 with errno
// set when none can be made.
int unlinkedTemporaryFile(const std::string& dir);

#endif  // OVRELL_ENGINE_TEMPORARY_FILE_H_
