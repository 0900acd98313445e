// The value finder on planted fields of every kind of encoding, next to
// bytes that are the same everywhere, and on random bytes where a small
// value would match by chance.
#include "explain/values.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using Files = std::vector<std::vector<unsigned char>>;

std::vector<ByteRun> changingRuns(const Files& files) {
  return changingRuns(MemoryByteSource(files));
}

std::vector<std::string> describe(const std::vector<ValueField>& fields) {
  std::vector<std::string> out;
  for (const ValueField& f : fields)
    out.push_back(std::to_string(f.firstByte) + "-" + std::to_string(f.lastByte) + " " +
                  f.attribute + " " + f.encoding + " " + f.readAs);
  return out;
}

void put(Files& files, std::size_t file, std::size_t pos, const std::string& bytes) {
  std::copy(bytes.begin(), bytes.end(), files[file].begin() + pos);
}

}  // namespace

TEST(ValueFinder, EveryEncodingAtItsNaturalWidth) {
  const std::size_t kFiles = 12;
  std::mt19937 random(3);
  Files files(1, std::vector<unsigned char>(512));
  for (auto& byte : files[0]) byte = static_cast<unsigned char>(random());
  files.resize(kFiles, files[0]);
  std::vector<AttributeValues> attributes = {{"rate", {}},   {"serial", {}}, {"mtime", {}},
                                             {"offset", {}}, {"name", {}},   {"size", {}}};
  const int rates[] = {16000, 44100, 8000};
  const char* names[] = {"alpha", "beta", "gamma", "delta"};
  for (std::size_t f = 0; f < kFiles; ++f) {
    const int rate = rates[f % 3];
    put(files, f, 24, {char(rate & 0xff), char(rate >> 8), 0, 0});  // u32le, top bytes zero
    const std::uint32_t serial = random();
    put(files, f, 39, {char(serial), char(serial >> 8), char(serial >> 16), char(serial >> 24)});
    char text[16];
    std::snprintf(text, sizeof text, "%011o", 1700000000 + static_cast<int>(f) * 3600);
    put(files, f, 136, std::string(text, 12));  // octal, zero-padded, NUL-terminated
    const int offset = f % 2 ? -5 * static_cast<int>(f) : 7 * static_cast<int>(f);
    put(files, f, 300, {char((offset >> 8) & 0xff), char(offset & 0xff)});
    put(files, f, 400, std::string(names[f % 4]) + '\0');
    const int size = f * f * f * 7;  // decimal right-aligned in 6 blanks
    std::snprintf(text, sizeof text, "%6d", size);
    put(files, f, 450, text);
    attributes[0].values.push_back(std::to_string(rate));
    std::snprintf(text, sizeof text, "%08x", serial);
    attributes[1].values.push_back(text);
    attributes[2].values.push_back(std::to_string(1700000000 + f * 3600));
    attributes[3].values.push_back(std::to_string(offset));
    attributes[4].values.push_back(names[f % 4]);
    attributes[5].values.push_back(std::to_string(size));
  }
  EXPECT_EQ(
      describe(findValues(MemoryByteSource(files), changingRuns(files), attributes)),
      (std::vector<std::string>{"24-27 rate u32le decimal", "39-42 serial u32le hex",
                                "136-146 mtime ascii-oct decimal", "300-301 offset i16be decimal",
                                "400-404 name text text", "450-455 size ascii-dec decimal"}));
}

TEST(ValueFinder, NoSmallValueClaimedOnRandomBytes) {
  std::mt19937 random(9);
  Files files(4, std::vector<unsigned char>(4096));
  AttributeValues level{"level", {}};
  for (auto& file : files) {
    for (auto& byte : file) byte = static_cast<unsigned char>(random());
    level.values.push_back(std::to_string(file[2000]));  // there by construction, yet chance
  }
  EXPECT_EQ(describe(findValues(MemoryByteSource(files), changingRuns(files), {level})),
            std::vector<std::string>{});
}

// Packed BCD at the start, middle and end: a serial in four bytes, a number with its nibbles
// swapped, and a small count right-aligned in four bytes of zeros.
TEST(ValueFinder, PackedBcdBothNibbleOrders) {
  const std::size_t kFiles = 12;
  std::mt19937 random(7);
  Files files(1, std::vector<unsigned char>(512));
  for (auto& byte : files[0]) byte = static_cast<unsigned char>(random() | 1);
  files.resize(kFiles, files[0]);
  std::vector<AttributeValues> attributes = {{"serial", {}}, {"id", {}}, {"count", {}}};
  for (std::size_t f = 0; f < kFiles; ++f) {
    const int serial = 12345678 + 1111111 * static_cast<int>(f), id = 123 + 11 * f,
              count = 7 + 3 * f;
    const auto bcd = [](int twoDigits) { return char((twoDigits / 10) << 4 | twoDigits % 10); };
    const auto swapped = [](int twoDigits) { return char((twoDigits % 10) << 4 | twoDigits / 10); };
    put(files, f, 0,
        {bcd(serial / 1000000), bcd(serial / 10000 % 100), bcd(serial / 100 % 100),
         bcd(serial % 100)});
    put(files, f, 200, {swapped(id / 100), swapped(id % 100)});
    put(files, f, 508, {0, 0, 0, bcd(count)});
    attributes[0].values.push_back(std::to_string(serial));
    attributes[1].values.push_back(std::to_string(id));
    attributes[2].values.push_back(std::to_string(count));
  }
  EXPECT_EQ(describe(findValues(MemoryByteSource(files), changingRuns(files), attributes)),
            (std::vector<std::string>{"0-3 serial bcd decimal", "200-201 id bcd-swapped decimal",
                                      "508-511 count bcd decimal"}));
}

// FAT volumes that differ only in their volume serial, given to mkfs.fat in hex: the boot
// sector keeps it as a u32le at 0x27 on FAT12, at 0x43 on FAT32, whose backup boot sector at
// sector 6 repeats it.
TEST(ValueFinder, FatVolumeSerial) {
  const std::string mkfs = "PATH=$PATH:/sbin:/usr/sbin mkfs.fat";
  if (std::system((mkfs + " --help >/dev/null 2>&1").c_str()) != 0)
    GTEST_SKIP() << "mkfs.fat is not installed";
  AttributeValues serial{"serial", {"1234abcd", "89ef0011", "0badcafe", "7fffffff"}};
  for (const std::string options : {"160", "-F 32 2048"}) {
    Files volumes;
    for (const std::string& id : serial.values) {
      const std::string command = "d=$(mktemp -d) && " + mkfs + " -C -i " + id + " $d/v " +
                                  options + " >/dev/null 2>&1 && cat $d/v && rm -r $d";
      FILE* pipe = popen(command.c_str(), "r");
      ASSERT_NE(pipe, nullptr);
      std::vector<unsigned char> volume;
      for (int c; (c = std::fgetc(pipe)) != EOF;) volume.push_back(static_cast<unsigned char>(c));
      pclose(pipe);
      ASSERT_EQ(volume.size(), (options == "160" ? 160u : 2048u) * 1024);
      volumes.push_back(volume);
    }
    const std::vector<std::string> expected =
        options == "160"
            ? std::vector<std::string>{"39-42 serial u32le hex"}
            : std::vector<std::string>{"67-70 serial u32le hex", "3139-3142 serial u32le hex"};
    EXPECT_EQ(describe(findValues(MemoryByteSource(volumes), changingRuns(volumes), {serial})),
              expected);
  }
}

// gzip members of one file stamped with different times: the header keeps MTIME, the file's
// modification time in Unix seconds, little-endian at bytes 4-7.
TEST(ValueFinder, GzipMtimeAsTheFilesOwnTime) {
  AttributeValues mtime{"mtime", {}};
  Files members;
  for (int i = 0; i < 4; ++i) {
    const std::string time = std::to_string(1700000000 + i * 654321);
    const std::string command = "d=$(mktemp -d) && printf 'same text' > $d/f && touch -d @" + time +
                                " $d/f && gzip -c $d/f && rm -r $d";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<unsigned char> member;
    for (int c; (c = std::fgetc(pipe)) != EOF;) member.push_back(static_cast<unsigned char>(c));
    pclose(pipe);
    members.push_back(member);
    mtime.values.push_back(time);
  }
  ASSERT_GT(members[0].size(), 20u);
  EXPECT_EQ(describe(findValues(MemoryByteSource(members), changingRuns(members), {mtime})),
            std::vector<std::string>{"4-7 mtime u32le decimal"});
}
