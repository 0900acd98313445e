// The files a run deletes and writes, and the guard that keeps them off its
// inputs.
//
// Before anything is deleted, a run refuses result paths that are the same
// file as the project file, a data file, the partial results file (when
// dissimilarities are computed) or each other. Two paths are the same file
// when they name the same inode, or when their names are the same once made
// absolute and normal (for files that are not there yet).
#ifndef OVRELL_DRIVER_RESULT_PATHS_H_
#define OVRELL_DRIVER_RESULT_PATHS_H_

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "options/options.h"

// A result path: what it is for, its name, and whether the run deletes it
// before it starts (the commonalities files, and the dissimilarities file
// named by the option) and appends to it (every file an attribute writes).
struct ResultPath {
  const char* role;
  std::string name;
  bool deleted, written;
};

// Commonalities files first, then the dissimilarities files; deletion
// happens in this order.
std::vector<ResultPath> resultPathsOf(const Options& options);

// Ends the process with a message naming both files when a result path is
// the same file as an input or as another result path (base/result_files.h).
void refuseCollisions(const Options& options, const std::vector<boost::filesystem::path>& files,
                      const std::vector<ResultPath>& results);

// Ends the process, before anything is deleted, when reading back the
// partial results of a dissimilarity run would go on without end (files
// shorter than one block, see engine/partial_results.h); the message names
// the largest memory limit that works. Files that cannot be looked at, or
// differ in size, are left to the input checks.
void refuseEndlessReadBack(const Options& options,
                           const std::vector<boost::filesystem::path>& files);

#endif  // OVRELL_DRIVER_RESULT_PATHS_H_
