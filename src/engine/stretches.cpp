// findStretches; contract in engine/stretches.h.
#include "engine/stretches.h"

#include "engine/budget.h"
#include "engine/single_list.h"

void findStretches(const VectorBuff& columnValues, std::uint64_t columns, const VectorBuff& mask,
                   std::uint64_t start, PositionQueue& queue, std::uint64_t& lastValue,
                   unsigned valueWidth, const StretchFound& found) {
  // The masked bits from the block's last to its first, the column values
  // from entry N - 1 down to 0.
  const std::uint64_t base = start * 8;
  std::uint64_t entry = columns;
  auto walk = [&](auto zero) {
    using Value = decltype(zero);
    const Value* values = reinterpret_cast<const Value*>(columnValues.data);
    forEachSetBitFromEnd(mask.data, mask.size, [&](std::uint64_t byte, unsigned bit) {
      if (entry == 0) return;
      const std::uint64_t q = base + 8 * byte + (7 - bit);
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
  if (!withValueType(valueWidth, walk)) wrongValueWidth();
}
