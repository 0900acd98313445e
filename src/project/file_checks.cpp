#include "project/file_checks.h"

#include <boost/filesystem/operations.hpp>
#include <iostream>

#include "base/fatal.h"

namespace {

void checkExists(const boost::filesystem::path& file) {
  if (!boost::filesystem::exists(file))
    fatal("File ", file, " specified in project file does not ", "exists\n");
}

}  // namespace

std::uint64_t checkFileSet(const std::vector<boost::filesystem::path>& files) {
  if (files.size() < 2) fatal("Project file must contain more than one file to process.\n");
  checkExists(files[0]);
  const std::uint64_t size = boost::filesystem::file_size(files[0]);
  for (std::size_t i = 1; i < files.size(); ++i) {
    checkExists(files[i]);
    if (boost::filesystem::file_size(files[i]) != size)
      fatal("Not all files specified in project file have the same size.\n");
  }
  if (size == 0) {
    std::cout << "Nothing to do - all files are empty" << std::endl;
    exitProcess(0);
  }
  return size;
}
