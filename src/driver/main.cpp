// ovrell: which bits of equal-length binary files encode an attribute.
#include <iostream>

#include "driver/project.h"
#include "options/options.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  Options options(argc, argv);
  {
    Project project(options);
    project.run();
  }
  return 0;
}
