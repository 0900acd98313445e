#include "base/fatal.h"

#include <cstdlib>

#include "base/output.h"

namespace {
ExitHandler exitHandler = nullptr;
}

ExitHandler setExitHandler(ExitHandler handler) {
  ExitHandler previous = exitHandler;
  exitHandler = handler;
  return previous;
}

void exitProcess(int status) {
  std::cerr.flush();
  flushStandardOutput();
  if (exitHandler != nullptr) exitHandler(status);
  std::exit(status);
}
