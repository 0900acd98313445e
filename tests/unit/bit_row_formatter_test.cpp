// Printing a row of mask bytes in the five formats.
#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "engine/ovrell.h"
#include "options/options.h"

namespace {

using Bytes = std::vector<unsigned char>;

class BitRowFormatter : public ::testing::Test {
 protected:
  // Prints `row` with the given settings on a fresh stream.
  std::string print(Bytes row, std::uint32_t format, bool space) {
    std::ostringstream out;
    printOn(out, row, format, space);
    return out.str();
  }

  void printOn(std::ostream& out, Bytes& row, std::uint32_t format, bool space) {
    options_.format = static_cast<output_opt>(format);
    options_.space = space;
    engine_.printBitRow(row.data(), row.size(), out);
  }

  Options options_;
  Ovrell engine_{options_};
};

const Bytes kExample = {0x0A, 0xFF, 0x00};
const Bytes kEdgeValues = {0x00, 0x07, 0x80, 0xFF};

TEST_F(BitRowFormatter, ExampleRowInEveryFormat) {
  EXPECT_EQ(print(kExample, 1, true), "0A FF 00");
  EXPECT_EQ(print(kExample, 2, true), "010 255 000");
  EXPECT_EQ(print(kExample, 3, true), "012 377 000");
  EXPECT_EQ(print(kExample, 4, true), "00001010 11111111 00000000");
  EXPECT_EQ(print(kExample, 0, true), std::string("\x0A\xFF\x00", 3));

  EXPECT_EQ(print(kExample, 1, false), "0AFF00");
  EXPECT_EQ(print(kExample, 2, false), "010255000");
  EXPECT_EQ(print(kExample, 3, false), "012377000");
  EXPECT_EQ(print(kExample, 4, false), "000010101111111100000000");
  EXPECT_EQ(print(kExample, 0, false), std::string("\x0A\xFF\x00", 3));
}

TEST_F(BitRowFormatter, EdgeByteValues) {
  EXPECT_EQ(print(kEdgeValues, 1, true), "00 07 80 FF");
  EXPECT_EQ(print(kEdgeValues, 2, true), "000 007 128 255");
  EXPECT_EQ(print(kEdgeValues, 3, true), "000 007 200 377");
  EXPECT_EQ(print(kEdgeValues, 4, true), "00000000 00000111 10000000 11111111");
  EXPECT_EQ(print(kEdgeValues, 0, true), std::string("\x00\x07\x80\xFF", 4));
}

TEST_F(BitRowFormatter, OneByteRowHasNoSeparator) {
  EXPECT_EQ(print({0xAB}, 0, true), "\xAB");
  EXPECT_EQ(print({0xAB}, 1, true), "AB");
  EXPECT_EQ(print({0xAB}, 2, true), "171");
  EXPECT_EQ(print({0xAB}, 3, true), "253");
  EXPECT_EQ(print({0xAB}, 4, true), "10101011");
}

TEST_F(BitRowFormatter, EmptyRowPrintsNothingAndKeepsTheRow) {
  for (std::uint32_t format = 0; format <= 5; ++format) {
    Bytes row = {0x12, 0x34};
    std::ostringstream out;
    options_.format = static_cast<output_opt>(format);
    engine_.printBitRow(row.data(), 0, out);
    EXPECT_EQ(out.str(), "") << "format " << format;
    EXPECT_EQ(row, (Bytes{0x12, 0x34})) << "format " << format;
  }
}

TEST_F(BitRowFormatter, FormatsAboveFourPrintNothing) {
  for (std::uint32_t format : {5u, 17u, 4294967295u}) {
    EXPECT_EQ(print(kExample, format, true), "") << "format " << format;
  }
}

TEST_F(BitRowFormatter, RowIsOverwrittenWithDigitZeroAfterEveryCall) {
  for (std::uint32_t format : {0u, 1u, 2u, 3u, 4u, 5u}) {
    Bytes row = {0x00, 0x07, 0x80, 0xFF, 0x55, 0xAA};
    std::ostringstream out;
    options_.format = static_cast<output_opt>(format);
    engine_.printBitRow(row.data(), 4, out);
    EXPECT_EQ(row, (Bytes{0x30, 0x30, 0x30, 0x30, 0x55, 0xAA})) << "format " << format;
  }
}

TEST_F(BitRowFormatter, IgnoresThePreviousStateOfTheStream) {
  Bytes row = kExample;
  std::ostringstream out;
  out << std::left << std::setfill('*') << std::oct;
  printOn(out, row, 1, true);
  EXPECT_EQ(out.str(), "0A FF 00");

  row = kExample;
  std::ostringstream hex;
  hex << std::hex << std::left;
  printOn(hex, row, 2, true);
  EXPECT_EQ(hex.str(), "010 255 000");
}

TEST_F(BitRowFormatter, LeavesFillAndFlagsChanged) {
  for (std::uint32_t format : {1u, 2u, 3u}) {
    SCOPED_TRACE(format);
    Bytes row = {0x0A};
    std::ostringstream out;
    printOn(out, row, format, true);
    EXPECT_EQ(out.fill(), '0');
    EXPECT_TRUE(out.flags() & std::ios::right);
    EXPECT_TRUE(out.flags() & std::ios::dec) << "the old base is OR-ed back";
    EXPECT_EQ(static_cast<bool>(out.flags() & std::ios::uppercase), format == 1);
    // The mixed base field prints in decimal; the fill pads later fields.
    out.str("");
    out << 255 << ' ' << std::setw(5) << 42;
    EXPECT_EQ(out.str(), "255 00042");
  }
}

TEST_F(BitRowFormatter, MixedBaseAfterAHexStreamPrintsDecimal) {
  Bytes row = {0x0A};
  std::ostringstream out;
  out << std::hex;
  printOn(out, row, 3, true);
  EXPECT_TRUE(out.flags() & std::ios::oct);
  EXPECT_TRUE(out.flags() & std::ios::hex);
  out.str("");
  out << 255;
  EXPECT_EQ(out.str(), "255");
}

// A long random row against a plain rendering of each byte.
TEST_F(BitRowFormatter, LongRowsMatchAPlainRendering) {
  std::mt19937 random(7);
  Bytes row(333);
  for (unsigned char& b : row) b = static_cast<unsigned char>(random());
  const char* digits = "0123456789ABCDEF";
  for (bool space : {true, false}) {
    std::string hex, dec, oct, bin;
    for (std::size_t i = 0; i < row.size(); ++i) {
      unsigned v = row[i];
      std::string sep = (space && i + 1 < row.size()) ? " " : "";
      hex += std::string{digits[v >> 4], digits[v & 15]} + sep;
      dec += std::string{digits[v / 100], digits[v / 10 % 10], digits[v % 10]} + sep;
      oct += std::string{digits[v >> 6], digits[(v >> 3) & 7], digits[v & 7]} + sep;
      for (int bit = 7; bit >= 0; --bit) bin += digits[(v >> bit) & 1];
      bin += sep;
    }
    EXPECT_EQ(print(row, 0, space), std::string(row.begin(), row.end()));
    EXPECT_EQ(print(row, 1, space), hex);
    EXPECT_EQ(print(row, 2, space), dec);
    EXPECT_EQ(print(row, 3, space), oct);
    EXPECT_EQ(print(row, 4, space), bin);
  }
}

}  // namespace
