// findStretches; contract in engine/stretches.h.
#include "engine/stretches.h"

#include "engine/budget.h"
#include "engine/single_list.h"

namespace {

// Runs `walk(step)`, which calls step(q) for the masked bits from the
// block's last to its first, q the bit's position in the files; each step
// takes the next column value, from entry `columns` - 1 down to 0, and does
// nothing once they are used up.
template <typename Walk>
void walkColumns(const VectorBuff& columnValues, std::uint64_t columns, PositionQueue& queue,
                 std::uint64_t& lastValue, unsigned valueWidth, const StretchFound& found,
                 Walk&& walk) {
  std::uint64_t entry = columns;
  auto typed = [&](auto zero) {
    using Value = decltype(zero);
    const Value* values = reinterpret_cast<const Value*>(columnValues.data);
    walk([&](std::uint64_t q) {
      if (entry == 0) return;
      queue.push(q);
      const std::uint64_t value = values[--entry];
      if (value < lastValue + 1) {
        // The shortest stretch from q that tells all groups apart has
        // value + 1 masked bits; it does not contain the next bit's stretch.
        const std::uint64_t count = lastValue + 1 - value;
        if (count > queue.size()) brokenLinkage();
        found(q, queue.popFront(count));
      }
      lastValue = value;
    });
  };
  if (!withValueType(valueWidth, typed)) wrongValueWidth();
}

}  // namespace

void findStretches(const VectorBuff& columnValues, std::uint64_t columns, const VectorBuff& mask,
                   std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                   unsigned valueWidth, const StretchFound& found) {
  const std::uint64_t base = start * 8;
  walkColumns(columnValues, columns, queue, lastValue, valueWidth, found, [&](auto step) {
    forEachSetBitFromEnd(mask.data, mask.size, [&](std::uint64_t byte, unsigned bit) {
      step(base + 8 * byte + (7 - bit));
    });
  });
}

void findStretches(const VectorBuff& columnValues, const std::vector<std::uint32_t>& offsets,
                   std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                   unsigned valueWidth, const StretchFound& found) {
  const std::uint64_t base = start * 8;
  walkColumns(columnValues, offsets.size(), queue, lastValue, valueWidth, found, [&](auto step) {
    for (std::uint32_t offset : offsets) step(base + offset);
  });
}
