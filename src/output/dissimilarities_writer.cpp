#include <fstream>

#include "engine/ovrell.h"
#include "engine/single_list.h"
#include "output/result_file_name.h"

namespace {

std::uint64_t columnValue(const VectorBuff& values, std::uint64_t index, unsigned valueWidth) {
  switch (valueWidth) {
    case 1:
      return values.data[index];
    case 2:
      return reinterpret_cast<const std::uint16_t*>(values.data)[index];
    case 4:
      return reinterpret_cast<const std::uint32_t*>(values.data)[index];
    default:
      return reinterpret_cast<const std::uint64_t*>(values.data)[index];
  }
}

}  // namespace

void Ovrell::writeDissimilarities(VectorBuff& columnValues, std::uint64_t columns, VectorBuff& mask,
                                  std::uint64_t start, PositionQueue& queue,
                                  std::uint64_t& lastValue, std::size_t position,
                                  unsigned valueWidth) {
  if (options.disFile.empty()) return;
  const std::string name = resultFileName(options.disFile, options.attributes.size(), position);
  std::ofstream out(name, std::ios::out | std::ios::app | std::ios::binary);
  if (!out) cannotOpenResultFile(name);

  // The masked bits from the block's last to its first: byte by byte from
  // the end, bit 0 (the highest position of its byte) first.
  const std::uint64_t base = start * 8;
  std::uint64_t entry = columns;
  for (std::uint64_t byte = mask.size; entry > 0 && byte-- > 0;) {
    if (byte % 8 == 7 && zeroWord(mask.data + byte - 7)) {  // most of a sparse mask
      byte -= 7;
      continue;
    }
    // The set bits of the byte from bit 0 up.
    for (unsigned maskByte = mask.data[byte]; entry > 0 && maskByte != 0;
         maskByte &= maskByte - 1) {
      const unsigned bit = static_cast<unsigned>(__builtin_ctz(maskByte));
      const std::uint64_t q = base + 8 * byte + (7 - bit);
      queue.push(q);
      const std::uint64_t value = columnValue(columnValues, --entry, valueWidth);
      if (value < lastValue + 1) {
        // The shortest stretch from q that tells all groups apart has
        // value + 1 masked bits; it does not contain the next bit's stretch.
        const std::uint64_t count = lastValue + 1 - value;
        if (count > queue.size()) brokenLinkage();
        out << '(' << q << '-' << queue.popFront(count) << ")\n";
      }
      lastValue = value;
    }
  }
}
