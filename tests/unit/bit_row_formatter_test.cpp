// The formatter's stream state, which a run cannot isolate.
#include "output/bit_row_formatter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>

// Every format; 1-3 leave fill, alignment and upper case set, and OR their base with the old one
// (hex and oct together print decimal).
TEST(BitRowFormatter, PrintsInPartsAsAtOnceAndLeavesTheStreamChanged) {
  // clang-format off
  const std::string images[] = {std::string("\0\7\x80\xFF", 4), "00 07 80 FF", "000 007 128 255",
      "000 007 200 377", "00000000 00000111 10000000 11111111", ""};
  // clang-format on
  for (unsigned format : {0u, 1u, 2u, 3u, 4u, 5u})
    for (bool space : {true, false}) {
      const BitRowFormatter formatter(static_cast<output_opt>(format), space);
      unsigned char row[] = {0x00, 0x07, 0x80, 0xFF, 0x55};
      // The same row in two parts, formatted first and written after, as the tiles print it.
      std::ostringstream out, parts;
      out.flags(std::ios::oct), out.width(9);  // only formats 1-4 consume the width
      parts.flags(std::ios::oct), parts.width(9);
      char text[64];
      for (unsigned part : {0u, 2u})
        formatter.put(text, formatter.formatPart(row + part, 2, part == 2, text), 2, parts);
      formatter.print(row, 4, out);
      formatter.print(row + 4, 0, out);  // prints nothing
      for (std::ostream* stream : {&out, &parts})
        *stream << ' ' << 255 << ' ' << std::setw(4) << 7 << ' ' << std::hex << 171;
      EXPECT_EQ(parts.str(), out.str()) << format << space;
      const bool numbers = format >= 1 && format <= 3;
      std::string want = images[format];
      if (!space) want.erase(std::remove(want.begin(), want.end(), ' '), want.end());
      want += std::string(format % 5 ? 0 : 8, ' ') +
              (format == 1 || format == 2 ? " 255" : " 377") + (numbers ? " 0007" : "    7") +
              (format == 1 ? " AB" : " ab");
      EXPECT_EQ(out.str(), want) << format << space;
      EXPECT_TRUE(!numbers || (out.flags() & std::ios::right)) << format;
    }
}
