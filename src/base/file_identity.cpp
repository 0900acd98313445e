#include "base/file_identity.h"

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

namespace fs = boost::filesystem;

FileIdentity fileIdentity(const std::string& name) {
  struct stat status {};
  const bool there = ::stat(name.c_str(), &status) == 0;
  return FileIdentity{name, there, status.st_dev, status.st_ino};
}

const std::string& FileIdentity::normal() const {
  if (!madeNormal_) {
    boost::system::error_code error;
    fs::path made = fs::weakly_canonical(fs::absolute(name), error);
    if (error) made = fs::absolute(name).lexically_normal();
    normal_ = made.string(), madeNormal_ = true;
  }
  return normal_;
}

bool sameFile(const FileIdentity& a, const FileIdentity& b) {
  if (a.there && b.there) return a.device == b.device && a.inode == b.inode;
  // A file that is there has a normal name that is there too: when the
  // other's normal name is not there, the names differ, and the one that is
  // there need not be made normal.
  struct stat status {};
  if (a.there != b.there && ::stat((a.there ? b : a).normal().c_str(), &status) != 0) return false;
  return a.normal() == b.normal();
}
