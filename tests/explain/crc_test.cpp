// The checksum routines against their published check values and, for CRCs
// with random parameters, against the bit-by-bit definition.
#include "explain/crc.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "explain/sums.h"

namespace {
const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
}  // namespace

TEST(Crc, CatalogueCheckValuesAndNames) {
  for (const NamedCrc& entry : crcCatalogue()) {
    EXPECT_EQ(Crc(entry.params).compute(kCheck, 9), entry.check) << entry.name;
    EXPECT_EQ(crcBitwise(entry.params, kCheck, 9), entry.check) << entry.name;
    EXPECT_STREQ(crcName(entry.params), entry.name);
  }
  CrcParams ext4 = crcCatalogue()[1].params;
  ext4.xorout = 0;  // CRC-32C with no final XOR has no name
  EXPECT_EQ(crcName(ext4), nullptr);
  EXPECT_EQ(Crc(ext4).compute(kCheck, 9), 0xe3069283 ^ 0xffffffff);
}

TEST(Crc, TablesMatchTheDefinitionAndStepBack) {
  std::mt19937_64 random(7);
  std::vector<unsigned char> data(300);
  for (int round = 0; round < 400; ++round) {
    CrcParams p;
    p.width = 8u << (round % 4);
    p.poly = (random() & widthMask(p.width)) | 1;
    p.init = random() & widthMask(p.width);
    p.xorout = random() & widthMask(p.width);
    p.refin = random() & 1;
    p.refout = random() & 1;
    for (auto& byte : data) byte = static_cast<unsigned char>(random());
    const std::size_t size = random() % data.size();
    const Crc crc(p);
    ASSERT_EQ(crc.compute(data.data(), size), crcBitwise(p, data.data(), size))
        << p.width << " " << std::hex << p.poly << " " << p.refin << p.refout << " " << size;
    std::uint64_t reg = crc.update(crc.start(), data.data(), size);
    for (std::size_t i = size; i-- > 0;) reg = crc.unstep(reg, data[i]);
    ASSERT_EQ(reg, crc.start()) << p.width << " " << std::hex << p.poly;
    EXPECT_EQ(crc.finish(crc.registerOf(0x5a)), 0x5a);
  }
}

TEST(Sums, CheckValues) {
  const auto sum = [](SumKind kind, unsigned width, unsigned unit, bool big, Complement c) {
    return computeSum(SumParams{kind, width, unit, big, c}, kCheck, 9);
  };
  EXPECT_EQ(sum(SumKind::kAdler32, 32, 1, false, Complement::kNone), 0x091e01deu);
  EXPECT_EQ(sum(SumKind::kFletcher16, 16, 1, false, Complement::kNone), 0x1edeu);
  EXPECT_EQ(sum(SumKind::kSum, 8, 1, false, Complement::kNone), 0xddu);
  EXPECT_EQ(sum(SumKind::kSum, 8, 1, false, Complement::kTwos), 0x23u);
  EXPECT_EQ(sum(SumKind::kSum, 8, 1, false, Complement::kOnes), 0x22u);
  EXPECT_EQ(sum(SumKind::kXor, 8, 1, false, Complement::kNone), 0x31u);
  EXPECT_EQ(sum(SumKind::kSum, 16, 1, false, Complement::kNone), 0x1ddu);
  // Words of "12" "34" "56" "78" "9\0" (the last padded with zero).
  EXPECT_EQ(sum(SumKind::kSum, 16, 2, false, Complement::kNone), 0xd509u);
  EXPECT_EQ(sum(SumKind::kSum, 16, 2, true, Complement::kNone), 0x09d4u);
  EXPECT_EQ(sum(SumKind::kSum, 32, 4, true, Complement::kOnes), ~0x9f686a6cu);
  // Fletcher-32 of the little-endian words, mod 65535.
  EXPECT_EQ(sum(SumKind::kFletcher32, 32, 2, false, Complement::kNone), 0xdf09d509u);
}
