// The checksum finder on sets of files with planted checksums of every
// family, on random and compressed data, and on PNGs with stored deflate made
// at test time, whose chunk CRC-32s and zlib Adler-32 the PNG and zlib
// documents place.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "explain/checksum_finder.h"

namespace {

using Files = std::vector<std::vector<unsigned char>>;

std::vector<ByteRun> changingRuns(const Files& files) {
  std::vector<ByteRun> runs;
  for (std::uint64_t i = 0; i < files[0].size(); ++i) {
    bool differs = false;
    for (const auto& file : files) differs |= file[i] != files[0][i];
    if (!differs) continue;
    if (!runs.empty() && runs.back().last + 1 == i)
      runs.back().last = i;
    else
      runs.push_back({i, i});
  }
  return runs;
}

// `count` files of `length` bytes, random but equal, then bytes [first, end) random in each.
struct PlantedSet {
  Files files;
  std::mt19937 random{5};
  PlantedSet(std::size_t count, std::size_t length) : files(1, std::vector<unsigned char>(length)) {
    for (auto& byte : files[0]) byte = static_cast<unsigned char>(random());
    files.resize(count, files[0]);
  }
  void randomize(std::size_t first, std::size_t end) {
    for (auto& file : files)
      for (std::size_t i = first; i < end; ++i) file[i] = static_cast<unsigned char>(random());
  }
  // Stores in every file the checksum of its bytes [first, end), computed after the earlier plantings.
  void plant(std::size_t pos, unsigned size, ByteOrder order, std::size_t first, std::size_t end,
             const std::function<std::uint64_t(const unsigned char*, std::size_t)>& checksum) {
    for (auto& file : files) {
      const std::uint64_t value = checksum(file.data() + first, end - first);
      for (unsigned k = 0; k < size; ++k)
        file[pos + (order == ByteOrder::kBig ? size - 1 - k : k)] =
            static_cast<unsigned char>(value >> (8 * k));
    }
  }
  ChecksumSearch search() const {
    return findChecksums(MemoryByteSource(files), changingRuns(files));
  }
};

std::string hex(std::uint64_t value) {
  std::ostringstream out;
  out << "0x" << std::hex << value;
  return out.str();
}

std::string describe(const ChecksumField& f) {
  std::string text = hex(f.firstByte) + "-" + hex(f.lastByte) +
                     (f.byteOrder == ByteOrder::kBig ? " be " : " le ");
  if (f.isCrc)
    text += "crc" + std::to_string(f.crc.width) + " " + hex(f.crc.poly) + " " + hex(f.crc.init) +
            (f.crc.refin ? " in" : " -") + (f.crc.refout ? " out " : " - ") + hex(f.crc.xorout) +
            " " + (f.name ? f.name : "unnamed");
  else
    text += sumName(f.sum);
  return text + " of " + hex(f.coversFirst) + "-" + hex(f.coversLast) +
         (f.fieldAsZeros ? " field as zeros" : "");
}

std::vector<std::string> describe(const std::vector<ChecksumField>& fields) {
  std::vector<std::string> out;
  for (const ChecksumField& f : fields) out.push_back(describe(f));
  return out;
}

std::function<std::uint64_t(const unsigned char*, std::size_t)> crc(const CrcParams& p) {
  return [p](const unsigned char* data, std::size_t size) { return Crc(p).compute(data, size); };
}
std::function<std::uint64_t(const unsigned char*, std::size_t)> sum(const SumParams& p) {
  return [p](const unsigned char* data, std::size_t size) { return computeSum(p, data, size); };
}

constexpr auto kLe = ByteOrder::kLittle;
constexpr auto kBe = ByteOrder::kBig;

}  // namespace

TEST(ChecksumFinder, FindsEveryFamilyWithItsRange) {
  PlantedSet set(8, 0x2000);
  const CrcParams ext4{32, 0x1edc6f41, 0xffffffff, true, true, 0};
  // Each range's changing bytes, then its field: before, after or around it.
  set.randomize(0x100, 0x180);
  set.plant(0x180, 4, kBe, 0xf0, 0x180, crc(crcCatalogue()[0].params));
  set.randomize(0x310, 0x380);
  set.plant(0x300, 4, kLe, 0x310, 0x380, crc(ext4));
  set.randomize(0x500, 0x580);
  set.plant(0x580, 4, kBe, 0x500, 0x580, sum({SumKind::kAdler32, 32, 1, false}));
  set.randomize(0x680, 0x700);
  set.plant(0x700, 2, kLe, 0x680, 0x700, sum({SumKind::kFletcher16, 16, 1, false}));
  set.randomize(0x880, 0x900);
  set.plant(0x900, 4, kLe, 0x880, 0x900, sum({SumKind::kFletcher32, 32, 2, false}));
  set.randomize(0xa00, 0xa20);
  set.randomize(0xa60, 0xa80);
  for (auto& file : set.files) file[0xa40] = file[0xa41] = 0;
  set.plant(0xa40, 2, kBe, 0xa00, 0xa80, sum({SumKind::kSum, 16, 2, true}));
  set.randomize(0xb00, 0xb80);
  set.plant(0xb80, 1, kLe, 0xb00, 0xb80, sum({SumKind::kSum, 8, 1, false, Complement::kTwos}));
  set.randomize(0xc00, 0xc80);
  set.plant(0xc80, 1, kLe, 0xc00, 0xc80, sum({SumKind::kXor, 8, 1, false}));
  set.randomize(0xd00, 0xd80);
  set.plant(0xd80, 4, kLe, 0xd00, 0xd80, sum({SumKind::kSum, 32, 4, false}));
  set.randomize(0xe00, 0xe80);
  set.plant(0xe80, 1, kLe, 0xe00, 0xe80, crc(crcCatalogue()[crcCatalogue().size() - 4].params));
  set.randomize(0xf00, 0xf80);
  set.plant(0xf80, 8, kLe, 0xf00, 0xf80, crc(crcCatalogue()[crcCatalogue().size() - 2].params));
  set.randomize(0x2000 - 200, 0x2000 - 2);
  set.plant(0x2000 - 2, 2, kBe, 0x2000 - 200, 0x2000 - 2, crc(crcCatalogue()[8].params));
  const ChecksumSearch found = set.search();
  EXPECT_EQ(describe(found.found), (std::vector<std::string>{
      "0x180-0x183 be crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC of 0xf0-0x17f",
      "0x300-0x303 le crc32 0x1edc6f41 0xffffffff in out 0x0 unnamed of 0x310-0x37f",
      "0x580-0x583 be Adler-32 of 0x500-0x57f",
      "0x700-0x701 le Fletcher-16 of 0x680-0x6ff",
      "0x900-0x903 le Fletcher-32 of 0x880-0x8ff",
      "0xa40-0xa41 be 16-bit sum of u16be words of 0xa00-0xa7f field as zeros",
      "0xb80-0xb80 le 8-bit sum of bytes, two's complement of 0xb00-0xb7f",
      "0xc80-0xc80 le 8-bit XOR of bytes of 0xc00-0xc7f",
      "0xd80-0xd83 le 32-bit sum of u32le words of 0xd00-0xd7f",
      "0xe80-0xe80 le crc8 0x7 0x0 - - 0x0 CRC-8/SMBUS of 0xe00-0xe7f",
      "0xf80-0xf87 le crc64 0x42f0e1eba9ea3693 0xffffffffffffffff in out 0xffffffffffffffff CRC-64/XZ of 0xf00-0xf7f",
      "0x1ffe-0x1fff be crc16 0x1021 0x0 - - 0x0 CRC-16/XMODEM of 0x1f38-0x1ffd"}));
  for (const ChecksumField& f : found.found) EXPECT_LT(f.chance, 1e-6) << describe(f);
  EXPECT_TRUE(found.complete);
}
