// TilePipeline; contract in engine/tile_pipeline.h.
#include "engine/tile_pipeline.h"

TilePipeline::TilePipeline(std::uint64_t tiles, unsigned slots, Work work, TileWorkers* workers)
    : tiles_(tiles), slots_(slots), ready_(slots), work_(std::move(work)) {
  if (workers == nullptr || workers->helpers() == 0 || tiles < 2 || slots < 2) return;
  workers_ = workers;
  workers_->start(help_);
}

TilePipeline::~TilePipeline() {
  if (workers_ == nullptr) return;
  stop_.store(true);
  rendezvous_.changed();
  workers_->finish();
}

bool TilePipeline::get(std::uint64_t k, unsigned& slot) {
  slot = static_cast<unsigned>(k % slots_);
  const Ready& ready = ready_[slot];
  while (ready.tile.load() != k + 1)
    if (!takeOne()) rendezvous_.waitUntil([&] { return ready.tile.load() == k + 1; });
  return ready.ok.load();
}

void TilePipeline::release(std::uint64_t k) {
  released_.store(k + 1);
  rendezvous_.changed();
}

bool TilePipeline::canTake() const {
  const std::uint64_t k = next_.load();
  return k < tiles_ && k < released_.load() + slots_;
}

bool TilePipeline::takeOne() {
  std::uint64_t k = next_.load();
  do {
    if (k >= tiles_ || k >= released_.load() + slots_) return false;
  } while (!next_.compare_exchange_weak(k, k + 1));
  const unsigned slot = static_cast<unsigned>(k % slots_);
  const bool ok = work_(k, slot);
  ready_[slot].ok.store(ok);
  ready_[slot].tile.store(k + 1);
  rendezvous_.changed();
  return true;
}

void TilePipeline::help() {
  while (!stop_.load() && next_.load() < tiles_)
    if (!takeOne())
      rendezvous_.waitUntil([&] { return stop_.load() || next_.load() >= tiles_ || canTake(); },
                            Rendezvous::kShortSpin);
}
