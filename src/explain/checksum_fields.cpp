#include "explain/checksum_fields.h"

#include <algorithm>

#include "explain/octal_fields.h"

namespace {

std::uint64_t readValue(const ByteSource& source, std::size_t file, std::uint64_t pos,
                        unsigned size, FieldOrder order) {
  unsigned char bytes[8];
  source.read(file, pos, size, bytes);
  std::uint64_t value = 0;
  for (unsigned k = 0; k < size; ++k)
    value |= std::uint64_t{bytes[k]} << (8 * (order == FieldOrder::kBig ? size - 1 - k : k));
  return value;
}

void collectBinaryFields(const ByteSource& source, const ByteRun& run,
                         std::vector<CandidateField>& out) {
  const std::uint64_t length = run.last - run.first + 1;
  for (unsigned size : {1u, 2u, 4u, 8u}) {
    if (size > length) break;
    for (std::uint64_t pos = run.first; pos + size <= run.last + 1; ++pos) {
      const bool nearEnd = pos - run.first < 8 || run.last + 1 - (pos + size) < 8;
      if (length > 16 && !nearEnd) continue;
      for (FieldOrder order : {FieldOrder::kLittle, FieldOrder::kBig}) {
        if (size == 1 && order == FieldOrder::kBig) continue;
        CandidateField field{pos, size, order, {}, 0};
        for (std::size_t f = 0; f < source.files(); ++f)
          field.values.push_back(readValue(source, f, pos, size, order));
        field.distinct = distinctCount(field.values);
        if (field.distinct > 1) out.push_back(std::move(field));
      }
    }
  }
}

}  // namespace

unsigned distinctCount(std::vector<std::uint64_t> values) {
  std::sort(values.begin(), values.end());
  return static_cast<unsigned>(std::unique(values.begin(), values.end()) - values.begin());
}

std::vector<CandidateField> collectFields(const ByteSource& source,
                                          const std::vector<ByteRun>& runs) {
  std::vector<CandidateField> out;
  for (const ByteRun& run : runs) {
    collectBinaryFields(source, run, out);
    collectOctalFields(source, run, out);
  }
  return out;
}
