// The positions the dissimilarities writer holds between masked bits: those
// of the current agreeing run, pushed in strictly decreasing order, the
// oldest (largest) at the front.
//
// Runs of consecutive positions are stored as one stretch, so a run over
// many adjacent masked bits costs a few bytes instead of eight per bit.
#ifndef OVRELL_OUTPUT_POSITION_QUEUE_H_
#define OVRELL_OUTPUT_POSITION_QUEUE_H_

#include <cstdint>
#include <deque>

class PositionQueue {
 public:
  // REQUIRES: `position` is below every position pushed before.
  void push(std::uint64_t position) {
    if (!stretches_.empty() && stretches_.back().low == position + 1)
      stretches_.back().low = position;
    else
      stretches_.push_back(Stretch{position, position});
    ++size_;
  }

  std::uint64_t size() const { return size_; }

  // Removes `count` positions from the front and returns the last one
  // removed. REQUIRES: 0 < count <= size().
  std::uint64_t popFront(std::uint64_t count) {
    size_ -= count;
    for (;;) {
      Stretch& front = stretches_.front();
      const std::uint64_t held = front.high - front.low + 1;
      if (count < held) {
        front.high -= count;
        return front.high + 1;
      }
      const std::uint64_t last = front.low;
      stretches_.pop_front();
      count -= held;
      if (count == 0) return last;
    }
  }

 private:
  struct Stretch {
    std::uint64_t high, low;  // positions high, high - 1, ..., low
  };
  std::deque<Stretch> stretches_;
  std::uint64_t size_ = 0;
};

#endif  // OVRELL_OUTPUT_POSITION_QUEUE_H_
