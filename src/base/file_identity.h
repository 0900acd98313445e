// Whether two names are the same file, for the guards that keep a run's
// results off its inputs.
//
// Two names are the same file when both are there and name the same inode,
// or, when one is not there yet, when they are the same once made absolute
// and normal (symbolic links of the directories resolved where they exist).
#ifndef OVRELL_BASE_FILE_IDENTITY_H_
#define OVRELL_BASE_FILE_IDENTITY_H_

#include <sys/types.h>

#include <string>
#include <utility>

struct FileIdentity {
  FileIdentity(std::string name, bool there, dev_t device, ino_t inode)
      : name(std::move(name)), there(there), device(device), inode(inode) {}

  std::string name;
  bool there;
  dev_t device;
  ino_t inode;
  // The name made absolute and normal, made when first asked for (it costs
  // a look-up of every directory on the way).
  const std::string& normal() const;

 private:
  mutable std::string normal_;
  mutable bool madeNormal_ = false;
};

FileIdentity fileIdentity(const std::string& name);

// Where the chain of symbolic links that starts at `path` ends (the path
// itself when it is no link); the end need not be there. Empty after too
// many links (a loop).
std::string endOfLinks(std::string path);
bool sameFile(const FileIdentity& a, const FileIdentity& b);

#endif  // OVRELL_BASE_FILE_IDENTITY_H_
