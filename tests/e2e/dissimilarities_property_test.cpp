// Random files through the whole tool against a slow pairwise model of the dissimilarities (per
// masked bit, the shortest stretch from there that tells every pair of groups apart, written when
// it does not contain the next bit's): linear and quadratic, one block or many, with the masks.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>

#include "case_runner.h"

namespace {

// The head piece [0, S mod B) first, then whole blocks, as the partial results are read back.
std::string pieces(const std::string& mask, std::size_t block, int format, bool space) {
  std::string text = printed(mask.substr(0, mask.size() % block), format, space);
  for (std::size_t at = mask.size() % block; at < mask.size(); at += block)
    text += printed(mask.substr(at, block), format, space);
  return text;
}

// One attribute: the mask of uniform groups, the same without the bits equal in all grouped files
// (the bits compared) and the dissimilarities lines; ' ' in `values` puts a file in no group.
struct Expected {
  std::string common, masked, lines;
  std::size_t compared = 0;
};

Expected model(const std::vector<std::string>& data, const std::string& values) {
  Expected e{std::string(data[0].size(), '\0'), std::string(data[0].size(), '\0'), ""};
  std::map<char, std::size_t> group;
  for (char v : values)
    if (v != ' ') group.emplace(v, group.size());
  std::vector<std::size_t> pos;   // compared bits, 0 the most significant bit of byte 0
  std::vector<std::string> bits;  // per compared bit, each group's bit
  for (std::size_t p = 0; p < data[0].size() * 8; ++p) {
    const char bit = static_cast<char>(1 << (7 - p % 8));
    std::string seen(group.size(), 2);  // each group's bit; 2: none seen yet
    bool common = true;
    for (std::size_t f = 0; f < data.size(); ++f) {
      if (values[f] == ' ') continue;
      char& g = seen[group[values[f]]];
      common = common && (g == 2 || g == ((data[f][p / 8] & bit) != 0));
      g = (data[f][p / 8] & bit) != 0;
    }
    if (common) e.common[p / 8] |= bit;
    if (!common || seen.find(seen[0] ^ 1) == std::string::npos) continue;  // equal in all files
    e.masked[p / 8] |= bit;
    pos.push_back(p);
    bits.push_back(seen);
  }
  const std::size_t k = e.compared = pos.size(), none = SIZE_MAX;
  std::vector<std::size_t> end(k);  // last bit of the shortest stretch from i, or none
  for (std::size_t i = 0; i < k; ++i) {
    end[i] = i;
    for (std::size_t g = 0; g < group.size(); ++g)
      for (std::size_t h = g + 1; h < group.size(); ++h) {
        std::size_t t = i;
        while (t < k && bits[t][g] == bits[t][h]) ++t;
        end[i] = t == k || end[i] == none ? none : std::max(end[i], t);
      }
  }
  for (std::size_t i = k; i-- > 0;)
    if (end[i] != none && (i + 1 == k || end[i + 1] > end[i]))
      e.lines += "(" + std::to_string(pos[i]) + "-" + std::to_string(pos[end[i]]) + ")\n";
  return e;
}

TEST(DissimilaritiesProperty, LinearAndQuadraticMatchAPairwiseModel) {
  std::mt19937 random(20240612);
  for (int round = 0; round < 32; ++round) {
    const std::uint32_t n = 3 + random() % 4,
                        size = round % 3 ? 5 + random() % 36 : 8 + random() % 5 * 8;
    std::string base(size, '\0'), project = "file E O P Y\n", files;
    for (char& c : base) c = static_cast<char>(random());
    std::vector<std::string> data(n, base);
    for (std::string& file : data)  // a bit differs from the base's with chance 1/4 or 1/8
      for (char& c : file)
        c ^= static_cast<char>(random() & random() & (round % 2 ? random() : -1));
    // E: every file alone; O: one group; P: files 0 and 1 together; Y: file 0 in no group.
    std::string values[4] = {std::string("abcdef", n), std::string(n, 'o'), "aa", " "};
    for (std::uint32_t f = 2; f < n; ++f) values[2] += "abc"[random() % 3];
    for (std::uint32_t f = 1; f < n; ++f) values[3] += "ab "[random() % (f == 1 ? 2 : 3)];
    for (std::uint32_t f = 0; f < n; ++f) {
      project += "f" + std::to_string(f);
      for (const std::string& v : values) project += v[f] == ' ' ? " ''" : " " + v.substr(f, 1);
      project += "\n";
      files += " f" + std::to_string(f) + "=" + printed(data[f], 1, false);
    }
    std::vector<Expected> expected;
    for (const std::string& v : values) expected.push_back(model(data, v));
    // Block 0: the default limit's single block, past S unless S is a multiple of 8 (a power of
    // two then reads back just the short piece); others are forced by -m, with a slack that still
    // rounds up to the block.
    const std::uint32_t w = size <= 30 ? 1 : 2, cost = 2 * n + 8 * w + 1, single = (size + 7) & ~7;
    auto run = [&](const std::vector<int>& named, bool quadratic, std::uint32_t block) {
      const int format = static_cast<int>(random() % 5);
      const bool space = random() % 2, exclude = random() % 2;
      const std::uint32_t fixed = quadratic ? (n - 1) * n * w / 2 : 16 * n;
      const std::uint32_t raw = block <= 8 ? block : block - random() % 8;
      std::string args = "-c|res|-d|dis|-f|" + std::to_string(format), res, dis;
      args += std::string(space ? "" : "|-n") + (exclude ? "|-x" : "") + (quadratic ? "|-q" : "");
      if (block) args += "|-m|" + std::to_string(fixed + cost * raw + random() % cost);
      if (!block) block = single;
      for (std::size_t i = 0; i < named.size(); ++i) {
        const Expected& e = expected[named[i]];
        const std::string name = named.size() > 1 ? "_" + std::to_string(i) + "=" : "=";
        res += "res" + name + pieces(exclude ? e.masked : e.common, block, format, space) + ";";
        if (e.compared) dis += "dis" + name + e.lines + ";";
        args += std::string("|") + "EOPY"[named[i]];
      }
      expectCase({project.c_str(), args, "", 0, "", files, res + dis});
    };
    // Every file its own group with an even number of files has more pairs than the memory budget
    // counts; every pair still starts at 1.
    for (int a = 0; a < 4; ++a)
      for (bool quadratic : {false, true}) {
        if (size % 8 == 0 || (single & (single - 1)) == 0) run({a}, quadratic, 0);
        for (std::uint32_t block = 8; block <= size; block += 8) run({a}, quadratic, block);
      }
    for (int a = 0; a < 4 && size % 8 == 0; ++a) {
      const int b = (a + 1 + random() % 3) % 4;
      std::uint32_t block = 8 * (1 + random() % (size / 8));
      while (size % block) block -= 8;
      run({a, b}, true, random() % 2 ? block : 0);
    }
  }
}

}  // namespace
