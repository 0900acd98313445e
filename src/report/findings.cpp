#include "report/findings.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kLargestWindow = 1 << 20, kAllWindows = 8 << 20, kSmallestWindow = 64;
constexpr std::uint64_t kJumpWindow = 4096;

unsigned char reversedBits(unsigned char byte) {
  byte = static_cast<unsigned char>((byte & 0xF0) >> 4 | (byte & 0x0F) << 4);
  byte = static_cast<unsigned char>((byte & 0xCC) >> 2 | (byte & 0x33) << 2);
  return static_cast<unsigned char>((byte & 0xAA) >> 1 | (byte & 0x55) << 1);
}

unsigned char groupByte(Findings& findings, std::uint64_t p, std::size_t g,
                        unsigned char& uniform) {
  return groupByteAt(findings, offsetAt(findings, p), g, uniform);
}

}  // namespace

unsigned char groupByteAt(Findings& findings, std::uint64_t offset, std::size_t g,
                          unsigned char& uniform) {
  const FileIndexList& files = *findings.groups[g].files;
  const unsigned char first = findings.data->at(files[0], offset);
  uniform = 0xFF;
  for (std::size_t k = 1; k < files.size(); ++k)
    uniform &= static_cast<unsigned char>(~(first ^ findings.data->at(files[k], offset)));
  return first;
}

FileBytes::FileBytes(const DataFiles& files, std::uint64_t fileSize, const Options& options)
    : files_(files),
      fileSize_(fileSize),
      chunk_(options.chunkSize),
      invert_(options.inverseByteOrder),
      windows_(files.size()) {
  const std::uint64_t all = std::min<std::uint64_t>(options.memLimit / 4, kAllWindows);
  windowBytes_ = std::clamp<std::uint64_t>(all / std::max<std::size_t>(files.size(), 1),
                                           kSmallestWindow, kLargestWindow);
  windowBytes_ -= windowBytes_ % 8;
}

// Reads the window from `offset` on. It starts on a multiple of 8 and, but
// at the end of the file, holds a multiple of 8 bytes, so it holds whole
// chunks of -e (which start on multiples of the chunk size, as the file
// size is one of it).
unsigned char FileBytes::load(std::size_t file, std::uint64_t offset) {
  Window& window = windows_[file];
  // A read that jumps far ahead (the picture's cells of a large file) takes
  // a short window: the whole one would mostly be passed over.
  const std::uint64_t end = window.start + window.bytes.size();
  const bool jump = offset < end || offset - end >= windowBytes_;
  window.start = offset - offset % 8;
  window.bytes.resize(std::min(
      {jump ? std::min(windowBytes_, kJumpWindow) : windowBytes_, fileSize_ - window.start}));
  unsigned char* const bytes = window.bytes.data();
  const std::uint64_t size = window.bytes.size();
  files_.read(file, bytes, size, window.start);
  if (invert_)
    for (std::uint64_t b = 0; b < size; ++b) bytes[b] = reversedBits(bytes[b]);
  if (chunk_ > 1)
    for (std::uint64_t at = 0; at + chunk_ <= size; at += chunk_)
      std::reverse(bytes + at, bytes + at + chunk_);
  return bytes[offset - window.start];
}

ByteRecord byteRecordAt(Findings& findings, std::uint64_t p) {
  ByteRecord record{offsetAt(findings, p), informativeAt(findings, p), {}, {}};
  for (std::size_t g = 0; g < findings.groups.size(); ++g) {
    unsigned char uniform = 0;
    record.values.push_back(groupByte(findings, p, g, uniform));
    record.uniform.push_back(uniform);
  }
  return record;
}

void appendRegionHex(std::string& out, Findings& findings, const Span& region, std::size_t g,
                     std::uint64_t limit, const char* separator) {
  static const char kDigits[] = "0123456789abcdef";
  for (std::uint64_t p = region.from; p <= region.to; ++p) {
    if (limit != 0 && p - region.from == limit) break;
    if (p != region.from) out += separator;
    unsigned char uniform = 0;
    const unsigned char value = groupByte(findings, p, g, uniform);
    if (uniform != 0xFF) {
      out += "??";
    } else {
      out += kDigits[value >> 4];
      out += kDigits[value & 15];
    }
  }
}

void appendFieldBits(std::string& out, Findings& findings, const Span& field, std::size_t g,
                     std::uint64_t limit) {
  std::uint64_t written = 0;
  for (std::uint64_t p = field.from; p <= field.to; ++p) {
    const std::uint64_t byteStart = 8 * offsetAt(findings, p);
    unsigned char uniform = 0;
    const unsigned char value = groupByte(findings, p, g, uniform);
    for (unsigned k = 0; k < 8; ++k) {
      const std::uint64_t position = byteStart + k;
      if (position < field.first || position > field.last) continue;
      if (limit != 0 && written++ == limit) return;
      out += ((value >> (7 - k)) & 1U) ? '1' : '0';
    }
  }
}
