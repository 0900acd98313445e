#include "report/findings.h"

namespace {

std::uint64_t loadWord(const unsigned char* at) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < 8; ++i) value |= static_cast<std::uint64_t>(at[i]) << (8 * i);
  return value;
}

}  // namespace

ByteRecord byteRecordAt(Findings& findings, std::uint64_t p) {
  const unsigned char* at = findings.bytes.fromEnd(p);
  ByteRecord record{loadWord(at), at[8], {}, {}};
  for (std::size_t g = 0; g < findings.groups.size(); ++g) {
    record.values.push_back(at[9 + 2 * g]);
    record.uniform.push_back(at[10 + 2 * g]);
  }
  return record;
}

void appendRegionHex(std::string& out, Findings& findings, const Span& region, std::size_t g,
                     std::uint64_t limit, const char* separator) {
  static const char kDigits[] = "0123456789abcdef";
  for (std::uint64_t p = region.from; p <= region.to; ++p) {
    if (limit != 0 && p - region.from == limit) break;
    const unsigned char* at = findings.bytes.fromEnd(p);
    if (p != region.from) out += separator;
    if (at[10 + 2 * g] != 0xFF) {
      out += "??";
    } else {
      out += kDigits[at[9 + 2 * g] >> 4];
      out += kDigits[at[9 + 2 * g] & 15];
    }
  }
}

void appendFieldBits(std::string& out, Findings& findings, const Span& field, std::size_t g,
                     std::uint64_t limit) {
  std::uint64_t written = 0;
  for (std::uint64_t p = field.from; p <= field.to; ++p) {
    const unsigned char* at = findings.bytes.fromEnd(p);
    const std::uint64_t byteStart = 8 * loadWord(at);
    for (unsigned k = 0; k < 8; ++k) {
      const std::uint64_t position = byteStart + k;
      if (position < field.first || position > field.last) continue;
      if (limit != 0 && written++ == limit) return;
      out += ((at[9 + 2 * g] >> (7 - k)) & 1U) ? '1' : '0';
    }
  }
}

void stretchAt(Findings& findings, std::uint64_t i, std::uint64_t& first, std::uint64_t& last) {
  const unsigned char* at = findings.stretches.fromEnd(i);
  first = loadWord(at);
  last = loadWord(at + 8);
}
