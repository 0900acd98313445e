// ovrell-patch: a file turned into another group's variant, with every
// checksum the project's files show recomputed.
#include "base/fatal.h"
#include "patch/patch_options.h"
#include "patch/patch_run.h"

int main(int argc, char** argv) {
  beginRun("ovrell-patch");
  Options options;
  PatchOptions patch;
  parsePatchCommandLine(argc, argv, options, patch);
  runPatch(options, patch);
  exitProcess(0);
}
