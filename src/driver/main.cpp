// ovrell: which bits of equal-length binary files encode an attribute.
#include "base/fatal.h"
#include "driver/run_project.h"
#include "options/options.h"

int main(int argc, char** argv) {
  beginRun("ovrell");
  Options options(argc, argv);
  runProject(options);
  exitProcess(0);
}
