#include <gtest/gtest.h>

#include <cstring>
#include <random>

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

namespace {

// The obvious printer: one insertion per byte (per bit in binary), with the fill, width and base
// set before every number, the old flags OR-ed back at the end, and the row overwritten.
void slowPrintBitRow(unsigned format, bool space, unsigned char* row, std::uint64_t length,
                     std::ostream& out) {
  const char* separator = space ? " " : "";
  if (format == 0) out.write(reinterpret_cast<const char*>(row), length);
  if (format >= 1 && format <= 3) {
    const std::ios::fmtflags saved = out.flags();
    out.setf(std::ios::right, std::ios::adjustfield);
    if (format == 1) out.setf(std::ios::uppercase);
    for (std::uint64_t i = 0; i < length; ++i) {
      out.fill('0');
      out.width(format == 1 ? 2 : 3);
      out.setf(format == 1 ? std::ios::hex : format == 2 ? std::ios::dec : std::ios::oct,
               std::ios::basefield);
      out << static_cast<unsigned>(row[i]) << (i + 1 == length ? "" : separator);
    }
    out.flags(out.flags() | saved);
  }
  for (std::uint64_t i = 0; format == 4 && i < length; ++i) {
    for (int bit = 7; bit >= 0; --bit) out << static_cast<bool>((row[i] >> bit) & 1);
    out << (i + 1 == length ? "" : separator);
  }
  if (length > 0) std::memset(row, '0', length);
}

}  // namespace

// The table-driven printer against the obvious one: random rows of up to three of its internal
// pieces, every format, with and without blanks, on streams in the states the writers' streams
// can be in (fresh, or left by earlier rows; no one sets showbase or showpos); two rows in a row
// on one stream, as the writers call it.
TEST(BitRowFormatter, MatchesPrintingOneByteAtATime) {
  Options options;
  Ovrell engine(options);
  std::mt19937_64 random(7);
  for (int round = 0; round < 300; ++round) {
    options.format = static_cast<output_opt>(random() % 6);
    options.space = random() % 2;
    std::ostringstream fast, slow;
    const std::ios::fmtflags prior[] = {std::ios::dec, std::ios::hex | std::ios::left,
                                        std::ios::oct | std::ios::dec, std::ios::uppercase};
    for (std::ostream* out : {&fast, &slow}) {
      out->flags(prior[round % 4]);
      out->fill(round % 3 ? ' ' : '*');
    }
    for (int call = 0; call < 2; ++call) {
      const std::uint64_t length = random() % 3 == 0 ? random() % 70000 : random() % 40;
      std::vector<unsigned char> row(length), copy;
      for (auto& byte : row) byte = static_cast<unsigned char>(random());
      copy = row;
      engine.printBitRow(row.data(), length, fast);
      slowPrintBitRow(options.format, options.space, copy.data(), length, slow);
      ASSERT_EQ(row, copy);
    }
    ASSERT_EQ(fast.str(), slow.str()) << options.format << options.space;
    EXPECT_EQ(std::make_tuple(fast.flags(), fast.fill(), fast.width()),
              std::make_tuple(slow.flags(), slow.fill(), slow.width()));
  }
}
