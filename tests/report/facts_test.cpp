// What the report says beyond where the bits are: the informative bits
// expected by chance and the regions that are likely chance, the groups no
// bit tells apart, and the regions read as numbers and text, on WAV files
// made by Python's wave module and on random files.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "report_runner.h"

namespace {

using nlohmann::json;

// Six mono 16-bit WAV files of the same 400 frames at three sample rates,
// two copies each; the tone is stored nowhere: 220 for both 8000 Hz files,
// 440 and 880 for one of each of the others.
void writeWaves(const Sandbox& sb) {
  sb.put("make.py",
         "import math, wave\n"
         "frames = b''.join(int(9000 * math.sin(k / 7)).to_bytes(2, 'little', signed=True)\n"
         "                  for k in range(400))\n"
         "for rate in (8000, 16000, 44100):\n"
         "    for copy in 'ab':\n"
         "        w = wave.open(f'{rate}{copy}.wav', 'wb')\n"
         "        w.setnchannels(1); w.setsampwidth(2); w.setframerate(rate)\n"
         "        w.writeframes(frames); w.close()\n");
  ASSERT_EQ(std::system(("cd '" + sb.dir + "' && python3 make.py").c_str()), 0);
  sb.put("p.txt",
         "file rate tone\n8000a.wav 8000 220\n8000b.wav 8000 220\n16000a.wav 16000 440\n"
         "16000b.wav 16000 880\n44100a.wav 44100 440\n44100b.wav 44100 880\n");
}

// The sample rate (bytes 24-27, little-endian) and the byte rate (28-31,
// twice the rate here) are the informative bytes; the rate is read as the
// groups' own values, widened over its zero high bytes, and the groups sort
// as numbers. The tone tells 220 from the others, never 440 from 880.
TEST(ReportFacts, WaveRatesDecodedAndAToneStoredNowhere) {
  const Sandbox sb;
  writeWaves(sb);
  EXPECT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt"}).out,
            "6 files of 844 bytes (6752 bits)\n\n"
            "What changes between files: 2 fields\n"
            "  0x00000018-0x0000001b  value  rate, u32le\n"
            "  0x0000001c-0x0000001e  unexplained\n\n"
            "attribute rate: 3 groups\n"
            "  8000   2 files\n"
            "  16000  2 files\n"
            "  44100  2 files\n"
            "  bits: 16 informative (1.55 expected by chance), 6736 constant, 0 varying\n"
            "  2 regions, 10 fields, 11 stretches\n"
            "  bytes                  length  8000             16000            44100\n"
            "  0x00000018-0x00000019       2  40 1f            80 3e            44 ac\n"
            "    as u32le at 0x00000018-0x0000001b: rate = 8000, 16000, 44100\n"
            "  0x0000001c-0x0000001e       3  80 3e 00         00 7d 00         88 58 01\n"
            "    as u32le at 0x0000001c-0x0000001f: 16000, 32000, 88200\n\n"
            "attribute tone: 3 groups\n"
            "  220  2 files\n"
            "  440  2 files\n"
            "  880  2 files\n"
            "  bits: 4 informative (1.55 expected by chance), 6736 constant, 12 varying\n"
            "  2 regions, 4 fields, 0 stretches\n"
            "  cannot tell apart: 440, 880\n"
            "  bytes                  length  220      440      880\n"
            "  0x00000019-0x00000019       1  1f       ??       ??\n"
            "  0x0000001d-0x0000001d       1  3e  \">\"  ??       ??\n");
  const json rate = reportJson(sb, {"-p", "p.txt", "rate"})["attributes"][0];
  EXPECT_EQ(rate["regions"][0]["decoded"], json::parse(R"({"encoding": "u32le",
      "first_byte": 24, "last_byte": 27, "values": {"8000": 8000, "16000": 16000,
      "44100": 44100}, "is_value": true})"));
  const json tone = reportJson(sb, {"-p", "p.txt", "tone"})["attributes"][0];
  EXPECT_EQ(tone["indistinct_groups"], json::parse(R"([["440", "880"]])"));
  EXPECT_EQ(tone["stretches"].size(), 0u);
  // Reordered bytes are decoded as the scan saw them.
  const std::string swapped = run(sb, REPORT_BINARY, {"-p", "p.txt", "-e", "2", "rate"}).out;
  EXPECT_NE(swapped.find("\n    as u16be at 0x00000018-0x00000019: rate = 8000, 16000, 44100\n"),
            std::string::npos)
      << swapped;
}

// The informative bits a bit varying at random gives among `notConstant`,
// counted over every way of setting it in the files of `groups` (each file's
// group): the ways uniform in every group but not in all files, over the
// ways not the same in all files.
double directChance(const std::vector<int>& groups, std::uint64_t notConstant) {
  const unsigned files = static_cast<unsigned>(groups.size());
  double uniform = 0;
  for (unsigned bits = 1; bits + 1 < (1U << files); ++bits) {
    bool same = true;
    for (unsigned a = 0; a < files; ++a)
      for (unsigned b = 0; b < files; ++b)
        same = same && (groups[a] != groups[b] || ((bits >> a) & 1) == ((bits >> b) & 1));
    uniform += same;
  }
  return uniform / ((1U << files) - 2) * static_cast<double>(notConstant);
}

// Twelve files of 1600 random bytes (12,800 bits): g puts file i in group
// i % 3, with a real field in byte 800; h puts it in group i / 4, with 30
// one-bit fields among bytes that vary (more than chance gives); u in
// groups of 5, 3, 2, 1 and 1 files; id one file a group; one all in one.
TEST(ReportFacts, ChanceOnRandomFiles) {
  const Sandbox sb;
  std::mt19937 random(11);
  const std::vector<int> g{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2},
      h{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2}, u{0, 0, 0, 0, 0, 1, 1, 1, 2, 2, 3, 4},
      id{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  std::string project = "file g h u id one\n";
  for (int i = 0; i < 12; ++i) {
    std::string data(1600, '\0');
    for (char& byte : data) byte = static_cast<char>(random());
    data[800] = static_cast<char>(0x11 << g[i]);
    for (int k = 0; k < 30; ++k)
      data[1000 + 2 * k] = static_cast<char>((data[1000 + 2 * k] & 0xFE) | (h[i] == 1));
    sb.put("f" + std::to_string(i), data);
    project += "f" + std::to_string(i) + " g" + std::to_string(g[i]) + " h" + std::to_string(h[i]) +
               " " + std::to_string(u[i]) + " " + std::to_string(id[i]) + " x\n";
  }
  sb.put("p.txt", project);
  const json attributes = reportJson(sb, {"-p", "p.txt"})["attributes"];
  const std::vector<int>* layouts[] = {&g, &h, &u, &id};
  for (int a = 0; a < 4; ++a) {
    const json& bits = attributes[a]["bits"];
    const double expected = directChance(*layouts[a], bits["informative"].get<std::uint64_t>() +
                                                          bits["varying"].get<std::uint64_t>());
    EXPECT_NEAR(attributes[a]["chance_bits"].get<double>(), expected, 1e-5 * expected)
        << attributes[a]["name"];
  }
  EXPECT_NEAR(attributes[0]["chance_bits"].get<double>(), 18.75, 0.01);
  // g: every region but the real field is likely chance; h: none is.
  int chance = 0;
  for (const json& region : attributes[0]["regions"]) {
    EXPECT_EQ(region["likely_chance"], region["first_byte"] != 800) << region;
    chance += region["likely_chance"].get<bool>();
  }
  EXPECT_GT(chance, 10);
  for (const json& region : attributes[1]["regions"]) EXPECT_FALSE(region["likely_chance"]);
  const std::string text = run(sb, REPORT_BINARY, {"-p", "p.txt", "--limit", "0"}).out;
  EXPECT_NE(text.find("  bytes                  length  g0       g1       g2\n"
                      "  0x00000320-0x00000320       1  11       22  \"\\\"\"  44  \"D\"\n"
                      "    as u8 at 0x00000320-0x00000320: 17, 34, 68\n"
                      "  likely chance:\n"
                      "  0x0000004b-0x0000004b       1  ??       ??       ??\n"),
            std::string::npos);
  EXPECT_GT(text.find("  likely chance:\n", text.find("attribute h:")), text.find("attribute u:"));
  EXPECT_NE(text.find("attribute id: 12 groups\n  bits: 12794 informative (12794.00 expected by "
                      "chance), 6 constant, 0 varying\n"),
            std::string::npos);
  EXPECT_NE(text.find("  every group holds one file: the bytes that differ are explained under "
                      "\"What changes between files\"\n\nattribute one: 1 group\n  x  12 files\n"),
            std::string::npos);
  EXPECT_GT(attributes[3]["regions"].size(), 0u);
}

// A big-endian signed level at bytes 4-5 between zeros, and "colour=red;"
// or "colour=tan;" at bytes 8-18: the level reads as its negative and
// positive values, the colour as its own text inside the constant text
// around it, and an attribute the text is not reads as the whole text.
TEST(ReportFacts, SignedAndTextValues) {
  const Sandbox sb;
  const char* const levels[] = {"\xff\xfe", "\x00\x05", "\x01\x2c"};  // -2, 5, 300
  std::string project = "file level colour hue\n";
  for (int i = 0; i < 6; ++i) {
    const std::string colour = i < 3 ? "red" : "tan";
    sb.put("f" + std::to_string(i), std::string(4, '\0') + std::string(levels[i % 3], 2) +
                                        std::string(2, '\0') + "colour=" + colour + ";" +
                                        std::string(5, '\0'));
    project += "f" + std::to_string(i) + " " + std::vector<std::string>{"-2", "5", "300"}[i % 3] +
               " " + colour + (i < 3 ? " warm\n" : " cool\n");
  }
  sb.put("p.txt", project);
  const std::string out = run(sb, REPORT_BINARY, {"-p", "p.txt"}).out;
  for (const char* line :
       {"  -2   2 files\n  5    2 files\n  300  2 files\n",
        "\n    as i16be at 0x00000004-0x00000005: level = -2, 5, 300\n",
        "\n    as text at 0x0000000f-0x00000011: colour = \"red\", \"tan\"\n",
        "\n    as text at 0x00000008-0x00000012: \"colour=tan;\", \"colour=red;\"\n"})
    EXPECT_NE(out.find(line), std::string::npos) << line << out;
}

}  // namespace
