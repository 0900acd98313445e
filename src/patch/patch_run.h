// One run of ovrell-patch: the project read and checked, the input read
// whole, each attribute's informative bits taken from the chosen group (the
// report's scan, one pass over the project's files per attribute), every
// checksum found in the project's files recomputed, the result checked and
// written whole, and then what changed printed on standard output (nothing
// is printed for an output that was not written).
//
// Everything that can be refused is refused before the output is touched:
// an unknown attribute or group, an input of another length than the
// project's files, an output that is an input. An attribute without
// informative bits, a result that does not check and a failed write end the
// run through failRun (base/fatal.h), which removes the temporary output:
// the output path is written only by the rename of a complete, checked
// file, and the input is only read.
#ifndef OVRELL_PATCH_PATCH_RUN_H_
#define OVRELL_PATCH_PATCH_RUN_H_

#include "options/options.h"
#include "patch/patch_options.h"

void runPatch(Options& options, const PatchOptions& patch);

#endif  // OVRELL_PATCH_PATCH_RUN_H_
