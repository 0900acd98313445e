// The threads that work on a block's tiles beside the calling thread, and
// how these threads wait for each other.
//
// TileWorkers keeps its helper threads from block to block and from pass to
// pass: each block's tiles are one job, which every helper runs until the
// job has nothing more for it. `finish` returns only when every helper has
// left the job, so the job's state may go then. A helper waits for the next
// job by spinning a little, then sleeping; the helpers are stopped and
// joined when the object goes.
#ifndef OVRELL_ENGINE_TILE_WORKERS_H_
#define OVRELL_ENGINE_TILE_WORKERS_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Waiting for another thread: a spin of a few hundred microseconds (a tile
// takes tens to hundreds, and waking a sleeping thread can take a hundred),
// then sleep on the condition variable. The spin has no `pause`: on the
// virtual machines we measure on, a core spinning with it is taken away.
// A thread that waits for work rather than for a result (a helper whose
// slots are all taken) spins kShortSpin only: it is not on the way of the
// run, and its spinning is a core taken from other processes.
class Rendezvous {
 public:
  static constexpr int kLongSpin = 1 << 18, kShortSpin = 1 << 10;
  template <typename Ready>
  void waitUntil(const Ready& ready, int spins = kLongSpin) {
    for (int spin = 0; spin < spins; ++spin) {
      if (ready()) return;
      asm volatile("" ::: "memory");
    }
    std::unique_lock<std::mutex> lock(mutex_);
    sleepers_.fetch_add(1);
    changed_.wait(lock, ready);
    sleepers_.fetch_sub(1);
  }
  // Call after every change that a waiter may be waiting for.
  void changed() {
    if (sleepers_.load() == 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<int> sleepers_{0};
};

class TileWorkers {
 public:
  explicit TileWorkers(unsigned helpers);
  ~TileWorkers();
  TileWorkers(const TileWorkers&) = delete;
  TileWorkers& operator=(const TileWorkers&) = delete;

  unsigned helpers() const { return static_cast<unsigned>(threads_.size()); }
  // Has every helper run `job`, which must outlive the matching finish().
  // One job at a time.
  void start(const std::function<void()>& job);
  // Waits until every helper has returned from the job.
  void finish();

 private:
  void run();

  const std::function<void()>* job_ = nullptr;
  std::atomic<std::uint64_t> jobs_{0};  // jobs started
  std::atomic<unsigned> busy_{0};       // helpers still in the job
  std::atomic<bool> stop_{false};
  Rendezvous rendezvous_;
  std::vector<std::thread> threads_;
};

#endif  // OVRELL_ENGINE_TILE_WORKERS_H_
