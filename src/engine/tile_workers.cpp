// TileWorkers; contract in engine/tile_workers.h.
#include "engine/tile_workers.h"

TileWorkers::TileWorkers(unsigned helpers) {
  for (unsigned h = 0; h < helpers; ++h) threads_.emplace_back([this] { run(); });
}

TileWorkers::~TileWorkers() {
  stop_.store(true);
  rendezvous_.changed();
  for (std::thread& thread : threads_) thread.join();
}

void TileWorkers::start(const std::function<void()>& job) {
  job_ = &job;
  busy_.store(helpers());
  jobs_.fetch_add(1);
  rendezvous_.changed();
}

void TileWorkers::finish() {
  rendezvous_.waitUntil([&] { return busy_.load() == 0; });
}

void TileWorkers::run() {
  for (std::uint64_t done = 0;; ++done) {
    rendezvous_.waitUntil([&] { return stop_.load() || jobs_.load() != done; });
    if (stop_.load()) return;
    (*job_)();
    busy_.fetch_sub(1);
    rendezvous_.changed();
  }
}
