#include "base/scratch_file.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/fatal.h"
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

// A read-write descriptor of a new unlinked file in `dir`, or -1.
int unlinkedFile(const std::string& dir) {
  int fd = ::open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd >= 0) return fd;
  std::string name = dir + "/ovrell-XXXXXX";
  fd = ::mkstemp(&name[0]);
  if (fd >= 0) ::unlink(name.c_str());
  return fd;
}

}  // namespace

int readExactly(int fd, void* to, std::uint64_t size, std::uint64_t offset) {
  auto* at = static_cast<unsigned char*>(to);
  while (size > 0) {
    const ssize_t got = ::pread(fd, at, size, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got < 0 ? errno : EIO;
    at += got, size -= static_cast<std::uint64_t>(got), offset += static_cast<std::uint64_t>(got);
  }
  return 0;
}

std::string temporaryDirectory() {
  const char* dir = std::getenv("TMPDIR");
  return dir != nullptr && *dir != '\0' ? dir : "/tmp";
}

void reserveTemporarySpace(bool reserve) { reserveSpace = reserve; }

ScratchFile::~ScratchFile() {
  if (fd_ >= 0) ::close(fd_);
}

void ScratchFile::append(const void* data, std::size_t size) {
  const std::string dir = temporaryDirectory();
  if (fd_ < 0) fd_ = unlinkedFile(dir);
  if (fd_ < 0) failRun("cannot make a temporary file in ", dir, ": ", std::strerror(errno));
  if (reserveSpace) checkFreeSpace(fd_, size);
  if (::lseek(fd_, static_cast<off_t>(size_), SEEK_SET) < 0)
    failRun("cannot write a temporary file in ", dir, ": ", std::strerror(errno));
  writeAll(fd_, data, size, "a temporary file in " + dir);
  size_ += size;
}

void ScratchFile::readAt(void* to, std::size_t size, std::uint64_t offset) const {
  if (size == 0) return;
  if (const int error = readExactly(fd_, to, size, offset))
    failRun("cannot read back a temporary file in ", temporaryDirectory(), ": ",
            std::strerror(error));
}

std::vector<unsigned char> ScratchFile::readAll() const {
  std::vector<unsigned char> all(size_);
  readAt(all.data(), all.size(), 0);
  return all;
}

void ScratchFile::clear() {
  size_ = 0;
  // Space that cannot be given back is harmless: the file goes with its owner.
  if (fd_ >= 0) static_cast<void>(::ftruncate(fd_, 0));
}
