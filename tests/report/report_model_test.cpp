// ovrell-report against models on random small projects: its informative
// bits are ovrell's -x mask and its stretches what ovrell -x -d writes (the
// built ovrell, run once per attribute); its counts, region bytes, field
// bits and picture cells are what the files hold, read the slow way.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <regex>

#include "report_runner.h"

namespace {

using nlohmann::json;

struct Project {
  std::vector<std::string> data;                 // the files' bytes
  std::vector<std::vector<std::string>> values;  // [attribute][file]
};

// With `big`, files of several tiles (192 to 384 KiB) with sparser flips.
Project randomProject(std::mt19937& random, const Sandbox& sb, bool big) {
  Project p;
  const int files = 2 + random() % 6;
  const std::size_t size = big                 ? 196608 + random() % 196608
                           : random() % 3 == 0 ? 25 + random() % 16
                                               : 8 + random() % 700;
  std::string base(size, '\0');
  for (char& byte : base) byte = static_cast<char>(random());
  const char* const kValues[] = {"x", "y", "z", ""};
  p.values.resize(2);
  std::map<std::string, std::string> groupFlips;  // the same flips for a group
  for (int i = 0; i < files; ++i) {
    std::string data = base;
    for (auto& column : p.values) {
      column.push_back(kValues[random() % (i == 0 ? 3 : 4)]);  // a group at least
      std::string& flips = groupFlips[std::to_string(&column - &p.values[0]) + column.back()];
      if (flips.empty())
        for (std::size_t b = 0; b < size; ++b)
          flips += static_cast<char>(random() % (big ? 512 : 3) ? 0 : random());
      for (std::size_t b = 0; b < size; ++b) data[b] ^= flips[b];
    }
    if (random() % 2) data[random() % size] ^= static_cast<char>(1 << random() % 8);
    p.data.push_back(data);
  }
  std::string text = "file A B\n";
  for (int i = 0; i < files; ++i) {
    sb.put("f" + std::to_string(i), p.data[i]);
    text += "f" + std::to_string(i) + " '" + p.values[0][i] + "' '" + p.values[1][i] + "'\n";
  }
  sb.put("p.txt", text);
  return p;
}

int bitAt(const std::string& data, std::uint64_t position) {
  return (static_cast<unsigned char>(data[position / 8]) >> (7 - position % 8)) & 1;
}

// Checks the counts, region values and field values of attribute `a`
// against the files, read bit by bit, and the classes of its picture's
// cells (`cells`: each cell's first byte and class), with the fields as the
// informative bits.
void expectModel(const Project& p, std::size_t attribute, const json& a,
                 const std::vector<std::pair<std::uint64_t, std::string>>& cells) {
  std::map<std::string, std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < p.data.size(); ++i)
    if (!p.values[attribute][i].empty()) groups[p.values[attribute][i]].push_back(i);
  std::uint64_t varying = 0;
  const std::uint64_t bits = 8 * p.data[0].size();
  std::vector<std::string> classes(p.data[0].size(), "constant");  // per byte
  for (const json& f : a["fields"])
    for (std::uint64_t q = f["first_bit"]; q <= f["last_bit"]; ++q) classes[q / 8] = "informative";
  for (std::uint64_t q = 0; q < bits; ++q) {
    bool varies = false;
    for (const auto& group : groups)
      for (std::size_t file : group.second)
        varies |= bitAt(p.data[file], q) != bitAt(p.data[group.second[0]], q);
    varying += varies;
    if (varies && classes[q / 8] == "constant") classes[q / 8] = "varying";
  }
  for (std::size_t c = 0; c < cells.size(); ++c) {
    const std::uint64_t end = c + 1 < cells.size() ? cells[c + 1].first : classes.size();
    std::string expected = "constant";
    for (std::uint64_t b = cells[c].first; b < end; ++b)
      if (classes[b] == "informative" || (classes[b] == "varying" && expected == "constant"))
        expected = classes[b];
    EXPECT_EQ(cells[c].second, expected) << "cell at byte " << cells[c].first;
  }
  EXPECT_EQ(a["bits"]["varying"], varying);
  EXPECT_EQ(a["bits"]["informative"].get<std::uint64_t>() +
                a["bits"]["constant"].get<std::uint64_t>() + varying,
            bits);
  for (const json& region : a["regions"]) {
    for (const auto& group : groups) {
      std::string hex;
      for (std::uint64_t b = region["first_byte"]; b <= region["last_byte"]; ++b) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x",
                      static_cast<unsigned char>(p.data[group.second[0]][b]));
        bool same = true;
        for (std::size_t file : group.second) same &= p.data[file][b] == p.data[group.second[0]][b];
        hex += same ? digits : "??";
      }
      EXPECT_EQ(region["values"][group.first], hex);
    }
  }
  for (const json& field : a["fields"])
    for (const auto& group : groups) {
      std::string expected;
      for (std::uint64_t q = field["first_bit"]; q <= field["last_bit"]; ++q)
        expected += "01"[bitAt(p.data[group.second[0]], q)];
      EXPECT_EQ(field["values"][group.first], expected);
    }
}

TEST(ReportModel, AgreesWithOvrellAndWithTheFiles) {
  std::mt19937 random(2024);
  for (int trial = 0; trial < 60; ++trial) {
    SCOPED_TRACE("trial " + std::to_string(trial));
    const Sandbox sb;
    const bool big = trial % 20 == 19;
    const Project p = randomProject(random, sb, big);
    const std::uint64_t n = p.data.size(), size = p.data[0].size(), width = size <= 30 ? 1 : 2;
    // Blocks of a multiple of 8 bytes up to the file size, so that most runs
    // have several (ovrell prints pieces of blocks that are not there when
    // one block is longer than the file); big files take one or two.
    const std::uint64_t block =
        big ? size / (1 + random() % 2) / 8 * 8 : 8 * (1 + random() % (size / 8));
    const std::string memory = std::to_string(16 * n + (2 * n + 8 * width + 1) * block);
    std::vector<std::string> options{"-p", "p.txt", "-m", memory};
    // Every other trial reverses the bits (-b) or reorders the bytes (-e), or
    // both: the model then reads the files as the tool does.
    const bool invert = trial % 4 == 3;
    const std::size_t chunk = trial % 2 ? std::size_t{2} << (trial / 2 % 3) : 1;
    if (invert) options.push_back("-b");
    if (chunk > 1) options.insert(options.end(), {"-e", std::to_string(chunk)});
    Project seen = p;
    for (std::string& data : seen.data) {
      for (char& byte : data)
        for (int k = 0; invert && k < 4; ++k)
          if (((byte >> k) ^ (byte >> (7 - k))) & 1)
            byte ^= static_cast<char>(1 << k | 1 << (7 - k));
      for (std::size_t at = 0; size % chunk == 0 && at < size; at += chunk)
        std::reverse(data.begin() + at, data.begin() + at + chunk);
    }
    std::vector<std::string> args = options;
    args.insert(args.end(), {"--html", "page.html", "A", "B"});
    const json report = reportJson(sb, args);
    // The picture's cells, attribute after attribute (each starts again at byte 0).
    std::vector<std::vector<std::pair<std::uint64_t, std::string>>> cells;
    const std::string page = slurp(sb.path("page.html"));
    const std::regex rect("<rect data-offset=\"(\\d+)\"[^>]*class=\"(\\w+)\"");
    for (std::sregex_iterator m(page.begin(), page.end(), rect), end; m != end; ++m) {
      if ((*m)[1] == "0") cells.emplace_back();
      cells.back().emplace_back(std::stoull((*m)[1]), (*m)[2]);
    }
    ASSERT_EQ(cells.size(), 2u);
    for (std::size_t attribute = 0; attribute < 2; ++attribute) {
      const json& a = report["attributes"][attribute];
      std::vector<std::string> alone = options;
      alone.insert(alone.end(), {"-x", "-d", "dis", "-f", "4", "-n", attribute ? "B" : "A"});
      const Outcome ovrell = run(sb, OVRELL_BINARY, alone);
      ASSERT_EQ(ovrell.status, 0) << ovrell.err;
      std::string stretches;
      for (const json& s : a["stretches"])
        stretches = "(" + std::to_string(s["first_bit"].get<std::uint64_t>()) + "-" +
                    std::to_string(s["last_bit"].get<std::uint64_t>()) + ")\n" + stretches;
      EXPECT_EQ(stretches, slurp(sb.path("dis")));
      std::string mask(ovrell.out.size(), '0');
      for (const json& f : a["fields"])
        for (std::uint64_t q = f["first_bit"]; q <= f["last_bit"]; ++q) mask.at(q) = '1';
      EXPECT_EQ(mask, ovrell.out);
      expectModel(seen, attribute, a, cells[attribute]);
    }
  }
}

}  // namespace
