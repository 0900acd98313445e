// The command line of ovrell-patch.
//
// `parsePatchCommandLine` fills the shared Options record (project file,
// prefix, memory limit) the way the other programs do, with the same
// messages for the same mistakes, and the patch's own settings: the input,
// the output and each --set split at its first '='. It returns only when
// every value is well formed (an input, an output, at least one --set, each
// with a name before its '=', no attribute set twice) and the project file
// exists and is a regular file; help, version and every command-line error
// end the process with the text and status the user sees.
#ifndef OVRELL_PATCH_PATCH_OPTIONS_H_
#define OVRELL_PATCH_PATCH_OPTIONS_H_

#include <string>
#include <vector>

#include "options/options.h"

struct Setting {
  std::string attribute;
  std::string value;
};

struct PatchOptions {
  std::string input;
  std::string output;
  std::vector<Setting> settings;  // in command-line order
};

void parsePatchCommandLine(int argc, char** argv, Options& options, PatchOptions& patch);

#endif  // OVRELL_PATCH_PATCH_OPTIONS_H_
