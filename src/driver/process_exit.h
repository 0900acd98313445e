// How the process ends.
//
// The code that finds a fatal error prints its own message and then calls
// exitProcess (or fatal, which prints a plain text first). Both flush the
// standard streams and end the process with the given status. A test or fuzz
// build can install a handler that is called instead, for example one that
// throws; the handler must not return (if it does, the process exits anyway).
#ifndef OVRELL_DRIVER_PROCESS_EXIT_H_
#define OVRELL_DRIVER_PROCESS_EXIT_H_

#include <string>

using ExitHandler = void (*)(int status);

// Installs `handler` (nullptr restores the plain exit); returns the old one.
ExitHandler setExitHandler(ExitHandler handler);

[[noreturn]] void exitProcess(int status);

// Writes `message` as it stands (include the line end if one is wanted) to
// standard error, then exitProcess(1).
[[noreturn]] void fatal(const std::string& message);

#endif  // OVRELL_DRIVER_PROCESS_EXIT_H_
