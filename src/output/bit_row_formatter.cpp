#include <cstring>
#include <iomanip>
#include <ostream>

#include "engine/ovrell.h"

namespace {

// Formats 1 to 3: one zero-padded number per byte. The stream's flags are
// OR-ed back afterwards, not restored: the new base and the old one both
// stay set, as do the fill and the alignment.
void printNumbers(const unsigned char* row, std::uint64_t length, std::ostream& out,
                  std::ios::fmtflags base, int width, bool upper, const char* separator) {
  const std::ios::fmtflags saved = out.flags();
  out.setf(std::ios::right, std::ios::adjustfield);
  if (upper) out.setf(std::ios::uppercase);
  for (std::uint64_t i = 0; i < length; ++i) {
    if (i + 1 == length) separator = "";
    out.fill('0');
    out.width(width);
    out.setf(base, std::ios::basefield);
    out << static_cast<unsigned int>(row[i]) << separator;
  }
  out.flags(out.flags() | saved);
}

void printBits(const unsigned char* row, std::uint64_t length, std::ostream& out,
               const char* separator) {
  for (std::uint64_t i = 0; i < length; ++i) {
    if (i + 1 == length) separator = "";
    for (int bit = 7; bit >= 0; --bit) out << static_cast<bool>((row[i] >> bit) & 1);
    out << separator;
  }
}

}  // namespace

void Ovrell::printBitRow(unsigned char* row, std::uint64_t length, std::ostream& out) {
  const char* separator = options.space ? " " : "";
  switch (options.format) {
    case kAscii:
      out.write(reinterpret_cast<const char*>(row), static_cast<std::streamsize>(length));
      break;
    case kHexadecimal:
      printNumbers(row, length, out, std::ios::hex, 2, true, separator);
      break;
    case kDecimal:
      printNumbers(row, length, out, std::ios::dec, 3, false, separator);
      break;
    case kOctal:
      printNumbers(row, length, out, std::ios::oct, 3, false, separator);
      break;
    case kBinary:
      printBits(row, length, out, separator);
      break;
    default:
      break;
  }
  std::memset(row, '0', length);
}
