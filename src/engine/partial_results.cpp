#include "engine/partial_results.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/fatal.h"
#include "base/output.h"
#include "base/scratch_file.h"

void appendPartialResult(const unsigned char* data, std::uint64_t size, const char* fileName) {
  ResultFile out;
  if (out.open(fileName, true))
    out.stream().write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void readPartialResult(unsigned char* piece, std::uint64_t length, std::int32_t offset) {
  const int fd = ::open(kPartialResultsFile, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return;
  static_cast<void>(readExactly(fd, piece, length, offset < 0 ? 0 : offset));
  ::close(fd);
}

void removeStalePartialResults() { std::remove(kStalePartialResultsFile); }

void removePartialResults() {
  if (std::remove(kPartialResultsFile) != 0 && errno != ENOENT)
    fatalNamed("cannot remove the partial results file '", kPartialResultsFile,
               "': ", std::strerror(errno));
}

void refuseForeignPartialResults() {
  struct stat status {};
  if (::lstat(kPartialResultsFile, &status) != 0 || S_ISLNK(status.st_mode)) return;
  if (status.st_uid != ::geteuid())
    fatalNamed("the partial results file '", kPartialResultsFile,
               "' belongs to another user; nothing was deleted or written");
}

void lockWorkingDirectory() {
  static int directory = -1;
  if (directory >= 0) return;
  directory = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0 || ::flock(directory, LOCK_EX | LOCK_NB) == 0) return;
  warn(
      programName(),
      ": another run is using the partial results file of this directory; waiting for it to end\n");
  while (::flock(directory, LOCK_EX) != 0 && errno == EINTR) {
  }
}
