#include "base/result_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/fatal.h"

void OutputGuard::addInput(const std::string& role, const std::string& name) {
  inputs_.push_back(Named{role, name, fileIdentity(name)});
}

void OutputGuard::addOutput(const std::string& role, const std::string& name) {
  const Named output{role, name, fileIdentity(name)};
  for (const Named& input : inputs_)
    if (sameFile(output.file, input.file))
      fatalNamed("the ", role, " '", name, "' is the ", input.role, " '", input.name,
                 "'; nothing was deleted or written");
  for (const Named& earlier : outputs_)
    if (sameFile(output.file, earlier.file))
      fatalNamed("the ", role, " '", name, "' and the ", earlier.role, " '", earlier.name,
                 "' are the same file; nothing was deleted or written");
  outputs_.push_back(output);
}

void clearOldResult(const std::string& role, const std::string& name) {
  struct stat link {
  }, target{};
  if (::lstat(name.c_str(), &link) != 0) return;
  const bool followed = ::stat(name.c_str(), &target) == 0;
  if (S_ISLNK(link.st_mode) && !(followed && S_ISREG(target.st_mode))) return;
  if (!S_ISLNK(link.st_mode) && !S_ISREG(link.st_mode)) return;
  const int fd = S_ISLNK(link.st_mode) ? ::open(name.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC) : -1;
  if (fd >= 0) ::close(fd);
  const bool cleared =
      S_ISLNK(link.st_mode) ? fd >= 0 : std::remove(name.c_str()) == 0 || errno == ENOENT;
  if (!cleared)
    fatalNamed("cannot delete the old ", role, " '", name, "': ", std::strerror(errno),
               "; nothing was written");
}
