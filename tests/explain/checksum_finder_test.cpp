// The checksum finder on sets of files with planted checksums of every
// family, on random and compressed data, and on PNGs with stored deflate made
// at test time, whose chunk CRC-32s and zlib Adler-32 the PNG and zlib
// documents place.
#include "explain/checksum_finder.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "explain/kinds.h"

namespace {

using Files = std::vector<std::vector<unsigned char>>;

std::vector<ByteRun> changingRuns(const Files& files) {
  return changingRuns(MemoryByteSource(files));
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
  // Stores in every file the checksum of its bytes [first, end), computed after the earlier
  // plantings.
  void plant(std::size_t pos, unsigned size, FieldOrder order, std::size_t first, std::size_t end,
             const std::function<std::uint64_t(const unsigned char*, std::size_t)>& checksum) {
    for (auto& file : files) {
      const std::uint64_t value = checksum(file.data() + first, end - first);
      for (unsigned k = 0; k < size; ++k)
        file[pos + (order == FieldOrder::kBig ? size - 1 - k : k)] =
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
                     (f.byteOrder == FieldOrder::kBig    ? " be "
                      : f.byteOrder == FieldOrder::kText ? " text "
                                                         : " le ");
  if (f.isCrc)
    text += "crc" + std::to_string(f.crc.width) + " " + hex(f.crc.poly) + " " + hex(f.crc.init) +
            (f.crc.refin ? " in" : " -") + (f.crc.refout ? " out " : " - ") + hex(f.crc.xorout) +
            " " + (f.name ? f.name : "unnamed");
  else
    text += sumName(f.sum);
  return text + " of " + hex(f.coversFirst) + "-" + hex(f.coversLast) +
         (f.fieldAsZeros ? " field as zeros" : "") + (f.fieldAsBlanks ? " field as blanks" : "");
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

constexpr auto kLe = FieldOrder::kLittle;
constexpr auto kBe = FieldOrder::kBig;

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
  EXPECT_EQ(
      describe(found.found),
      (std::vector<std::string>{
          "0x180-0x183 be crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC of "
          "0xf0-0x17f",
          "0x300-0x303 le crc32 0x1edc6f41 0xffffffff in out 0x0 unnamed of 0x310-0x37f",
          "0x580-0x583 be Adler-32 of 0x500-0x57f", "0x700-0x701 le Fletcher-16 of 0x680-0x6ff",
          "0x900-0x903 le Fletcher-32 of 0x880-0x8ff",
          "0xa40-0xa41 be 16-bit sum of u16be words of 0xa00-0xa7f field as zeros",
          "0xb80-0xb80 le 8-bit sum of bytes, two's complement of 0xb00-0xb7f",
          "0xc80-0xc80 le 8-bit XOR of bytes of 0xc00-0xc7f",
          "0xd80-0xd83 le 32-bit sum of u32le words of 0xd00-0xd7f",
          "0xe80-0xe80 le crc8 0x7 0x0 - - 0x0 CRC-8/SMBUS of 0xe00-0xe7f",
          "0xf80-0xf87 le crc64 0x42f0e1eba9ea3693 0xffffffffffffffff in out 0xffffffffffffffff "
          "CRC-64/XZ of 0xf00-0xf7f",
          "0x1ffe-0x1fff be crc16 0x1021 0x0 - - 0x0 CRC-16/XMODEM of 0x1f38-0x1ffd"}));
  for (const ChecksumField& f : found.found) EXPECT_LT(f.chance, 1e-6) << describe(f);
  EXPECT_TRUE(found.complete);
}

// Ranges longer than one read, starting off the word grid, so that words straddle the reads.
TEST(ChecksumFinder, RangesAcrossReads) {
  PlantedSet set(4, 0x14000);
  set.randomize(0x1001, 0x13000);
  set.plant(0x13000, 4, kLe, 0x1000, 0x13000, sum({SumKind::kSum, 32, 4, false}));
  set.plant(0x13004, 4, kBe, 0x1000, 0x13004, crc(crcCatalogue()[0].params));
  EXPECT_EQ(describe(set.search().found),
            (std::vector<std::string>{
                "0x13000-0x13003 le 32-bit sum of u32le words of 0x1000-0x12fff",
                "0x13004-0x13007 be crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC "
                "of 0x1000-0x13003"}));
}

// The benchmark's layout at 1 MiB: 4 KiB pages whose first 64 bytes vary, each with its checksum
// after it (before it for the CRC-16), MiBs of equal bytes apart; then a CRC-32C and an Adler-32
// over 64 KiB ranges whose changing bytes lie at both ends, farther apart than a range may end
// past its changing bytes.
TEST(ChecksumFinder, PagesFarApartAndRangesOverLongStretches) {
  PlantedSet set(16, 1 << 20);
  const auto named = [](const std::string& name) {
    for (const NamedCrc& entry : crcCatalogue())
      if (entry.name == name) return entry.params;
    ADD_FAILURE() << name;
    return CrcParams{};
  };
  set.randomize(0x300, 0x310);
  set.randomize(0x10000, 0x10040);
  set.plant(0x11000, 4, kLe, 0x10000, 0x11000, crc(named("CRC-32/ISO-HDLC")));
  set.randomize(0x40002, 0x40042);
  set.plant(0x40000, 2, kBe, 0x40002, 0x41002, crc(named("CRC-16/IBM-3740")));
  set.randomize(0x80000, 0x80040);
  set.plant(0x81000, 4, kBe, 0x80000, 0x81000, sum({SumKind::kAdler32, 32, 1, false}));
  set.randomize(0xa0000, 0xa0040);
  set.plant(0xa1000, 2, kLe, 0xa0000, 0xa1000, sum({SumKind::kSum, 16, 1, false}));
  set.randomize(0xc0000, 0xc0040);
  set.randomize(0xcffc0, 0xd0000);
  set.plant(0xd0000, 4, kLe, 0xc0000, 0xd0000, crc(named("CRC-32/ISCSI")));
  set.randomize(0xe0000, 0xe0040);
  set.randomize(0xeffc0, 0xf0000);
  set.plant(0xf0000, 4, kBe, 0xe0000, 0xf0000, sum({SumKind::kAdler32, 32, 1, false}));
  const ChecksumSearch found = set.search();
  EXPECT_EQ(describe(found.found),
            (std::vector<std::string>{
                "0x11000-0x11003 le crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC "
                "of 0x10000-0x10fff",
                "0x40000-0x40001 be crc16 0x1021 0xffff - - 0x0 CRC-16/IBM-3740 of 0x40002-0x41001",
                "0x81000-0x81003 be Adler-32 of 0x80000-0x80fff",
                "0xa1000-0xa1001 le 16-bit sum of bytes of 0xa0000-0xa0fff",
                "0xd0000-0xd0003 le crc32 0x1edc6f41 0xffffffff in out 0xffffffff CRC-32/ISCSI of "
                "0xc0000-0xcffff",
                "0xf0000-0xf0003 be Adler-32 of 0xe0000-0xeffff"}));
  EXPECT_TRUE(found.complete);
}

TEST(ChecksumFinder, PolynomialsOutsideTheCatalogueWithTheirParameters) {
  PlantedSet set(8, 0x800);
  const CrcParams crc16{16, 0x3d65, 0xffff, true, true, 0xffff};
  const CrcParams crc32{32, 0x741b8cd7, 0, false, false, 0xffffffff};
  set.randomize(0x100, 0x164);
  set.plant(0x164, 2, kLe, 0x100, 0x164, crc(crc16));
  set.randomize(0x400, 0x464);
  set.plant(0x464, 4, kBe, 0x3f0, 0x464, crc(crc32));
  EXPECT_EQ(describe(set.search().found),
            (std::vector<std::string>{
                "0x164-0x165 le crc16 0x3d65 0xffff in out 0xffff unnamed of 0x100-0x163",
                "0x464-0x467 be crc32 0x741b8cd7 0x0 - - 0xffffffff unnamed of 0x3f0-0x463"}));
}

// CRCs whose range holds their field, read as zeros: a GPT-like header whose range starts in
// bytes equal everywhere, and a CRC-16 near the end of the file.
TEST(ChecksumFinder, CrcsAroundTheirField) {
  PlantedSet set(6, 0x800);
  for (auto& file : set.files) file[0x210] = file[0x211] = file[0x212] = file[0x213] = 0;
  set.randomize(0x238, 0x248);
  set.randomize(0x258, 0x25c);
  set.plant(0x210, 4, kLe, 0x200, 0x25c, crc(crcCatalogue()[0].params));
  for (auto& file : set.files) file[0x7f0] = file[0x7f1] = 0;
  set.randomize(0x7c0, 0x7e0);
  set.randomize(0x7f2, 0x7f8);
  set.plant(0x7f0, 2, kBe, 0x7c0, 0x7f8, crc(crcCatalogue()[8].params));
  EXPECT_EQ(describe(set.search().found),
            (std::vector<std::string>{
                "0x210-0x213 le crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC of "
                "0x200-0x25b field as zeros",
                "0x7f0-0x7f1 be crc16 0x1021 0x0 - - 0x0 CRC-16/XMODEM of 0x7c0-0x7f7 field as "
                "zeros"}));
}

TEST(ChecksumFinder, TooFewFilesOrStartsAreSaid) {
  PlantedSet set(3, 0x400);
  set.randomize(0x100, 0x140);
  set.plant(0x140, 1, kLe, 0x100, 0x140, sum({SumKind::kSum, 8, 1, false}));
  const ChecksumSearch found = set.search();
  EXPECT_TRUE(found.found.empty()) << describe(found.found)[0];
  ASSERT_FALSE(found.tooFewFiles.empty());
  EXPECT_GT(found.tooFewFiles[0].chance, 1e-6);
  EXPECT_TRUE(found.complete);
  // Two files cannot check what they fit; a search cut short says so.
  const Files two(set.files.begin(), set.files.begin() + 2);
  EXPECT_FALSE(findChecksums(MemoryByteSource(two), changingRuns(two)).complete);
  ChecksumLimits limits;
  limits.maxStarts = 1;
  EXPECT_FALSE(
      findChecksums(MemoryByteSource(set.files), changingRuns(set.files), limits).complete);
}

// The output of a shell command, run in a fresh temporary directory.
std::string run(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  char buffer[4096];
  for (std::size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    out.append(buffer, n);
  if (pipe) pclose(pipe);
  return out;
}

TEST(ChecksumFinder, NothingOnRandomOrCompressedData) {
  PlantedSet random(8, 0x1000);
  random.randomize(0, 0x1000);
  EXPECT_EQ(describe(random.search().found), std::vector<std::string>{});
  // gzip bodies of different texts, cut to one length: the trailer's CRC-32 is gone with the cut.
  Files bodies;
  for (int seed = 0; seed < 8; ++seed) {
    const std::string body = run("seq " + std::to_string(seed + 1) + " 7 30000 | gzip -n -9");
    bodies.emplace_back(body.begin() + 10, body.end() - 8);
  }
  std::size_t shortest = bodies[0].size();
  for (const auto& body : bodies) shortest = std::min(shortest, body.size());
  ASSERT_GT(shortest, 1000u);
  for (auto& body : bodies) body.resize(shortest);
  EXPECT_EQ(describe(findChecksums(MemoryByteSource(bodies), changingRuns(bodies)).found),
            std::vector<std::string>{});
}

// PNGs of 16 x 16 random RGB pixels whose zlib stream is stored (level 0): after the signature
// and the 25-byte IHDR chunk, IDAT's length at 33 and type at 37, the zlib header at 41, the
// stored block's header at 43-47, the 16 rows of a filter byte and 48 pixel bytes at 48, the
// Adler-32 of those rows at 832 and the chunk's CRC-32 of type and data at 836, both big-endian.
TEST(ChecksumFinder, StoredDeflatePngChunkCrcsAndAdler) {
  const std::string script =
      "import random, struct, sys, zlib\n"
      "def chunk(kind, data):\n"
      "    return struct.pack('>I', len(data)) + kind + data + "
      "struct.pack('>I', zlib.crc32(kind + data))\n"
      "for seed in range(6):\n"
      "    random.seed(seed)\n"
      "    rows = b''.join(b'\\0' + bytes(random.randrange(256) for _ in range(48)) "
      "for _ in range(16))\n"
      "    ihdr = struct.pack('>IIBBBBB', 16, 16, 8, 2, 0, 0, 0)\n"
      "    sys.stdout.buffer.write(b'\\x89PNG\\r\\n\\x1a\\n' + chunk(b'IHDR', ihdr) + "
      "chunk(b'IDAT', zlib.compress(rows, 0)) + chunk(b'IEND', b''))\n";
  const std::string out = run("python3 -c \"" + script + "\"");
  ASSERT_EQ(out.size(), 6u * 852);
  Files pngs;
  for (int i = 0; i < 6; ++i) pngs.emplace_back(out.begin() + i * 852, out.begin() + (i + 1) * 852);
  EXPECT_EQ(describe(findChecksums(MemoryByteSource(pngs), changingRuns(pngs)).found),
            (std::vector<std::string>{
                "0x340-0x343 be Adler-32 of 0x30-0x33f",
                "0x344-0x347 be crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC of "
                "0x25-0x343"}));
}

// ext4 images that differ only in their label (same UUID, hash seed and time): the superblock at
// 0x400 keeps its label at 0x78 and, at 0x3fc, the CRC-32C register of bytes 0x000-0x3fb
// without the final XOR, little-endian.
TEST(ChecksumFinder, Ext4SuperblockCrc32cWithoutFinalXor) {
  if (run("command -v mke2fs").empty()) GTEST_SKIP() << "mke2fs is not installed";
  char dir[] = "/tmp/ovrell-explain-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  Files images;
  for (const char* label : {"alpha", "beta", "gamma", "delta"}) {
    const std::string image = std::string(dir) + "/" + label;
    const std::string out = run(
        "truncate -s 1M " + image + " && E2FSPROGS_FAKE_TIME=1700000000 mke2fs -q -F -t ext4 -L " +
        label + " -U 01234567-89ab-cdef-0123-456789abcdef -E hash_seed=" +
        "01234567-89ab-cdef-0123-456789abcdef " + image + " >/dev/null 2>&1 && cat " + image);
    images.emplace_back(out.begin(), out.end());
    ASSERT_EQ(images.back().size(), 1u << 20);
  }
  run(std::string("rm -r ") + dir);
  EXPECT_EQ(describe(findChecksums(MemoryByteSource(images), changingRuns(images)).found),
            std::vector<std::string>{
                "0x7fc-0x7ff le crc32 0x1edc6f41 0xffffffff in out 0x0 unnamed of 0x400-0x7fb"});
}

// ustar archives of one 700-byte file of random bytes, each with its own time: the header's
// checksum at 148 is the sum of its 512 bytes with the checksum read as blanks, written as six
// octal digits, a NUL and a blank.
TEST(ChecksumFinder, TarHeaderChecksumAsOctalText) {
  if (run("command -v tar").empty()) GTEST_SKIP() << "tar is not installed";
  char dir[] = "/tmp/ovrell-explain-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  Files archives;
  for (int i = 0; i < 6; ++i) {
    const std::string out =
        run(std::string("cd ") + dir + " && head -c 700 /dev/urandom > data.bin && touch -d @" +
            std::to_string(1700000000 + i * 7919) +
            " data.bin && tar --format=ustar --owner=0 --group=0 --numeric-owner -cf - data.bin");
    archives.emplace_back(out.begin(), out.end());
    ASSERT_EQ(archives.back().size(), 10240u);
  }
  run(std::string("rm -r ") + dir);
  EXPECT_EQ(
      describe(findChecksums(MemoryByteSource(archives), changingRuns(archives)).found),
      std::vector<std::string>{"0x94-0x9b text 32-bit sum of bytes of 0x0-0x1ff field as blanks"});
  // The modification time at 136 is eleven octal digits of Unix seconds and a NUL.
  const MemoryByteSource source(archives);
  int times = 0;
  for (const ByteRun& run : changingRuns(source)) {
    if (run.first < 136 || run.last > 146) continue;
    ++times;
    const RunClass c = classifyRun(source, run);
    EXPECT_EQ(std::to_string(c.firstByte) + "-" + std::to_string(c.lastByte) + " " + c.encoding +
                  " " + std::to_string(c.earliest) + ".." + std::to_string(c.latest),
              "136-146 ascii-oct-unix 1700000000..1700039595");
  }
  EXPECT_EQ(times, 1);
}

// Zip archives of one stored file of 700 random bytes, made with no extra fields (-X) and one
// time: the local header's CRC-32 of the data sits at 14, before the data at 31 (its 30 bytes
// and a one-byte name), and again in the central directory's header at 731 + 16.
TEST(ChecksumFinder, ZipLocalHeaderCrcBeforeItsRange) {
  if (run("command -v zip").empty()) GTEST_SKIP() << "zip is not installed";
  Files archives;
  for (int i = 0; i < 4; ++i) {
    const std::string out =
        run("d=$(mktemp -d) && cd $d && head -c 700 /dev/urandom > d && touch -d @1700000000 d && "
            "zip -q -X -0 a.zip d && cat a.zip && rm -r $d");
    archives.emplace_back(out.begin(), out.end());
    ASSERT_EQ(archives.back().size(), 800u);
  }
  const std::string crc32 = " le crc32 0x4c11db7 0xffffffff in out 0xffffffff CRC-32/ISO-HDLC of ";
  EXPECT_EQ(describe(findChecksums(MemoryByteSource(archives), changingRuns(archives)).found),
            (std::vector<std::string>{"0xe-0x11" + crc32 + "0x1f-0x2da",
                                      "0x2eb-0x2ee" + crc32 + "0x1f-0x2da"}));
}
