#include "engine/temporary_file.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/output.h"

namespace {

bool reserveSpace = false;

constexpr std::uint64_t kMiB = 1 << 20;

// Ends the run when writing `size` more bytes would leave less than 5 % of
// the temporary file system free.
void checkFreeSpace(int fd, std::size_t size) {
  struct statvfs status {};
  if (::fstatvfs(fd, &status) != 0) return;  // nothing known: the write tells
  const std::uint64_t unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
  const std::uint64_t free = std::uint64_t{status.f_bavail} * unit;
  const std::uint64_t needed = size + std::uint64_t{status.f_blocks} * unit / 20;
  if (free >= needed) return;
  failRun("too little space for temporary files in '", temporaryDirectory(),
          "': ", (needed + kMiB - 1) / kMiB, " MiB needed, ", free / kMiB,
          " MiB free; set TMPDIR to a larger file system");
}

}  // namespace

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

void reserveTemporarySpace(bool reserve) { reserveSpace = reserve; }

void writeTemporary(int fd, const void* data, std::size_t size, std::uint64_t offset) {
  const std::string dir = temporaryDirectory();
  if (reserveSpace) checkFreeSpace(fd, size);
  if (::lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0)
    failRun("cannot write a temporary file in ", dir, ": ", std::strerror(errno));
  writeAll(fd, data, size, "a temporary file in " + dir);
}

void readTemporary(int fd, void* data, std::size_t size, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = ::pread(fd, static_cast<unsigned char*>(data) + done, size - done,
                                static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0)
      failRun("cannot read back a temporary file in ", temporaryDirectory(), ": ",
              std::strerror(got < 0 ? errno : EIO));
    done += static_cast<std::size_t>(got);
  }
}
