// ovrell: which bits of equal-length binary files encode an attribute.
#include <iostream>
#include <new>

#include "base/fatal.h"
#include "base/output.h"
#include "options/options.h"
#include "project/project.h"

namespace {

void outOfMemory() {
  std::set_new_handler(nullptr);  // the message itself must not come back here
  failRun("out of memory; a smaller memory limit (-m) may help");
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  useCheckedStandardOutput();
  std::set_new_handler(outOfMemory);
  Options options(argc, argv);
  {
    Project project(options);
    project.run();
  }
  exitProcess(0);
}
