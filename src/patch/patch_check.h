// The second half of an ovrell-patch run, once the informative bits are
// set: every checksum found in the project's files recomputed in the
// output (a checksum whose range holds another's field after it), the
// result checked, and what changed printed.
//
// The check ends the run through failRun (base/fatal.h) when a checksum
// field overwrote an informative bit that was set, or a checksum does not
// hold once all are fixed. The print lists each run of changed bytes (old
// and new bytes), each checksum recomputed (name or parameters, field,
// byte order, range), and a warning for each changing run of the project's
// files that lies in or next to a changed byte and that nothing explains:
// no checksum field, no informative bit that was set, and left unexplained
// by the explanation the report gives (explain/explanation.h).
//
// Apart from the engine and the data files on purpose: it sees the files
// through their explanation only.
#ifndef OVRELL_PATCH_PATCH_CHECK_H_
#define OVRELL_PATCH_PATCH_CHECK_H_

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "explain/explanation.h"

// An offset as the run prints it: "0x" and at least 8 hex digits.
std::string offsetText(std::uint64_t offset);

// `set` marks, per byte, the informative bits of the set attributes, which
// `file` holds as the chosen groups have them. REQUIRES: `input`, `file`
// and `set` of the data files' length.
void fixAndReport(const Explanation& explanation, const std::vector<unsigned char>& input,
                  std::vector<unsigned char>& file, const std::vector<unsigned char>& set,
                  std::ostream& out);

#endif  // OVRELL_PATCH_PATCH_CHECK_H_
