// The text of a mask row in one of the five output formats.
//
// A BitRowFormatter is made once from the format and whether bytes are
// separated by a blank, and is then only read, so any thread may format
// with it. A row is printed either at once (`print`) or in parts whose text
// is made anywhere (`formatPart`, into room for `sizeBound` characters) and
// written later, in order, on one thread (`put`). Both leave the stream as
// printing the row byte by byte with fill '0', a width and a base would:
// fill, flags and base changed. The stream must not have showbase or
// showpos set (no writer sets them). The formatter never changes a row.
#ifndef OVRELL_OUTPUT_BIT_ROW_FORMATTER_H_
#define OVRELL_OUTPUT_BIT_ROW_FORMATTER_H_

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "options/options.h"

class BitRowFormatter {
 public:
  BitRowFormatter(output_opt format, bool space) : format_(format), space_(space) {}

  // Whether a row is its own text (the ascii format).
  bool rowIsText() const { return format_ == kAscii; }
  // Prints `length` bytes of `row`.
  void print(const unsigned char* row, std::uint64_t length, std::ostream& out) const;
  // The room formatPart needs for a part of `length` bytes.
  std::uint64_t sizeBound(std::uint64_t length) const;
  // One part of a piece, printed as print prints the whole piece (the
  // separator follows every byte but the piece's last; `endsPiece`: this
  // part ends it): puts the part's text at `to` and returns its size.
  std::size_t formatPart(const unsigned char* row, std::uint64_t length, bool endsPiece,
                         char* to) const;
  // Writes a part's text, `size` characters for `length` bytes, and leaves
  // the stream as print would.
  void put(const char* text, std::size_t size, std::uint64_t length, std::ostream& out) const;

 private:
  output_opt format_;
  bool space_;
};

#endif  // OVRELL_OUTPUT_BIT_ROW_FORMATTER_H_
