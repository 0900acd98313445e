#include "base/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include "base/fatal.h"

namespace {

// A result file as it was before the run. Filled before any signal handler
// is installed and never resized afterwards, so the handlers may read it.
struct Remembered {
  std::string name, target;  // as given, and with its symbolic links followed
  bool existed, special;
  off_t length;
  volatile std::sig_atomic_t opened;
};

std::vector<Remembered>& remembered() {
  static std::vector<Remembered>* files = new std::vector<Remembered>;
  return *files;
}
std::string& scratchFile() {
  static std::string* name = new std::string;
  return *name;
}
volatile std::sig_atomic_t cleanedUp = 0;

// The file `name` stands for once its symbolic links are followed, whether
// the last one points to a file that is there or not; `name` itself when it
// is no link (or a loop of them).
std::string linkTarget(const std::string& name) {
  std::string target = name;
  for (int hops = 0; hops < 40; ++hops) {
    struct stat status {};
    if (::lstat(target.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return target;
    std::string link(PATH_MAX, '\0');
    const ssize_t length = ::readlink(target.c_str(), &link[0], link.size());
    if (length < 0) return target;
    link.resize(static_cast<std::size_t>(length));
    const std::size_t slash = target.rfind('/');
    target = link[0] == '/' || slash == std::string::npos ? link : target.substr(0, slash + 1) + link;
  }
  return name;
}

// Only calls that are safe in a signal handler.
void putBack() {
  if (cleanedUp) return;
  cleanedUp = 1;
  for (const Remembered& file : remembered()) {
    if (!file.opened || file.special) continue;
    if (file.existed)
      static_cast<void>(::truncate(file.target.c_str(), file.length));
    else
      ::unlink(file.target.c_str());
  }
  if (!scratchFile().empty()) ::unlink(scratchFile().c_str());
  discardTemporaryFiles();
}

extern "C" void onSignal(int signalNumber) {
  const int savedErrno = errno;
  putBack();
  errno = savedErrno;
  // The handler was reset to the default when it was entered and the signal
  // is not blocked: raising it again ends the process by it.
  std::raise(signalNumber);
}

CheckedBuffer* standardOutput = nullptr;
volatile std::sig_atomic_t standardOutputFailed = 0;
bool closedStandardOutputTolerated = false;
bool standardOutputWasClosed = false;

constexpr std::size_t kBufferSize = 1 << 16;

}  // namespace

namespace {
const char* programName = "ovrell";
}  // namespace

void setProgramName(const char* name) { programName = name; }

void failRunWithMessage(const std::string& message) {
  putBack();
  std::cerr << programName << ": " << message << std::endl;
  if (standardOutput != nullptr) standardOutputFailed = 1;  // nothing more goes there
  exitProcess(1);
}

void useCheckedStandardOutput() {
  for (int fd = 0; fd <= 2; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // Standard error gets a sink; the other two a descriptor that cannot be
    // written, so that output sent there is reported as lost.
    const int opened = ::open("/dev/null", fd == 2 ? O_WRONLY : O_RDONLY);
    if (opened != fd && opened >= 0) ::close(opened);
  }
  standardOutput = new CheckedBuffer(STDOUT_FILENO, "standard output");
  std::cout.rdbuf(standardOutput);
}

void flushStandardOutput() {
  if (standardOutputFailed) return;
  std::cout.flush();
}

void registerResultFiles(const std::vector<std::string>& names, const std::string& scratch) {
  std::vector<Remembered>& files = remembered();
  files.clear();
  files.reserve(names.size());
  for (const std::string& name : names) {
    struct stat status {};
    const bool existed = ::stat(name.c_str(), &status) == 0;
    const bool special = existed && !S_ISREG(status.st_mode);
    files.push_back(
        Remembered{name, linkTarget(name), existed, special, existed ? status.st_size : 0, 0});
  }
  scratchFile() = scratch;
}

namespace {

void outOfMemory() {
  std::set_new_handler(nullptr);  // the message itself must not come back here
  failRun("out of memory; a smaller memory limit (-m) may help");
}

}  // namespace

void failRunWhenOutOfMemory() { std::set_new_handler(outOfMemory); }

void installSignalCleanup() {
  for (int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
    struct sigaction action {};
    if (::sigaction(signalNumber, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    ::sigaction(signalNumber, &action, nullptr);
  }
}

namespace {

// Writes all `size` bytes to `fd`; returns 0, or the reason it could not.
int tryWriteAll(int fd, const char* at, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, at, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : EIO;
    at += written;
    size -= static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

void writeAll(int fd, const void* data, std::size_t size, const std::string& what) {
  if (const int error = tryWriteAll(fd, static_cast<const char*>(data), size))
    failRun("cannot write ", what, ": ", std::strerror(error));
}

CheckedBuffer::CheckedBuffer(int fd, std::string name)
    : fd_(fd), name_(std::move(name)), buffer_(new char[kBufferSize]) {
  setp(buffer_.get(), buffer_.get() + kBufferSize);
}

CheckedBuffer::~CheckedBuffer() { close(); }

void CheckedBuffer::writeOut(const char* data, std::size_t size) {
  if (this == standardOutput && standardOutputFailed) return;
  if (this == standardOutput && closedStandardOutputTolerated) {
    const int error = tryWriteAll(fd_, data, size);
    if (error == EPIPE || error == EBADF) {
      standardOutputFailed = 1;
      standardOutputWasClosed = true;
    } else if (error != 0) {
      failRun("cannot write ", name_, ": ", std::strerror(error));
    }
    return;
  }
  writeAll(fd_, data, size, name_);
}

void CheckedBuffer::drain() {
  const std::size_t used = static_cast<std::size_t>(pptr() - pbase());
  setp(buffer_.get(), buffer_.get() + kBufferSize);
  writeOut(buffer_.get(), used);
}

CheckedBuffer::int_type CheckedBuffer::overflow(int_type c) {
  drain();
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
  }
  return traits_type::not_eof(c);
}

std::streamsize CheckedBuffer::xsputn(const char* s, std::streamsize n) {
  if (n <= 0) return 0;  // an empty piece may come without any storage behind it
  const std::size_t size = static_cast<std::size_t>(n);
  if (size <= static_cast<std::size_t>(epptr() - pptr())) {
    std::memcpy(pptr(), s, size);
    pbump(static_cast<int>(n));
  } else {
    drain();
    if (size < kBufferSize) return xsputn(s, n);
    writeOut(s, size);
  }
  return n;
}

int CheckedBuffer::sync() {
  drain();
  return 0;
}

void CheckedBuffer::close() {
  if (fd_ < 0) return;
  drain();
  const int fd = fd_;
  fd_ = -1;
  if (fd > STDERR_FILENO && ::close(fd) != 0)
    failRun("cannot close ", name_, ": ", std::strerror(errno));
}

bool ResultFile::open(const std::string& name, bool privateScratch) {
  close();
  for (Remembered& file : remembered())
    if (file.name == name) file.opened = 1;
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | (privateScratch ? O_NOFOLLOW : 0);
  const int fd = ::open(name.c_str(), flags, privateScratch ? 0600 : 0666);
  if (fd < 0) return false;
  struct stat status {};
  if (privateScratch && (::fstat(fd, &status) != 0 || status.st_uid != ::geteuid())) {
    ::close(fd);
    failRun("the scratch file '", name, "' belongs to another user");
  }
  buffer_ = new CheckedBuffer(fd, "'" + name + "'");
  stream_.rdbuf(buffer_);
  return true;
}

void ResultFile::close() {
  if (buffer_ == nullptr) return;
  CheckedBuffer* buffer = buffer_;
  buffer_ = nullptr;
  stream_.rdbuf(nullptr);
  buffer->close();
  delete buffer;
}

void keepRunningWhenStandardOutputCloses() {
  closedStandardOutputTolerated = true;
  std::signal(SIGPIPE, SIG_IGN);
}

bool standardOutputClosed() { return standardOutputWasClosed; }

namespace {

// A registered name stays in its slot (reachable) until forgotten; removing
// it in a signal handler only marks it removed.
struct TemporaryName {
  char* volatile name;
  volatile std::sig_atomic_t removed;
};
TemporaryName temporaryFiles[16];

}  // namespace

void registerTemporaryFile(const std::string& name) {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name != nullptr) continue;
    slot.removed = 0;
    slot.name = ::strdup(name.c_str());
    return;
  }
  failRun("too many temporary files at once: ", name);
}

void forgetTemporaryFile(const std::string& name) {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name == nullptr || name != slot.name) continue;
    char* const held = slot.name;
    slot.name = nullptr;
    std::free(held);
  }
}

void discardTemporaryFiles() {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name == nullptr || slot.removed) continue;
    ::unlink(slot.name);
    slot.removed = 1;
  }
}
