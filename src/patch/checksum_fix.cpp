#include "patch/checksum_fix.h"

#include <algorithm>
#include <string>

#include "explain/crc.h"
#include "explain/sums.h"

namespace {

std::vector<unsigned char> fieldBytes(const ChecksumField& field,
                                      const std::vector<unsigned char>& file) {
  return std::vector<unsigned char>(file.begin() + field.firstByte,
                                    file.begin() + field.lastByte + 1);
}

bool isOctalDigit(unsigned char c) { return c >= '0' && c <= '7'; }

std::vector<unsigned char> encodeText(std::uint64_t value, std::vector<unsigned char> bytes) {
  std::size_t first = 0;
  while (first < bytes.size() && bytes[first] != ' ' && !isOctalDigit(bytes[first])) ++first;
  std::size_t end = first;
  while (end < bytes.size() && (bytes[end] == ' ' || isOctalDigit(bytes[end]))) ++end;
  while (end > first && bytes[end - 1] == ' ') --end;
  if (end == first) return {};  // no digits to rewrite
  const unsigned char pad = bytes[first] == ' ' ? ' ' : '0';
  for (std::size_t i = end; i > first; --i) {
    if (value == 0 && i != end) {
      bytes[i - 1] = pad;
      continue;
    }
    bytes[i - 1] = static_cast<unsigned char>('0' + (value & 7));
    value >>= 3;
  }
  if (value != 0) return {};
  return bytes;
}

}  // namespace

std::uint64_t computeChecksum(const ChecksumField& field, std::vector<unsigned char>& file) {
  const std::vector<unsigned char> saved = fieldBytes(field, file);
  if (field.fieldAsZeros || field.fieldAsBlanks)
    std::fill(file.begin() + field.firstByte, file.begin() + field.lastByte + 1,
              field.fieldAsBlanks ? ' ' : 0);
  const unsigned char* data = file.data() + field.coversFirst;
  const std::size_t size = field.coversLast - field.coversFirst + 1;
  const std::uint64_t value =
      field.isCrc ? Crc(field.crc).compute(data, size) : computeSum(field.sum, data, size);
  std::copy(saved.begin(), saved.end(), file.begin() + field.firstByte);
  return value;
}

std::vector<unsigned char> encodeChecksum(const ChecksumField& field, std::uint64_t value,
                                          const std::vector<unsigned char>& now) {
  if (field.byteOrder == FieldOrder::kText) return encodeText(value, now);
  std::vector<unsigned char> bytes(now.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::size_t at = field.byteOrder == FieldOrder::kLittle ? i : bytes.size() - 1 - i;
    bytes[at] = static_cast<unsigned char>(i < 8 ? value >> (8 * i) : 0);
  }
  return bytes;
}

bool fixChecksum(const ChecksumField& field, std::vector<unsigned char>& file) {
  const std::vector<unsigned char> bytes =
      encodeChecksum(field, computeChecksum(field, file), fieldBytes(field, file));
  if (bytes.empty()) return false;
  std::copy(bytes.begin(), bytes.end(), file.begin() + field.firstByte);
  return true;
}

bool checksumHolds(const ChecksumField& field, std::vector<unsigned char>& file) {
  const std::vector<unsigned char> now = fieldBytes(field, file);
  return encodeChecksum(field, computeChecksum(field, file), now) == now;
}

std::vector<std::size_t> fixOrder(const std::vector<ChecksumField>& fields) {
  const auto dependsOn = [&](std::size_t a, std::size_t b) {
    return a != b && fields[b].firstByte <= fields[a].coversLast &&
           fields[a].coversFirst <= fields[b].lastByte;
  };
  std::vector<std::size_t> order;
  std::vector<bool> done(fields.size(), false);
  for (bool progress = true; progress;) {
    progress = false;
    for (std::size_t a = 0; a < fields.size(); ++a) {
      if (done[a]) continue;
      bool ready = true;
      for (std::size_t b = 0; b < fields.size() && ready; ++b) ready = done[b] || !dependsOn(a, b);
      if (!ready) continue;
      order.push_back(a);
      done[a] = progress = true;
    }
  }
  for (std::size_t a = 0; a < fields.size(); ++a)
    if (!done[a]) order.push_back(a);
  return order;
}
