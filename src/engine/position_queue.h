// The positions the dissimilarities writer holds between masked bits: those
// of the current agreeing run, pushed in strictly decreasing order, the
// oldest (largest) at the front.
//
// A run can cover every masked bit of a file (two groups that agree
// everywhere), so the queue keeps its memory bounded whatever its length:
// runs of consecutive positions are stored as one stretch, stretches are
// coded as variable-length gaps and lengths in chunks, and when the chunks
// in memory pass `memoryBytes` the older ones move to a scratch file
// (base/scratch_file.h: unlinked, so nothing is ever left behind). Only
// the chunk being read at the front and the one being written at the back
// stay in memory. A scratch file that cannot be made or written ends the
// run. The queue is owned by the dissimilarity pass, one
// per attribute.
#ifndef OVRELL_ENGINE_POSITION_QUEUE_H_
#define OVRELL_ENGINE_POSITION_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "base/scratch_file.h"

class PositionQueue {
 public:
  static constexpr std::size_t kDefaultMemory = 4u << 20;

  explicit PositionQueue(std::size_t memoryBytes = kDefaultMemory,
                         std::size_t chunkBytes = 1 << 16);
  PositionQueue(const PositionQueue&) = delete;
  PositionQueue& operator=(const PositionQueue&) = delete;

  // REQUIRES: `position` is below every position pushed before.
  void push(std::uint64_t position);

  std::uint64_t size() const { return size_; }

  // Removes `count` positions from the front and returns the last one
  // removed. REQUIRES: 0 < count <= size().
  std::uint64_t popFront(std::uint64_t count);

 private:
  struct Stretch {
    std::uint64_t high, low;  // positions high, high - 1, ..., low
  };
  using Chunk = std::vector<unsigned char>;

  void encode(const Stretch& stretch);
  bool loadFront();  // the next stretch into front_; false when there is none
  void spill();
  void unspill(Chunk& into);

  std::size_t memoryBytes_, chunkBytes_;
  std::uint64_t size_ = 0;
  bool hasBack_ = false, hasFront_ = false;
  Stretch back_{}, front_{};
  // Coded stretches, oldest first: the chunk being read, those in the
  // temporary file, those in memory (the last one being written).
  Chunk reading_;
  std::size_t readAt_ = 0;
  std::uint64_t readLow_ = 0, writeLow_ = 0;
  std::deque<std::size_t> spilled_;  // sizes of the chunks in the file, oldest first
  std::uint64_t spillRead_ = 0;      // where the oldest chunk of the file starts
  ScratchFile spill_;
  std::deque<Chunk> chunks_;
  std::size_t chunkMemory_ = 0;
};

#endif  // OVRELL_ENGINE_POSITION_QUEUE_H_
