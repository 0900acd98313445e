#include <gtest/gtest.h>

#include "engine/ovrell.h"

// Every format; 1-3 leave fill, alignment and upper case set, and OR their base with the old one.
TEST(BitRowFormatter, PrintsEveryFormatOverwritesTheRowAndLeavesTheStreamChanged) {
  Options options;
  Ovrell engine(options);
  // clang-format off
  const std::string images[] = {std::string("\0\7\x80\xFF", 4), "00 07 80 FF", "000 007 128 255",
      "000 007 200 377", "00000000 00000111 10000000 11111111", ""};
  // clang-format on
  for (unsigned format : {0u, 1u, 2u, 3u, 4u, 5u, 4294967295u}) {
    for (bool space : {true, false}) {
      options.format = static_cast<output_opt>(format);
      options.space = space;
      unsigned char row[] = {0x00, 0x07, 0x80, 0xFF, 0x55};
      std::ostringstream out;
      engine.printBitRow(row, 4, out);
      engine.printBitRow(row + 4, 0, out);  // prints nothing and keeps the byte
      out << ' ' << 255 << ' ' << std::setw(4) << 7 << ' ' << std::hex << 171;
      const bool numbers = format >= 1 && format <= 3;
      std::string want = images[std::min(format, 5u)];
      if (!space) want.erase(std::remove(want.begin(), want.end(), ' '), want.end());
      want += format == 1 ? " 255 0007 AB" : numbers ? " 255 0007 ab" : " 255    7 ab";
      EXPECT_EQ(out.str(), want) << format << space;
      EXPECT_EQ(std::string(row, row + 5), "0000\x55") << format << space;
      EXPECT_TRUE(!numbers || (out.flags() & std::ios::right)) << format;
    }
  }
}
