#include "engine/position_queue.h"

#include <algorithm>

#include "base/scratch_file.h"
#include "base/varint.h"

namespace {

constexpr std::uint64_t kGapTop = 15, kLengthTop = 7;

}  // namespace

PositionQueue::PositionQueue(std::size_t memoryBytes, std::size_t chunkBytes)
    : memoryBytes_(memoryBytes), chunkBytes_(chunkBytes) {}

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

// A chunk starts with its first stretch's high position. Every stretch then
// has a byte that holds its gap below the previous low (minus 2, 0 for a
// chunk's first) up to 15 and its length minus one up to 7, each followed,
// when it is at its top, by a varint of the rest: a run of one position
// takes a byte, so the queue never holds more than half a byte per masked
// bit.
void PositionQueue::encode(const Stretch& stretch) {
  std::uint64_t gap = 0;
  if (chunks_.empty() || chunks_.back().size() >= chunkBytes_) {
    if (!chunks_.empty()) chunkMemory_ += chunks_.back().size();
    chunks_.emplace_back();
    chunks_.back().reserve(chunkBytes_ + 30);
    putVarint(chunks_.back(), stretch.high);
    if (chunkMemory_ > memoryBytes_) spill();
  } else {
    gap = writeLow_ - stretch.high - 2;
  }
  const std::uint64_t length = stretch.high - stretch.low;
  Chunk& chunk = chunks_.back();
  chunk.push_back(static_cast<unsigned char>(std::min<std::uint64_t>(gap, kGapTop) << 3 |
                                             std::min<std::uint64_t>(length, kLengthTop)));
  if (gap >= kGapTop) putVarint(chunk, gap - kGapTop);
  if (length >= kLengthTop) putVarint(chunk, length - kLengthTop);
  writeLow_ = stretch.low;
}

// Moves the oldest chunks in memory, except the one being written, to the
// end of the temporary file.
void PositionQueue::spill() {
  while (chunkMemory_ > memoryBytes_ / 2 && chunks_.size() > 1) {
    Chunk& oldest = chunks_.front();
    spill_.append(oldest.data(), oldest.size());
    spilled_.push_back(oldest.size());
    chunkMemory_ -= oldest.size();
    chunks_.pop_front();
  }
}

void PositionQueue::unspill(Chunk& into) {
  into.resize(spilled_.front());
  spill_.readAt(into.data(), into.size(), spillRead_);
  spillRead_ += into.size();
  spilled_.pop_front();
  if (spilled_.empty()) {  // all read back: the file can start over
    spillRead_ = 0;
    spill_.clear();
  }
}

bool PositionQueue::loadFront() {
  const bool chunkStart = readAt_ == reading_.size();
  if (chunkStart) {
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
  }
  const unsigned char head = reading_[readAt_++];
  std::uint64_t gap = head >> 3, length = head & kLengthTop;
  if (gap == kGapTop) gap += getVarint(reading_, readAt_);
  if (length == kLengthTop) length += getVarint(reading_, readAt_);
  if (!chunkStart) front_.high = readLow_ - gap - 2;
  front_.low = front_.high - length;
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
