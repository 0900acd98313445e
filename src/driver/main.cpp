// ovrell: which bits of equal-length binary files encode an attribute.
#include <iostream>

#include "base/fatal.h"
#include "base/output.h"
#include "options/options.h"
#include "project/project.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  useCheckedStandardOutput();
  failRunWhenOutOfMemory();
  Options options(argc, argv);
  {
    Project project(options);
    project.run();
  }
  exitProcess(0);
}
