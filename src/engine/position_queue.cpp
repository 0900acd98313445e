#include "engine/position_queue.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/output.h"
#include "engine/temporary_file.h"

namespace {

void putVarint(std::vector<unsigned char>& chunk, std::uint64_t value) {
  for (; value >= 0x80; value >>= 7) chunk.push_back(static_cast<unsigned char>(value | 0x80));
  chunk.push_back(static_cast<unsigned char>(value));
}

std::uint64_t getVarint(const std::vector<unsigned char>& chunk, std::size_t& at) {
  std::uint64_t value = 0;
  for (unsigned shift = 0;; shift += 7) {
    const unsigned char byte = chunk[at++];
    value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return value;
  }
}

}  // namespace

PositionQueue::PositionQueue(std::size_t memoryBytes, std::size_t chunkBytes)
    : memoryBytes_(memoryBytes), chunkBytes_(chunkBytes) {}

PositionQueue::~PositionQueue() {
  if (spillFd_ >= 0) ::close(spillFd_);
}

void PositionQueue::push(std::uint64_t position) {
  ++size_;
  if (hasBack_ && back_.low == position + 1) {
    back_.low = position;
    return;
  }
  if (hasBack_) encode(back_);
  back_ = Stretch{position, position};
  hasBack_ = true;
}

// A chunk starts with its first stretch's high position; every further
// stretch is the gap below the previous low, then its length, minus one.
void PositionQueue::encode(const Stretch& stretch) {
  if (chunks_.empty() || chunks_.back().size() >= chunkBytes_) {
    if (!chunks_.empty()) chunkMemory_ += chunks_.back().size();
    chunks_.emplace_back();
    chunks_.back().reserve(chunkBytes_ + 20);
    putVarint(chunks_.back(), stretch.high);
    if (chunkMemory_ > memoryBytes_) spill();
  } else {
    putVarint(chunks_.back(), writeLow_ - stretch.high - 1);
  }
  putVarint(chunks_.back(), stretch.high - stretch.low);
  writeLow_ = stretch.low;
}

// Moves the oldest chunks in memory, except the one being written, to the
// end of the temporary file.
void PositionQueue::spill() {
  const std::string dir = temporaryDirectory();
  if (spillFd_ < 0) spillFd_ = unlinkedTemporaryFile(dir);
  if (spillFd_ < 0) failRun("cannot make a temporary file in ", dir, ": ", std::strerror(errno));
  while (chunkMemory_ > memoryBytes_ / 2 && chunks_.size() > 1) {
    Chunk& oldest = chunks_.front();
    if (::lseek(spillFd_, static_cast<off_t>(spillWrite_), SEEK_SET) < 0)
      failRun("cannot write a temporary file in ", dir, ": ", std::strerror(errno));
    writeAll(spillFd_, oldest.data(), oldest.size(), "a temporary file in " + dir);
    spillWrite_ += oldest.size();
    spilled_.push_back(oldest.size());
    chunkMemory_ -= oldest.size();
    chunks_.pop_front();
  }
}

void PositionQueue::unspill(Chunk& into) {
  into.resize(spilled_.front());
  std::size_t done = 0;
  while (done < into.size()) {
    const ssize_t got = ::pread(spillFd_, into.data() + done, into.size() - done,
                                static_cast<off_t>(spillRead_ + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0)
      failRun("cannot read back a temporary file in ", temporaryDirectory(), ": ",
              std::strerror(got < 0 ? errno : EIO));
    done += static_cast<std::size_t>(got);
  }
  spillRead_ += into.size();
  spilled_.pop_front();
  if (spilled_.empty()) {  // all read back: the file can start over
    spillRead_ = spillWrite_ = 0;
    if (::ftruncate(spillFd_, 0) != 0) {
      // Keeping the space is harmless; the file goes with the queue.
    }
  }
}

bool PositionQueue::loadFront() {
  if (readAt_ == reading_.size()) {
    readAt_ = 0;
    if (!spilled_.empty()) {
      unspill(reading_);
    } else if (!chunks_.empty()) {
      reading_ = std::move(chunks_.front());
      chunks_.pop_front();
      if (!chunks_.empty()) chunkMemory_ -= reading_.size();
    } else {
      reading_.clear();
      if (!hasBack_) return false;
      front_ = back_;  // the stretch still being pushed to becomes the front
      hasBack_ = false;
      return hasFront_ = true;
    }
    front_.high = getVarint(reading_, readAt_);
  } else {
    front_.high = readLow_ - getVarint(reading_, readAt_) - 1;
  }
  front_.low = front_.high - getVarint(reading_, readAt_);
  readLow_ = front_.low;
  return hasFront_ = true;
}

std::uint64_t PositionQueue::popFront(std::uint64_t count) {
  size_ -= count;
  for (;;) {
    if (!hasFront_ && !loadFront()) return 0;  // only when count was more than size()
    const std::uint64_t held = front_.high - front_.low + 1;
    if (count < held) {
      front_.high -= count;
      return front_.high + 1;
    }
    hasFront_ = false;
    count -= held;
    if (count == 0) return front_.low;
  }
}
