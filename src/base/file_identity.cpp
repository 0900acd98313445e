#include "base/file_identity.h"

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

namespace fs = boost::filesystem;

FileIdentity fileIdentity(const std::string& name) {
  boost::system::error_code error;
  fs::path normal = fs::weakly_canonical(fs::absolute(name), error);
  if (error) normal = fs::absolute(name).lexically_normal();
  struct stat status {};
  const bool there = ::stat(name.c_str(), &status) == 0;
  return FileIdentity{normal.string(), there, status.st_dev, status.st_ino};
}

bool sameFile(const FileIdentity& a, const FileIdentity& b) {
  if (a.there && b.there) return a.device == b.device && a.inode == b.inode;
  return a.normal == b.normal;
}
