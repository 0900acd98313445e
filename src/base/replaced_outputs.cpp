#include "base/replaced_outputs.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "base/fatal.h"
#include "base/file_identity.h"
#include "base/output.h"

struct ReplacedOutputs::Output {
  std::string what;
  std::string path;       // as given
  std::string target;     // the end of its links, renamed over by commit()
  std::string temporary;  // empty: written in place
  std::unique_ptr<CheckedBuffer> buffer;
  std::ostream stream{nullptr};
};

namespace {

constexpr std::size_t kLongestBase = 200;  // of a name the temporary name is made from

ExitHandler previousExitHandler = nullptr;

void discardOnFailure(int status) {
  if (status != 0) discardTemporaryFiles();
  if (previousExitHandler != nullptr) previousExitHandler(status);
}

// Keeps the signals the run cleans up on waiting while it lives, so that a
// file is never made or renamed without being registered or forgotten.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &old_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }

 private:
  sigset_t old_;
};

bool isStandardOutput(const std::string& path) {
  struct stat out {
  }, named{};
  return path == "-" || (::fstat(STDOUT_FILENO, &out) == 0 && ::stat(path.c_str(), &named) == 0 &&
                         out.st_dev == named.st_dev && out.st_ino == named.st_ino);
}

// Another user's file in a sticky directory cannot be renamed over unless
// the directory is ours (or we may do anything).
bool stickyAndNotOurs(const std::string& directory, const struct stat& old) {
  struct stat status {};
  const uid_t us = ::geteuid();
  return ::stat(directory.empty() ? "." : directory.c_str(), &status) == 0 &&
         (status.st_mode & S_ISVTX) != 0 && us != 0 && old.st_uid != us && status.st_uid != us;
}

}  // namespace

ReplacedOutputs::ReplacedOutputs() { previousExitHandler = setExitHandler(discardOnFailure); }

ReplacedOutputs::~ReplacedOutputs() { setExitHandler(previousExitHandler); }

std::ostream& ReplacedOutputs::add(const std::string& what, const std::string& path) {
  outputs_.push_back(std::make_unique<Output>());
  Output& output = *outputs_.back();
  output.what = what;
  output.path = path;
  const std::string quoted = "'" + path + "'";
  if (isStandardOutput(path)) {
    for (std::size_t i = 0; i + 1 < outputs_.size(); ++i)
      if (outputs_[i]->buffer == nullptr)
        failRun("the ", outputs_[i]->what, " '", outputs_[i]->path, "' and the ", what, " ", quoted,
                " are both standard output; nothing was written");
    return std::cout;
  }
  output.target = endOfLinks(path);
  if (output.target.empty()) failRun("cannot write ", quoted, ": ", std::strerror(ELOOP));
  struct stat old {};
  const bool there = ::stat(output.target.c_str(), &old) == 0;
  if (there && S_ISDIR(old.st_mode)) failRun("cannot write ", quoted, ": ", std::strerror(EISDIR));
  int fd = -1;
  if (there && !S_ISREG(old.st_mode)) {
    fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) failRun("cannot open ", quoted, " for writing: ", std::strerror(errno));
  } else {
    const std::size_t slash = output.target.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : output.target.substr(0, slash);
    if (there && stickyAndNotOurs(directory, old))
      failRun("cannot replace ", quoted,
              ": it is another user's file in a directory where only its owner may replace it");
    std::string base = output.target.substr(slash == std::string::npos ? 0 : slash + 1);
    output.temporary = (slash == std::string::npos ? "" : directory + "/") + "." +
                       base.substr(0, kLongestBase) + ".XXXXXX";
    {
      const SignalsHeld held;
      fd = ::mkostemp(&output.temporary[0], O_CLOEXEC);
      if (fd >= 0) registerTemporaryFile(output.temporary);
    }
    if (fd < 0) failRun("cannot write ", quoted, ": ", std::strerror(errno));
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (there && (old.st_uid != ::geteuid() || old.st_gid != ::getegid()))
      static_cast<void>(::fchown(fd, old.st_uid, old.st_gid));  // kept ours when not allowed
    if (::fchmod(fd, there ? old.st_mode & 07777 : 0666 & ~mask) != 0)
      failRun("cannot write ", quoted, ": ", std::strerror(errno));
  }
  output.buffer = std::make_unique<CheckedBuffer>(fd, quoted);
  output.stream.rdbuf(output.buffer.get());
  return output.stream;
}

bool ReplacedOutputs::toStandardOutput() const {
  for (const auto& output : outputs_)
    if (output->buffer == nullptr) return true;
  return false;
}

bool ReplacedOutputs::toFiles() const {
  for (const auto& output : outputs_)
    if (output->buffer != nullptr) return true;
  return false;
}

void ReplacedOutputs::commit() {
  std::cout.flush();
  for (const auto& output : outputs_)
    if (output->buffer != nullptr) output->buffer->close();
  for (const auto& output : outputs_) {
    if (output->temporary.empty()) continue;
    const SignalsHeld held;
    if (::rename(output->temporary.c_str(), output->target.c_str()) != 0)
      failRun("cannot replace '", output->path, "': ", std::strerror(errno));
    forgetTemporaryFile(output->temporary);
  }
}
