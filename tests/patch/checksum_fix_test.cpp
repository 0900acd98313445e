// The checksum fix on what the end-to-end files do not show: octal text
// with leading blanks or too short for the value, fields wider than the
// value, and a range that holds its own field.
#include "patch/checksum_fix.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

ChecksumField field(FieldOrder order, std::uint64_t first, std::uint64_t last) {
  ChecksumField f;
  f.byteOrder = order;
  f.firstByte = first;
  f.lastByte = last;
  return f;
}

TEST(ChecksumFix, OctalTextKeepsItsLayout) {
  const ChecksumField text = field(FieldOrder::kText, 0, 7);
  EXPECT_EQ(encodeChecksum(text, 06421, bytes(std::string("000017\0 ", 8))),
            bytes(std::string("006421\0 ", 8)));
  EXPECT_EQ(encodeChecksum(text, 0, bytes(std::string("  1234\0 ", 8))),
            bytes(std::string("     0\0 ", 8)));
  EXPECT_EQ(encodeChecksum(text, 0321, bytes(std::string("\0 7777 \0", 8))),
            bytes(std::string("\0  321 \0", 8)));
  EXPECT_TRUE(encodeChecksum(text, 010000, bytes("7777    ")).empty());
  EXPECT_TRUE(encodeChecksum(text, 1, Bytes(8, 0)).empty());
}

TEST(ChecksumFix, IntegersFillTheirFieldInEitherOrder) {
  EXPECT_EQ(encodeChecksum(field(FieldOrder::kLittle, 0, 3), 0xa1b2, Bytes(4, 0xff)),
            (Bytes{0xb2, 0xa1, 0, 0}));
  EXPECT_EQ(encodeChecksum(field(FieldOrder::kBig, 0, 1), 0xa1b2, Bytes(2, 0)),
            (Bytes{0xa1, 0xb2}));
}

// A sum over bytes 0-3 whose field at 2 counts as zeros (as blanks for
// text): the field's old value must not leak into the new one.
TEST(ChecksumFix, ARangeThatHoldsItsFieldCountsItAsZerosOrBlanks) {
  ChecksumField sum = field(FieldOrder::kLittle, 2, 2);
  sum.coversFirst = 0, sum.coversLast = 3, sum.fieldAsZeros = true;
  Bytes file{1, 2, 0x77, 4};
  ASSERT_TRUE(fixChecksum(sum, file));
  EXPECT_EQ(file, (Bytes{1, 2, 7, 4}));
  EXPECT_TRUE(checksumHolds(sum, file));
  sum.sum.width = 32, sum.byteOrder = FieldOrder::kText, sum.firstByte = 1, sum.lastByte = 4;
  sum.coversLast = 5, sum.fieldAsZeros = false, sum.fieldAsBlanks = true;
  file = bytes("a777 b");
  ASSERT_TRUE(fixChecksum(sum, file));
  EXPECT_EQ(file, bytes("a503 b"));  // 'a' + 4 blanks + 'b' = 323 = 0o503
}

}  // namespace
