// Random files through the whole tool against one slow bit-by-bit model of an attribute: its
// masks and its dissimilarities, for every format, block size, reordering and algorithm.
#include <map>
#include <random>

#include "case_runner.h"

namespace {

// One attribute (`values`: a file's group, ' ' for none): bits uniform in every group, those not
// equal in all grouped files, and per such bit the shortest stretch of them from there that tells
// all groups apart, written when it does not contain the next bit's (only with `stretches`).
struct Model {
  std::string common, masked, lines;
};

Model model(const std::vector<std::string>& data, const std::string& values, bool stretches) {
  Model e{std::string(data[0].size(), '\0'), std::string(data[0].size(), '\0'), ""};
  std::map<char, std::size_t> group;
  std::vector<std::size_t> of;  // each file's group
  for (char v : values) of.push_back(v == ' ' ? 0 : group.emplace(v, group.size()).first->second);
  std::vector<std::size_t> pos;   // compared bits, 0 the most significant bit of byte 0
  std::vector<std::string> bits;  // per compared bit, each group's bit
  for (std::size_t p = 0; p < data[0].size() * 8; ++p) {
    const char bit = static_cast<char>(1 << (7 - p % 8));
    std::string seen(group.size(), 2);  // each group's bit; 2: none seen yet
    bool common = true;
    for (std::size_t f = 0; f < data.size(); ++f) {
      if (values[f] == ' ') continue;
      char& g = seen[of[f]];
      common = common && (g == 2 || g == ((data[f][p / 8] & bit) != 0));
      g = (data[f][p / 8] & bit) != 0;
    }
    if (common) e.common[p / 8] |= bit;
    if (!common || seen.find(seen[0] ^ 1) == std::string::npos) continue;  // equal in all files
    e.masked[p / 8] |= bit;
    pos.push_back(p);
    bits.push_back(seen);
  }
  const std::size_t k = stretches ? pos.size() : 0, none = SIZE_MAX;
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

std::string hexFiles(const std::vector<std::string>& data) {
  std::string files;
  for (std::size_t f = 0; f < data.size(); ++f)
    files += " f" + std::to_string(f) + "=" + printed(data[f], 1, false);
  return files;
}

// Without -d: three attributes (or one) over the input as -b and -e turn it, cut into blocks by
// -m from the start, each attribute's piece of a block printed in turn.
TEST(Property, CommonalitiesMatchTheModel) {
  std::mt19937 random(20240611);
  const std::string values[] = {"xxyyz", "ppp q", "  k  "};  // G, H, K of f0 .. f4
  const char project[] = "file G H K\nf0 x p ''\nf1 x p ''\nf2 y p k\nf3 y '' ''\nf4 z q ''\n";
  for (std::size_t size : {3000, 3001, 250003}) {
    std::string base(size, '\0');
    for (char& c : base) c = static_cast<char>(random());
    std::vector<std::string> data(5, base);
    for (std::size_t f = 1; f < 5; ++f)  // every bit differs from f0's with probability 1/8
      for (char& c : data[f]) c ^= random() & random() & random();
    // 80 bytes of fixed cost, 6 per block byte: blocks of 8, 16, 24, 104, 160, S; or many tiles.
    const std::vector<std::uint32_t> limits =
        size > 3001 ? std::vector<std::uint32_t>{100000000, 100000000, 100000000}
                    : std::vector<std::uint32_t>{128, 158, 224, 680, 1000, 100000000, 128, 680};
    for (std::uint32_t limit : limits) {
      const std::size_t attributes = size > 3001 && random() % 2 ? 1 : 3;
      const int format = static_cast<int>(random() % 5);
      const bool space = random() % 2, exclude = random() % 2, invert = random() % 2;
      const std::size_t chunk = std::size_t{1} << random() % 4, used = size % chunk ? 1 : chunk;
      std::vector<std::string> read(data);  // -e reverses the bytes of a chunk, -b a byte's bits
      for (std::size_t f = 0; f < 5; ++f)
        for (std::size_t i = 0; i < size * 8; ++i) {  // bits shifted in from the source byte
          const unsigned char from = data[f][i / 8 / used * used + used - 1 - i / 8 % used];
          const int bit = from >> (invert ? i % 8 : 7 - i % 8) & 1;
          read[f][i / 8] = static_cast<char>((read[f][i / 8] & 0x7F) << 1 | bit);
        }
      const std::size_t block = (std::min<std::size_t>((limit - 80) / 6, size) + 7) / 8 * 8;
      std::vector<std::string> masks;
      for (std::size_t a = 0; a < attributes; ++a) {
        const Model m = model(read, values[a], false);
        masks.push_back(exclude ? m.masked : m.common);
      }
      std::string expected;
      for (std::size_t start = 0; start < size; start += block)
        for (const std::string& mask : masks)
          expected += printed(mask.substr(start, block), format, space);
      const std::string args = "-m|" + std::to_string(limit) + "|-f|" + std::to_string(format) +
                               "|-e|" + std::to_string(chunk) + (space ? "" : "|-n") +
                               (exclude ? "|-x" : "") + (invert ? "|-b" : "") + "|G" +
                               (attributes == 3 ? "|H|K" : "");
      const std::string warning = "Warning - file length is not multiple of " +
                                  std::to_string(chunk) + ". Ignoring -e command line argument.\n";
      expectCase({project, args, used == chunk ? "" : warning, 0, expected, hexFiles(data)});
    }
  }
}

// The partial results are read back head piece [0, S mod B) first, then whole blocks.
std::string pieces(const std::string& mask, std::size_t block, int format, bool space) {
  std::string text = printed(mask.substr(0, mask.size() % block), format, space);
  for (std::size_t at = mask.size() % block; at < mask.size(); at += block)
    text += printed(mask.substr(at, block), format, space);
  return text;
}

// With -d: linear and quadratic, one block or many.
TEST(Property, DissimilaritiesMatchTheModel) {
  std::mt19937 random(20240612);
  for (int round = 0; round < 24; ++round) {
    const std::uint32_t n = 3 + random() % 4,
                        size = round % 3 ? 5 + random() % 36 : 8 + random() % 5 * 8;
    std::string base(size, '\0'), project = "file E O P Y\n";
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
    }
    std::vector<Model> expected;
    for (const std::string& v : values) expected.push_back(model(data, v, true));
    // Block 0: the default limit's single block (only for a multiple of 8 or a power-of-two block,
    // which read back just the short piece); others forced by -m with a slack still rounding up.
    const std::uint32_t w = size <= 30 ? 1 : 2, cost = 2 * n + 8 * w + 1, single = (size + 7) & ~7;
    auto run = [&](int a, bool quadratic, std::uint32_t block) {
      const int format = static_cast<int>(random() % 5);
      const bool space = random() % 2, exclude = random() % 2;
      const std::uint32_t fixed = quadratic ? (n - 1) * n * w / 2 : 16 * n;
      const std::uint32_t raw = block <= 8 ? block : block - random() % 8;
      std::string args = "-c|res|-d|dis|-f|" + std::to_string(format) + (space ? "" : "|-n") +
                         (exclude ? "|-x" : "") + (quadratic ? "|-q" : "");
      if (block) args += "|-m|" + std::to_string(fixed + cost * raw + random() % cost);
      const Model& e = expected[a];
      const std::string res =
          pieces(exclude ? e.masked : e.common, block ? block : single, format, space);
      const bool any = e.masked.find_first_not_of('\0') != std::string::npos;
      expectCase({project, args + "|" + "EOPY"[a], "", 0, "", hexFiles(data),
                  "res=" + res + ";" + (any ? "dis=" + e.lines + ";" : "")});
    };
    for (int a = 0; a < 4; ++a)
      for (bool quadratic : {false, true}) {
        if (size % 8 == 0 || (single & (single - 1)) == 0) run(a, quadratic, 0);
        for (std::uint32_t block = 8; block <= size; block += 8) run(a, quadratic, block);
      }
  }
}

}  // namespace
