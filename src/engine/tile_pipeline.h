// The tiles of a block spread over threads, and handed to the calling
// thread in order.
//
// Whichever thread is free takes the next tile nobody has taken, into slot
// k % slots, once the tile that held the slot before has been released.
// The caller takes tiles too while the one it needs next is still being
// worked on, so a helper that is slow, or that a busy machine does not
// run, holds the caller up by at most the tile it has taken. The helpers
// are those of a TileWorkers (engine/tile_workers.h), which must outlive
// the pipeline; the pipeline's end waits for them to leave its job.
#ifndef OVRELL_ENGINE_TILE_PIPELINE_H_
#define OVRELL_ENGINE_TILE_PIPELINE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "engine/tile_workers.h"

class TilePipeline {
 public:
  // `work(k, slot)` reads and computes tile k into `slot`; false when the
  // tile cannot be read.
  using Work = std::function<bool(std::uint64_t tile, unsigned slot)>;

  // The helpers of `workers` (none without) take tiles too.
  TilePipeline(std::uint64_t tiles, unsigned slots, Work work, TileWorkers* workers);
  ~TilePipeline();
  TilePipeline(const TilePipeline&) = delete;
  TilePipeline& operator=(const TilePipeline&) = delete;

  // Tile k, once some thread (perhaps this one) has worked on it, and the
  // slot it is in; false when it cannot be read. Tiles must be asked for in
  // order, and each released before the next is asked for.
  bool get(std::uint64_t k, unsigned& slot);
  // The slot of tile k may be reused.
  void release(std::uint64_t k);

 private:
  struct Ready {
    std::atomic<std::uint64_t> tile{0};  // 1 + the tile last worked on in the slot
    std::atomic<bool> ok{false};         // whether it could be read
  };

  bool canTake() const;
  // Takes the next tile, if its slot is free, and works on it; false when
  // there is none to take.
  bool takeOne();
  // A helper's part: tiles until none is left to take.
  void help();

  const std::uint64_t tiles_;
  const unsigned slots_;
  std::vector<Ready> ready_;
  const Work work_;
  std::atomic<std::uint64_t> next_{0};      // the first tile nobody has taken
  std::atomic<std::uint64_t> released_{0};  // the tiles the caller is done with
  std::atomic<bool> stop_{false};
  Rendezvous rendezvous_;
  const std::function<void()> help_ = [this] { help(); };
  TileWorkers* workers_ = nullptr;
};

#endif  // OVRELL_ENGINE_TILE_PIPELINE_H_
