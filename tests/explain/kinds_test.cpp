// What a changing run is when nothing else explains it: counters in the
// files' order or following a numeric attribute, binary and text times,
// text, random bytes and the rest, on planted runs at the start, middle and
// end of the files.
#include "explain/kinds.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Files = std::vector<std::vector<unsigned char>>;

void put(Files& files, std::size_t file, std::size_t pos, const std::string& bytes) {
  std::copy(bytes.begin(), bytes.end(), files[file].begin() + pos);
}

// One line per distinct classification of the changing runs.
std::vector<std::string> classify(const Files& files,
                                  const std::vector<AttributeValues>& attributes = {}) {
  const MemoryByteSource source(files);
  std::vector<std::string> kinds;
  for (const ByteRun& run : changingRuns(source)) {
    const RunClass c = classifyRun(source, run, attributes);
    std::string line = std::string(runKindName(c.kind)) + " " + std::to_string(c.firstByte) + "-" +
                       std::to_string(c.lastByte) + " " + c.encoding;
    if (c.kind == RunKind::kTimestamp)
      line += " " + std::to_string(c.earliest) + ".." + std::to_string(c.latest);
    if (c.kind == RunKind::kCounter) line += (c.rising ? " rising " : " falling ") + c.attribute;
    if (kinds.empty() || kinds.back() != line) kinds.push_back(line);
  }
  return kinds;
}

}  // namespace

TEST(RunKinds, CountersTimestampsTextRandomAndTheRest) {
  const std::size_t kFiles = 16;
  std::mt19937 random(4);
  Files files(kFiles, std::vector<unsigned char>(256, 0x55));
  for (std::size_t f = 0; f < kFiles; ++f) {
    const std::uint32_t count = 500 - 20 * f, time = 1700000000 + 86400 * ((f * 7) % 16);
    put(files, f, 8, {char(count >> 8), char(count)});  // falling u16be after a 0x55 byte
    put(files, f, 32, {char(time), char(time >> 8), char(time >> 16), char(time >> 24)});
    // 2023-11-14 22:13:20 and up to 15 minutes later, out of order, as DOS time then date.
    const unsigned dosTime = (22 << 11) | ((13 + (f * 5) % 16) << 5) | 10,
                   dosDate = (43 << 9) | (11 << 5) | 14;
    put(files, f, 48, {char(dosTime), char(dosTime >> 8), char(dosDate), char(dosDate >> 8)});
    put(files, f, 64, "id-" + std::to_string(1000 + random() % 9000));
    for (int i = 96; i < 160; ++i) files[f][i] = static_cast<unsigned char>(random());
    for (int i = 192; i < 224; ++i) files[f][i] = static_cast<unsigned char>(random() % 2);
  }
  EXPECT_EQ(classify(files),
            (std::vector<std::string>{"counter 8-9 u16be falling ",
                                      "timestamp 32-35 unix-s-le 1700000000..1701296000",
                                      "timestamp 48-51 dos 1700000000..1700000900", "text 67-70 ",
                                      "random 96-159 ", "unexplained 192-223 "}));
}

// 16 files: an ISO date and time at the start (its day one changing byte), tar's octal Unix
// seconds, a date with the month's name, counters following a shuffled attribute and one of pairs,
// a compact date at the end.
TEST(RunKinds, TextTimesAndCountersFollowingAnAttribute) {
  const std::size_t kFiles = 16;
  Files files(kFiles, std::vector<unsigned char>(160, 0x55));
  std::vector<AttributeValues> attributes = {{"level", {}}, {"batch", {}}};
  char text[32];
  for (std::size_t f = 0; f < kFiles; ++f) {
    const int day = static_cast<int>(f) + 1;
    std::snprintf(text, sizeof text, "2023-11-1%dT22:13:%02d", int(f % 10), int(f * 3));
    put(files, f, 0, text);
    std::snprintf(text, sizeof text, "%011o", 1700000000 + int(f) * 1000);
    put(files, f, 40, std::string(text, 12));
    std::snprintf(text, sizeof text, "Dec %2d 2023", day);
    put(files, f, 60, text);
    const unsigned level = (f * 7) % 16, rising = 1000 + 37 * level;
    put(files, f, 100, {char(rising), char(rising >> 8), 0, 0, 0, 0, 0, 0});
    const unsigned batch = f / 2, falling = 5000 - 50 * batch + f % 2;
    put(files, f, 140, {char(falling >> 8), char(falling)});
    std::snprintf(text, sizeof text, "202311%02d", day);
    put(files, f, 152, text);
    attributes[0].values.push_back(std::to_string(level));
    attributes[1].values.push_back(std::to_string(batch) + ".0");
  }
  const std::string nov1 = "1698796800..1700092800", dec1 = "1701388800..1702684800";
  EXPECT_EQ(
      classify(files, attributes),
      (std::vector<std::string>{
          "timestamp 0-18 ascii:YYYY-MM-DDThh:mm:ss 1699654380..1700432007",
          "timestamp 40-50 ascii-oct-unix 1700000000..1700015000",
          "timestamp 60-70 ascii:Mon DD YYYY " + dec1, "counter 100-107 u64le rising level",
          "counter 140-141 u16be falling batch", "timestamp 152-159 ascii:YYYYMMDD " + nov1}));
  // Without the attributes neither integer follows the files' order.
  for (const std::string& line : classify(files))
    EXPECT_EQ(line.find("counter"), std::string::npos) << line;
}

// 2 / N! of a random order rising, times the 16 readings tried: below one in a million from 11
// files on, not with 10. The counter ends the file.
TEST(RunKinds, ACounterInTheFilesOrderNeedsElevenFiles) {
  for (std::size_t count : {10u, 11u}) {
    Files files(count, std::vector<unsigned char>(16, 0xff));
    for (std::size_t f = 0; f < count; ++f) put(files, f, 12, {char(100 + 3 * f), 0, 0, 0});
    EXPECT_EQ(classify(files), std::vector<std::string>{count == 11 ? "counter 12-15 u32le rising "
                                                                    : "unexplained 12-12 "});
  }
}
