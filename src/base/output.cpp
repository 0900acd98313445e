#include "base/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

CheckedBuffer* standardOutput = nullptr;
volatile std::sig_atomic_t standardOutputFailed = 0;
bool closedStandardOutputTolerated = false;
bool standardOutputWasClosed = false;

constexpr std::size_t kBufferSize = 1 << 16;

// Until the run-ending unit installs its own: the message, and status 1.
void printAndExit(const std::string& message) {
  std::cerr << message << std::endl;
  std::exit(1);
}
void ignoreOpening(const std::string&) {}

OutputFailureHandler failed = printAndExit;
ResultOpeningHandler opening = ignoreOpening;

[[noreturn]] void fail(const std::string& message) {
  failed(message);
  std::abort();  // a handler must not return
}

}  // namespace

void setOutputHandlers(OutputFailureHandler onFailure, ResultOpeningHandler onOpening) {
  failed = onFailure;
  opening = onOpening;
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

void silenceStandardOutput() {
  if (standardOutput != nullptr) standardOutputFailed = 1;
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
    fail("cannot write " + what + ": " + std::strerror(error));
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
      fail("cannot write " + name_ + ": " + std::strerror(error));
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
    fail("cannot close " + name_ + ": " + std::strerror(errno));
}

bool ResultFile::open(const std::string& name, bool privateScratch) {
  close();
  opening(name);
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | (privateScratch ? O_NOFOLLOW : 0);
  const int fd = ::open(name.c_str(), flags, privateScratch ? 0600 : 0666);
  if (fd < 0) return false;
  struct stat status {};
  if (privateScratch && (::fstat(fd, &status) != 0 || status.st_uid != ::geteuid())) {
    ::close(fd);
    fail("the scratch file '" + name + "' belongs to another user");
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
