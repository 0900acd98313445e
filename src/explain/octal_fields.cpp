#include "explain/octal_fields.h"

#include <algorithm>

namespace {

// Octal text in every file at `pos` (blanks, digits, then NULs or blanks), the same length
// everywhere and at most 12 bytes; its value per file, or an empty list.
std::vector<std::uint64_t> octalAt(const std::vector<std::vector<unsigned char>>& bytes,
                                   std::size_t at, unsigned& size, unsigned& digits) {
  std::vector<std::uint64_t> values;
  for (const auto& b : bytes) {
    std::size_t i = at;
    while (i < b.size() && b[i] == ' ') ++i;
    std::uint64_t value = 0;
    const std::size_t first = i;
    for (; i < b.size() && b[i] >= '0' && b[i] <= '7'; ++i) value = value * 8 + (b[i] - '0');
    const unsigned count = static_cast<unsigned>(i - first);
    while (i < b.size() && i - at < 12 && (b[i] == 0 || b[i] == ' ')) ++i;
    if (count == 0 || i == first + count ||
        (!values.empty() && (i - at != size || count != digits)))
      return {};
    size = static_cast<unsigned>(i - at);
    digits = count;
    values.push_back(value);
  }
  return values;
}

}  // namespace

void collectOctalFields(const ByteSource& source, const ByteRun& run,
                        std::vector<CandidateField>& out) {
  const std::size_t files = source.files();
  const std::uint64_t first = run.first > 12 ? run.first - 12 : 0;
  const std::uint64_t end = std::min<std::uint64_t>(source.length(), run.first + 24);
  std::vector<std::vector<unsigned char>> bytes(files, std::vector<unsigned char>(end - first));
  for (std::size_t f = 0; f < files; ++f) source.read(f, first, end - first, bytes[f].data());
  for (std::uint64_t p = first; p <= run.last && p < end; ++p) {
    const auto isDigit = [&](const auto& b) {
      return b[p - first - 1] >= '0' && b[p - first - 1] <= '7';
    };
    if (p > first && std::any_of(bytes.begin(), bytes.end(), isDigit)) continue;
    unsigned size = 0, digits = 0;
    CandidateField field{p, 0, FieldOrder::kText, octalAt(bytes, p - first, size, digits), 0, 0};
    if (field.values.empty() || p + size <= run.first) continue;
    field.size = size;
    field.digits = digits;
    field.distinct = distinctCount(field.values);
    if (field.distinct > 1) out.push_back(std::move(field));
  }
}
