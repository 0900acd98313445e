#include "base/file_identity.h"

#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <climits>

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

std::string endOfLinks(std::string path) {
  for (int hops = 0; hops < 40; ++hops) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return path;
    char next[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), next, sizeof next);
    if (length <= 0 || static_cast<std::size_t>(length) == sizeof next) return path;
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    path = next[0] == '/' ? std::string(next, length) : directory + std::string(next, length);
  }
  return std::string();
}
