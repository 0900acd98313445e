// The quadratic algorithm: one counter per pair of groups, i < j, in
// upper-triangle order (0,1), (0,2), ..., (1,2), ...; a counter is one more
// than the columns, counted back from the newest, on which the pair agrees.
#include "engine/quadratic_dissimilarities.h"

#include <algorithm>

#include "base/fatal.h"
#include "engine/budget.h"
#include "engine/single_list.h"

namespace {

template <typename Value>
void resetCounters(unsigned char* data, std::uint64_t bytes) {
  Value* counters = reinterpret_cast<Value*>(data);
  std::fill(counters, counters + bytes / sizeof(Value), Value{1});
}

template <typename Value>
void columnLoop(const ArrayBuff& rows, Value* counter, Value* values, std::uint64_t columns) {
  std::fill(values, values + columns, Value{0});
  const std::uint64_t pitch = pitchOf(rows.rowSize);
  const std::uint64_t fullBytes = columns / 8;
  for (std::uint64_t i = 0; i < rows.rows; ++i) {
    const unsigned char* a = rows.data + i * pitch;
    for (std::uint64_t j = i + 1; j < rows.rows; ++j, ++counter) {
      const unsigned char* b = rows.data + j * pitch;
      Value c = *counter;
      auto byteOfColumns = [&](std::uint64_t byte, unsigned bits) {
        const unsigned differ = a[byte] ^ b[byte];
        const std::uint64_t last = columns - 1 - 8 * byte;  // the value of column 8 * byte
        for (unsigned t = 0; t < bits; ++t) {
          if ((differ >> t) & 1U) {
            c = 1;
          } else {
            Value& value = values[last - t];
            if (value < c) value = c;
            c = static_cast<Value>(c + 1);
          }
        }
      };
      for (std::uint64_t byte = 0; byte < fullBytes; ++byte) byteOfColumns(byte, 8);
      if (columns % 8 != 0) byteOfColumns(fullBytes, columns % 8);
      *counter = c;
    }
  }
}

}  // namespace

void resetPairCounters(VectorBuff& pairs, unsigned valueWidth) {
  const bool known = withValueType(
      valueWidth, [&](auto zero) { resetCounters<decltype(zero)>(pairs.data, pairs.size); });
  if (!known) fatal("Error - wrong number of bytes caltulated.\n");
}

void quadraticColumns(const ArrayBuff& rows, VectorBuff& pairs, VectorBuff& columnValues,
                      std::uint64_t columns, unsigned valueWidth) {
  const bool known = withValueType(valueWidth, [&](auto zero) {
    using Value = decltype(zero);
    columnLoop(rows, reinterpret_cast<Value*>(pairs.data),
               reinterpret_cast<Value*>(columnValues.data), columns);
  });
  if (!known) wrongValueWidth();
}
