#include "project/file_checks.h"

#include <boost/filesystem/operations.hpp>
#include <iostream>

#include "base/fatal.h"

namespace {

// The length of file i, opened or else looked at by name.
std::uint64_t lengthOf(DataFiles& files, std::size_t i) {
  std::uint64_t length = 0;
  if (files.open(i, length)) return length;
  if (!boost::filesystem::exists(files[i]))
    fatal("File ", files[i], " specified in project file does not ", "exists\n");
  return boost::filesystem::file_size(files[i]);
}

}  // namespace

std::uint64_t checkFileSet(DataFiles& files) {
  if (files.size() < 2) fatal("Project file must contain more than one file to process.\n");
  const std::uint64_t size = lengthOf(files, 0);
  for (std::size_t i = 1; i < files.size(); ++i)
    if (lengthOf(files, i) != size)
      fatal("Not all files specified in project file have the same size.\n");
  if (size == 0) {
    std::cout << "Nothing to do - all files are empty" << std::endl;
    exitProcess(0);
  }
  return size;
}
