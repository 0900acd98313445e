// The outputs a run writes to the paths it is given, each replaced whole or
// not at all.
//
// Every output is added before any work starts, and checked there, so that a
// wrong path changes nothing; a path that cannot be used ends the run through
// failRun, naming the path and the reason. What a path means:
//   - "-", or a path of the file standard output is (same device and inode):
//     std::cout. At most one output goes there.
//   - a regular file, or nothing yet: a temporary file is made in the
//     directory of the target (symbolic links followed to the end: a link is
//     never replaced, its target is) with the old file's mode (owner too, when
//     allowed) or 0666 less the umask, and renamed over the target by
//     commit(). A directory is refused, and so is an old file the run could
//     not rename over (another user's file in a sticky directory).
//   - anything else (a device, a FIFO, a socket, through links or not): opened
//     and written to as it is, never removed.
// commit() writes out, closes and checks every output, then renames each
// temporary file over its target. Until then a failure (failRun, fatal, a
// signal) removes the temporary files and leaves the targets as they were.
#ifndef OVRELL_BASE_REPLACED_OUTPUTS_H_
#define OVRELL_BASE_REPLACED_OUTPUTS_H_

#include <memory>
#include <ostream>
#include <string>
#include <vector>

class ReplacedOutputs {
 public:
  ReplacedOutputs();
  ~ReplacedOutputs();
  ReplacedOutputs(const ReplacedOutputs&) = delete;
  ReplacedOutputs& operator=(const ReplacedOutputs&) = delete;

  // Checks and prepares the output `path`; `what` names it in messages
  // ("JSON file"). The stream lives as long as this object.
  std::ostream& add(const std::string& what, const std::string& path);
  bool toStandardOutput() const;  // an output goes to std::cout
  bool toFiles() const;           // an output goes elsewhere
  void commit();

 private:
  struct Output;
  std::vector<std::unique_ptr<Output>> outputs_;
};

#endif  // OVRELL_BASE_REPLACED_OUTPUTS_H_
