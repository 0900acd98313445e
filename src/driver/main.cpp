// ovrell: which bits of equal-length binary files encode an attribute.
#include <iostream>

#include "base/fatal.h"
#include "base/output.h"
#include "driver/run_project.h"
#include "options/options.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  useCheckedStandardOutput();
  failRunWhenOutOfMemory();
  Options options(argc, argv);
  runProject(options);
  exitProcess(0);
}
