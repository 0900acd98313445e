#include "report/record_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/output.h"
#include "engine/temporary_file.h"

namespace {
constexpr std::size_t kBufferBytes = 1 << 16;
}  // namespace

RecordFile::RecordFile(std::size_t recordSize) : recordSize_(recordSize) {}

RecordFile::~RecordFile() {
  if (fd_ >= 0) ::close(fd_);
}

void RecordFile::append(const unsigned char* record) {
  pending_.insert(pending_.end(), record, record + recordSize_);
  ++count_;
  if (pending_.size() >= kBufferBytes) flush();
}

void RecordFile::flush() {
  if (pending_.empty()) return;
  const std::string dir = temporaryDirectory();
  if (fd_ < 0) fd_ = unlinkedTemporaryFile(dir);
  if (fd_ < 0) failRun("cannot make a temporary file in ", dir, ": ", std::strerror(errno));
  if (::lseek(fd_, static_cast<off_t>(written_ * recordSize_), SEEK_SET) < 0)
    failRun("cannot write a temporary file in ", dir, ": ", std::strerror(errno));
  writeAll(fd_, pending_.data(), pending_.size(), "a temporary file in " + dir);
  written_ = count_;
  pending_.clear();
}

// Reads the window around record `index`, or finds it among those not yet
// written out.
const unsigned char* RecordFile::load(std::uint64_t index) {
  if (index >= written_) return pending_.data() + (index - written_) * recordSize_;
  {
    // A window around the record, so that walks in either direction read
    // the file a buffer at a time.
    const std::uint64_t perWindow = std::max<std::uint64_t>(kBufferBytes / recordSize_, 1);
    windowFirst_ = index >= perWindow / 2 ? index - perWindow / 2 : 0;
    windowCount_ = std::min(perWindow, written_ - windowFirst_);
    window_.resize(windowCount_ * recordSize_);
    std::size_t done = 0;
    while (done < window_.size()) {
      const ssize_t got = ::pread(fd_, window_.data() + done, window_.size() - done,
                                  static_cast<off_t>(windowFirst_ * recordSize_ + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0)
        failRun("cannot read back a temporary file in ", temporaryDirectory(), ": ",
                std::strerror(got < 0 ? errno : EIO));
      done += static_cast<std::size_t>(got);
    }
  }
  return window_.data() + (index - windowFirst_) * recordSize_;
}
