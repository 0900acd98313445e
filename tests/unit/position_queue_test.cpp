// The writer's position queue against a plain deque, with so little memory that chunks go to
// the temporary file and come back many times.
#include "engine/position_queue.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

TEST(PositionQueue, SpilledChunksComeBackInOrder) {
  for (std::size_t memory : {std::size_t{64}, std::size_t{1} << 20}) {
    std::mt19937_64 random(memory);
    PositionQueue queue(memory, 16);
    std::deque<std::uint64_t> model;
    std::uint64_t next = std::uint64_t{1} << 62;
    for (int step = 0; step < 200000 || !model.empty(); ++step) {  // grows slowly, then drains
      if ((step < 200000 && random() % 6 != 0) || model.empty()) {
        next -= random() % 4 == 0 ? 1 + random() % (random() % 2 ? 20 : 100000) : 1;  // mostly runs
        queue.push(next);
        model.push_back(next);
      } else {
        const std::uint64_t count = 1 + random() % std::min<std::uint64_t>(model.size(), 8);
        model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(count - 1));
        ASSERT_EQ(queue.popFront(count), model.front()) << step;
        model.pop_front();
      }
      ASSERT_EQ(queue.size(), model.size());
    }
  }
}
