// How a run ends: the ground every other folder stands on.
//
// Which to use when:
//   - `fatal(pieces...)`: the tool's own messages about what it was given (a
//     bad option, a project file it cannot read, an unknown attribute, a
//     refused result path). The pieces are written to standard error as a
//     stream would write them (a path quotes itself), and the process ends
//     with status 1. Nothing is cleaned up: what a run has written stays.
//     `fatalNamed` puts the program's name before the pieces and a line
//     end after them, for the messages that carry the name.
//   - `failRun(pieces...)`: a failure of the run itself, after which its
//     results must be put back (a failed write, flush or close, a data file
//     that changed, no memory, a scratch file that cannot be made). The
//     result files the run was writing are put back as they were (removed
//     if it created them, cut back to their old length if it appended to
//     older ones), the files registered below are removed, "NAME: " and
//     the pieces and a line end are printed (NAME set by beginRun), and the
//     status is 1.
//   - `warn(pieces...)`: a message, and the run goes on.
//   - `exitProcess(status)`: the one way out of the process, also at the
//     end of a successful run: it flushes the standard streams (a failure
//     of standard output there ends the run through failRun) and exits.
//     Tests and fuzzers install an exit handler that is called instead of
//     exiting, for example one that throws; a handler that returns leaves
//     the exit to go on as usual.
// SIGINT, SIGTERM, SIGHUP, SIGPIPE and SIGXFSZ, once installSignalCleanup
// was called, clean up as failRun does and then end the process by the same
// signal, so that a shell sees it. Signals that were ignored when the
// process started stay ignored; a write then fails with its own reason.
//
// This unit uses the checked output (base/output.h) and hands it the
// handlers through which it reports a failed write; the output never calls
// back here by name.
#ifndef OVRELL_BASE_FATAL_H_
#define OVRELL_BASE_FATAL_H_

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

// What every program does first: names itself in failRun's messages,
// checks standard output (base/output.h) and makes a failed write or a
// failed allocation end the run through failRun. REQUIRES: `name` lives as
// long as the process.
void beginRun(const char* programName);
const char* programName();

using ExitHandler = void (*)(int status);

// Installs `handler` (nullptr restores the plain exit); returns the old one.
ExitHandler setExitHandler(ExitHandler handler);

[[noreturn]] void exitProcess(int status);

template <typename... Parts>
void warn(const Parts&... parts) {
  (std::cerr << ... << parts);
}

template <typename... Parts>
[[noreturn]] void fatal(const Parts&... parts) {
  warn(parts...);
  exitProcess(1);
}

// fatal, with the program's name and ": " before the pieces and a line end
// after them.
template <typename... Parts>
[[noreturn]] void fatalNamed(const Parts&... parts) {
  fatal(programName(), ": ", parts..., "\n");
}

template <typename... Parts>
[[noreturn]] void failRun(const Parts&... parts);
[[noreturn]] void failRunWithMessage(const std::string& message);

// Remembers how the files `names` are now (there or not, and their length),
// so that a failed run can put back the ones it then opens through a
// ResultFile. A symbolic link stands for its target: the target is cut back
// or removed, never the link. A device, pipe or other file that is not
// regular is left as it is. Call once, before the first ResultFile is
// opened and before installSignalCleanup. `scratch` names a file in the
// working directory that a failed or interrupted run removes (empty: none).
void registerResultFiles(const std::vector<std::string>& names, const std::string& scratch);

// Installs the handlers of the signals named above, except for those ignored.
void installSignalCleanup();

// Temporary files that a failed or interrupted run removes (by failRun, the
// signal handlers and discardTemporaryFiles): at most 16 at a time.
// `forgetTemporaryFile` once one has been renamed to its final name.
void registerTemporaryFile(const std::string& name);
void forgetTemporaryFile(const std::string& name);
// Removes the registered files; safe in a signal handler.
void discardTemporaryFiles();

template <typename... Parts>
void failRun(const Parts&... parts) {
  std::ostringstream message;
  (message << ... << parts);
  failRunWithMessage(message.str());
}

#endif  // OVRELL_BASE_FATAL_H_
