#include "driver/process_exit.h"

#include <cstdlib>
#include <iostream>

namespace {
ExitHandler exitHandler = nullptr;
}

ExitHandler setExitHandler(ExitHandler handler) {
  ExitHandler previous = exitHandler;
  exitHandler = handler;
  return previous;
}

void exitProcess(int status) {
  std::cout.flush();
  std::cerr.flush();
  if (exitHandler != nullptr) exitHandler(status);
  std::exit(status);
}

void fatal(const std::string& message) {
  std::cerr << message;
  exitProcess(1);
}
