// What every program does with the result files it is given before it
// writes them: keep them off its inputs, and clear the old ones it appends
// to. (A program that replaces its outputs whole uses
// base/replaced_outputs.h for the rest.)
//
// The guard ends the process, before anything is deleted or written, when an
// output is the same file (base/file_identity.h) as an input or as an
// output added before it, with a message that names both with their roles;
// an output that is also added as an input afterwards is reported as "is
// the" input by later outputs. Messages start with the program's name
// (base/fatal.h).
#ifndef OVRELL_BASE_RESULT_FILES_H_
#define OVRELL_BASE_RESULT_FILES_H_

#include <string>
#include <vector>

#include "base/file_identity.h"

class OutputGuard {
 public:
  // A file no output may be; `role` names it in messages ("data file").
  void addInput(const std::string& role, const std::string& name);
  // Ends the process when `name` is an input or an output added before.
  void addOutput(const std::string& role, const std::string& name);

 private:
  struct Named {
    std::string role, name;
    FileIdentity file;
  };
  std::vector<Named> inputs_, outputs_;
};

// Clears an old result before a run appends to it, ending the process with
// a message naming the file and the reason when it cannot: a regular file
// is deleted; the target of a symbolic link is emptied (the link stays); a
// device, pipe or other file that is not regular, or a name that is not
// there, is left as it is.
void clearOldResult(const std::string& role, const std::string& name);

#endif  // OVRELL_BASE_RESULT_FILES_H_
