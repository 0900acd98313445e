#include "engine/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

std::string temporaryDirectory() {
  const char* dir = std::getenv("TMPDIR");
  return dir != nullptr && *dir != '\0' ? dir : "/tmp";
}

int unlinkedTemporaryFile(const std::string& dir) {
  int fd = ::open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd >= 0) return fd;
  std::string name = dir + "/ovrell-XXXXXX";
  fd = ::mkstemp(&name[0]);
  if (fd >= 0) ::unlink(name.c_str());
  return fd;
}
