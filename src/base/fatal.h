// How the process fails: the ground every other folder stands on.
//
// The code that finds a fatal error calls `fatal` once with the pieces of its
// message; they are written to standard error as a stream would write them
// (a path quotes itself), and the process ends with status 1. Nothing is
// cleaned up: what a run has written stays. `warn` writes a message and the
// run goes on. `exitProcess` is the one way out of the process: it flushes
// the standard streams (a failed standard output is reported there, see
// output.h) and exits. Tests and fuzzers install a handler that is called
// instead of exiting, for example one that throws; a handler that returns
// leaves the exit to go on as usual.
#ifndef OVRELL_BASE_FATAL_H_
#define OVRELL_BASE_FATAL_H_

#include <iostream>

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

#endif  // OVRELL_BASE_FATAL_H_
