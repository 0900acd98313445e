#include "output/bit_row_formatter.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <vector>

// The numeric formats are table-driven: the text of every byte value is built
// once, and a row is turned into text in a buffer that goes to the stream in
// large writes. The stream is left as printing byte by byte with
// fill '0', a width and a base would leave it (see printNumbers).
namespace {

// The image of every byte value followed by a blank, padded to a whole
// number of bytes that can be copied with one store.
struct Images {
  char hex[256][4];  // "FF "
  char dec[256][4];  // "255 "
  char oct[256][4];  // "377 "
  char bin[256][9];  // "11111111 "
  Images() {
    for (unsigned v = 0; v < 256; ++v) {
      const char* digits = "0123456789ABCDEF";
      const char text[][4] = {
          {digits[v >> 4], digits[v & 15], ' '},
          {char('0' + v / 100), char('0' + v / 10 % 10), char('0' + v % 10), ' '},
          {char('0' + (v >> 6)), char('0' + (v >> 3 & 7)), char('0' + (v & 7)), ' '}};
      std::memcpy(hex[v], text[0], 4);
      std::memcpy(dec[v], text[1], 4);
      std::memcpy(oct[v], text[2], 4);
      for (int k = 0; k < 8; ++k) bin[v][k] = static_cast<char>('0' + (v >> (7 - k) & 1));
      bin[v][8] = ' ';
    }
  }
};

const Images& images() {
  static const Images table;
  return table;
}

// Puts the images of `length` bytes at `to`, each `width` characters long
// and followed by the blank when `space` (the last one too); returns the
// characters put. `to` has room for length * kStride characters.
template <std::size_t kStride>
std::size_t formatImages(const unsigned char* row, std::uint64_t length,
                         const char (*image)[kStride], std::size_t width, bool space, char* to) {
  const std::size_t step = width + (space ? 1 : 0);
  char* at = to;
  for (std::uint64_t i = 0; i < length; ++i, at += step) std::memcpy(at, image[row[i]], kStride);
  return static_cast<std::size_t>(at - to);
}

// Formats 1 to 3. Printing byte by byte with `out.width(width)`, `out.fill('0')`
// and the base would leave the stream right-aligned (upper case for hex);
// with at least one byte, fill '0', the base set and the width consumed (as
// every insertion into a good stream does); and the old flags OR-ed back.
// `write` does the writing.
template <typename Write>
void printNumbers(std::uint64_t length, std::ostream& out, std::ios::fmtflags base, int width,
                  bool upper, const Write& write) {
  const std::ios::fmtflags saved = out.flags();
  out.setf(std::ios::right, std::ios::adjustfield);
  if (upper) out.setf(std::ios::uppercase);
  if (length > 0) {
    out.fill('0');
    out.setf(base, std::ios::basefield);
    write();
    out.width(out.good() ? 0 : width);
  }
  out.flags(out.flags() | saved);
}

}  // namespace

void BitRowFormatter::print(const unsigned char* row, std::uint64_t length,
                            std::ostream& out) const {
  if (format_ == kAscii) {
    out.write(reinterpret_cast<const char*>(row), static_cast<std::streamsize>(length));
  } else {
    // The text in pieces of about 64 KiB.
    constexpr std::uint64_t kPiece = 7000;
    std::vector<char> text(sizeBound(std::min(length, kPiece)));
    for (std::uint64_t done = 0; done < length;) {
      const std::uint64_t count = std::min(kPiece, length - done);
      const std::size_t size = formatPart(row + done, count, done + count == length, text.data());
      out.write(text.data(), static_cast<std::streamsize>(size));
      done += count;
    }
  }
  put(nullptr, 0, length, out);  // the stream as printing byte by byte leaves it
}

std::uint64_t BitRowFormatter::sizeBound(std::uint64_t length) const {
  // A byte's image and blank, and room for the last image's copy of its
  // padded table entry.
  const std::uint64_t perByte[] = {1, 3, 4, 4, 9};
  return (format_ < 5 ? perByte[format_] : 0) * length + 9;
}

std::size_t BitRowFormatter::formatPart(const unsigned char* row, std::uint64_t length,
                                        bool endsPiece, char* to) const {
  const bool space = space_;
  const Images& image = images();
  std::size_t used = 0;
  switch (format_) {
    case kAscii:
      if (length > 0) std::memcpy(to, row, length);
      return length;
    case kHexadecimal:
      used = formatImages(row, length, image.hex, 2, space, to);
      break;
    case kDecimal:
      used = formatImages(row, length, image.dec, 3, space, to);
      break;
    case kOctal:
      used = formatImages(row, length, image.oct, 3, space, to);
      break;
    case kBinary:
      used = formatImages(row, length, image.bin, 8, space, to);
      break;
    default:
      return 0;
  }
  if (space && endsPiece && length > 0) --used;  // no blank after the piece's last byte
  return used;
}

void BitRowFormatter::put(const char* text, std::size_t size, std::uint64_t length,
                          std::ostream& out) const {
  auto write = [&] { out.write(text, static_cast<std::streamsize>(size)); };
  switch (format_) {
    case kAscii:
      write();
      break;
    case kHexadecimal:
      printNumbers(length, out, std::ios::hex, 2, true, write);
      break;
    case kDecimal:
      printNumbers(length, out, std::ios::dec, 3, false, write);
      break;
    case kOctal:
      printNumbers(length, out, std::ios::oct, 3, false, write);
      break;
    case kBinary:
      write();
      if (length > 0 && out.good()) out.width(0);
      break;
    default:
      break;
  }
}
