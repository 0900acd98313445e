// What the report says changes between files: the example data set, ext4
// images made by mke2fs, planted values and random files, checked against
// the files themselves and each format's own description.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "report_runner.h"

namespace {

using nlohmann::json;

std::string section(const std::string& table) {
  const std::size_t from = table.find("What changes between files");
  return table.substr(from, table.find("\n\n", from) + 1 - from);
}

std::vector<std::string> filesOf(const Sandbox& sb, const std::string& prefix, int count,
                                 const std::string& suffix = "") {
  std::vector<std::string> files;
  for (int i = 1; i <= count; ++i)
    files.push_back(slurp(sb.path(prefix + std::to_string(i) + suffix)));
  return files;
}

// The shipped example: its CRC-32 of bytes 0x00-0xfb stored little-endian
// at 0xfc, in the table, the JSON and the picture.
TEST(Explain, ExampleDataSet) {
  const Sandbox sb;
  const std::string examples = std::string(SOURCE_DIR) + "/examples";
  const Outcome r = run(sb, REPORT_BINARY,
                        {"-p", examples + "/project.txt", "--json", "r.json", "--html", "p.html"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(section(r.out).find("\n  0x000000fc-0x000000ff  checksum  CRC-32, little-endian, "
                                "of 0x0-0xfb\n"),
            std::string::npos)
      << r.out;
  const json report = json::parse(slurp(sb.path("r.json")));
  std::vector<std::string> files;
  for (const char* model : {"x100", "x200", "x300"})
    for (const char* region : {"eu", "us"})
      for (int i = 1; i <= 2; ++i)
        files.push_back(
            slurp(examples + "/dumps/" + model + "-" + region + "-" + std::to_string(i) + ".bin"));
  expectEveryChangeExplained(report, files);
  const json crc = json::parse(R"({"first_byte": 252, "last_byte": 255, "kind": "checksum",
      "algorithm": "crc", "width": 32, "byte_order": "little",
      "crc": {"poly": "0x04c11db7", "init": "0xffffffff", "refin": true, "refout": true,
              "xorout": "0xffffffff"},
      "name": "CRC-32/ISO-HDLC", "covers": {"first_byte": 0, "last_byte": 251},
      "description": "checksum  CRC-32, little-endian, of 0x0-0xfb"})");
  EXPECT_EQ(report["explained"].back(), crc);
  for (const json& field : report["explained"]) {  // the serial and MAC are random, not values
    if (field != crc) {
      EXPECT_NE(field["kind"], "checksum") << field;
    }
  }
  const std::string page = slurp(sb.path("p.html"));
  EXPECT_NE(page.find("<rect data-byte=\"252\" x=\"600\" y=\"30\" width=\"9\" height=\"9\" "
                      "fill=\"#1f77b4\" class=\"checksum\"><title>0x000000fc "
                      "0x000000fc-0x000000ff checksum  CRC-32, little-endian, of 0x0-0xfb"),
            std::string::npos);
  EXPECT_NE(page.find("<tr><td>0x000000fc-0x000000ff</td><td>4</td><td><span class=\"swatch\" "
                      "style=\"background:#1f77b4\"></span> checksum  CRC-32, little-endian, of "
                      "0x0-0xfb</td></tr>"),
            std::string::npos);
}

// Twelve ext4 images made by mke2fs, each with its own label. The
// superblock (1024 bytes at 1024) ends with s_checksum, the CRC-32C of the
// bytes before it with no final XOR, little-endian; the label is
// s_volume_name at 0x78 of the superblock. Every bit of the checksum tells
// the one-file groups apart: those bits come from the checksum.
TEST(Explain, Ext4SuperblockChecksumAndLabel) {
  const Sandbox sb;
  std::string project = "file label\n";
  for (int i = 1; i <= 12; ++i) {
    const std::string image = "d" + std::to_string(i);
    if (!runTools(sb, "truncate -s 1M " + image + " && mke2fs -q -F -t ext4 -L vol" +
                          std::to_string(i) + " " + image))
      GTEST_SKIP() << "mke2fs is missing";
    project += image + " vol" + std::to_string(i) + "\n";
  }
  sb.put("p.txt", project);
  const Outcome r = run(sb, REPORT_BINARY, {"-p", "p.txt", "--limit", "0", "--json", "r.json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string table = r.out;
  EXPECT_NE(section(table).find("\n  0x000007fc-0x000007ff  checksum  CRC-32C, no final XOR, "
                                "little-endian, of 0x400-0x7fb\n"),
            std::string::npos)
      << section(table);
  const json report = json::parse(slurp(sb.path("r.json")));
  expectEveryChangeExplained(report, filesOf(sb, "d", 12));
  bool checksum = false, label = false;
  for (const json& field : report["explained"]) {
    if (field["first_byte"] == 0x7fc) {
      checksum = true;
      EXPECT_EQ(field["crc"], json::parse(R"({"poly": "0x1edc6f41", "init": "0xffffffff",
          "refin": true, "refout": true, "xorout": "0x00000000"})"));
      EXPECT_EQ(field["name"], nullptr);
      EXPECT_EQ(field["covers"], json::parse(R"({"first_byte": 1024, "last_byte": 2043})"));
    }
    if (field["first_byte"] == 0x478) {
      label = true;
      EXPECT_EQ(field["kind"], "value");
      EXPECT_EQ(field["attribute"], "label");
    }
  }
  EXPECT_TRUE(checksum && label);
  // The checksum's informative bits are marked, listed apart, and nothing else is.
  std::size_t marked = 0;
  for (const char* key : {"regions", "fields"})
    for (const json& span : report["attributes"][0][key]) {
      const std::uint64_t first =
          span.count("first_byte") ? span["first_byte"] : span["byte_offset"];
      const bool inside = first >= 0x7fc && first <= 0x7ff;
      EXPECT_EQ(span.value("from_checksum", false), inside) << span;
      marked += inside;
    }
  EXPECT_GE(marked, 2u);
  EXPECT_EQ(table.find("\n  0x000007f"), table.find("\n  0x000007fc-0x000007ff  checksum"));
}

// Planted: each file's serial as u32le, a counter rising with the files'
// order, a time in November 2023, and text; the whole section, byte for byte.
TEST(Explain, PlantedValueCounterTimestampAndText) {
  const Sandbox sb;
  std::mt19937 random(5);
  std::string project = "file serial\n";
  std::uint32_t earliest = UINT32_MAX, latest = 0;
  for (int i = 1; i <= 12; ++i) {
    std::string data(64, '\0');
    for (int b = 0; b < 16; ++b) data[b] = static_cast<char>("HDR!"[b % 4] + b);
    const std::uint32_t serial = 1000000000 + random() % 3000000000U;
    const std::uint32_t time = 1700000000 + random() % (6 * 86400);
    std::memcpy(&data[0x10], &serial, 4);
    data[0x20] = static_cast<char>((1000 + 300 * i) >> 8);
    data[0x21] = static_cast<char>((1000 + 300 * i) & 0xff);
    std::memcpy(&data[0x28], &time, 4);
    earliest = std::min(earliest, time), latest = std::max(latest, time);
    const std::string text = "k" + std::to_string(100 + random() % 900);
    data.replace(0x30, 4, text);
    sb.put("f" + std::to_string(i), data);
    project += "f" + std::to_string(i) + " " + std::to_string(serial) + "\n";
  }
  sb.put("p.txt", project);
  const Outcome r = run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "r.json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const json report = json::parse(slurp(sb.path("r.json")));
  const std::string serial = report["attributes"][0]["groups"][0]["value"];
  EXPECT_EQ(section(r.out),
            "What changes between files: 4 fields\n"
            "  0x00000010-0x00000013  value  serial, u32le\n"
            "  0x0000001a-0x00000021  counter, rising with the files' order, u64be\n"
            "  0x00000028-0x0000002b  timestamp  unix-s-le, 2023-11-14 .. 2023-11-19\n"
            "  0x00000031-0x00000033  text  \"" +
                report["explained"][3]["examples"][0].get<std::string>() + "\", \"" +
                report["explained"][3]["examples"][1].get<std::string>() + "\", \"" +
                report["explained"][3]["examples"][2].get<std::string>() + "\"\n");
  EXPECT_EQ(report["explained"][0]["encoding"], "u32le");
  EXPECT_EQ(report["explained"][1]["direction"], "rising");
  EXPECT_EQ(report["explained"][2]["earliest"], earliest);
  EXPECT_EQ(report["explained"][2]["latest"], latest);
  expectEveryChangeExplained(report, filesOf(sb, "f", 12));
}

// Random files, each with its own number: nothing is a checksum or a value,
// and the bytes two random files share by chance do not split the field.
TEST(Explain, RandomFilesClaimNothing) {
  const Sandbox sb;
  std::mt19937_64 random(7);
  for (const int files : {6, 2}) {
    std::string project = "file id\n";
    for (int i = 1; i <= files; ++i) {
      std::string data(files == 2 ? 65536 : 4096, '\0');
      for (char& byte : data) byte = static_cast<char>(random());
      sb.put("r" + std::to_string(i), data);
      project += "r" + std::to_string(i) + " " + std::to_string(i) + "\n";
    }
    sb.put("p.txt", project);
    const json report = reportJson(sb, {"-p", "p.txt"});
    EXPECT_EQ(report["explained"], json::array({{{"first_byte", 0},
                                                 {"last_byte", files == 2 ? 65535 : 4095},
                                                 {"kind", "random"},
                                                 {"description", "random"}}}));
  }
}

}  // namespace
