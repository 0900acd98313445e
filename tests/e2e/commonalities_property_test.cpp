// Random files through the whole tool against a slow bit-by-bit model: the masks of three
// attributes over the reordered input, cut into blocks by -m, each piece printed on its own.
#include <cstdio>
#include <random>

#include "case_runner.h"

namespace {

TEST(CommonalitiesProperty, OutputMatchesABitByBitModel) {
  std::mt19937 random(20240611);
  const std::string values[] = {"xxyyz", "ppp q", "  k  "};  // G, H, K of f0 .. f4; ' ' is ''
  const char project[] = "file G H K\nf0 x p ''\nf1 x p ''\nf2 y p k\nf3 y '' ''\nf4 z q ''\n";
  for (std::size_t size : {3000, 3001, 250003}) {
    std::string base(size, '\0'), files;
    for (char& c : base) c = static_cast<char>(random());
    std::vector<std::string> data(5, base);
    for (std::size_t f = 0; f < 5; ++f) {  // every bit differs from f0's with probability 1/8
      for (std::size_t i = 0; f > 0 && i < size; ++i) data[f][i] ^= random() & random() & random();
      files += " f" + std::to_string(f) + "=" + printed(data[f], 1, false);
    }
    // Five files: 80 bytes of fixed cost and 6 per block byte; blocks of 8, 16, 24, 104, 160, S.
    // The large files are one block of several tiles, read for one attribute or for three.
    const std::vector<std::uint32_t> limits =
        size > 3001 ? std::vector<std::uint32_t>{100000000, 100000000, 100000000}
                    : std::vector<std::uint32_t>{128, 158, 224, 680, 1000, 100000000,
                                                 128, 680, 158, 224, 128};
    for (std::uint32_t limit : limits) {
      const std::size_t attributes = size > 3001 && random() % 2 ? 1 : 3;
      const int format = static_cast<int>(random() % 5);
      const bool space = random() % 2, exclude = random() % 2, invert = random() % 2;
      const std::size_t chunk = std::size_t{1} << random() % 4, used = size % chunk ? 1 : chunk;
      std::vector<std::string> masks(3, std::string(size, '\0'));
      for (std::size_t a = 0; a < 3; ++a)
        for (std::size_t i = 0; i < size * 8; ++i) {  // bit i % 8 of byte i / 8
          std::string seen(128, 2);  // per value the bit its files show, at 0 for all; 2: none yet
          bool common = true, same = true;       // within every group; in all grouped files
          for (std::size_t f = 0; f < 5; ++f) {  // -b mirrors the bits, -e reverses the bytes
            const std::size_t byte = i / 8 / used * used + used - 1 - i / 8 % used;
            const char b = data[f][byte] >> (invert ? 7 - i % 8 : i % 8) & 1, v = values[a][f];
            if (v == ' ') continue;
            common = common && (seen[v] == 2 || seen[v] == b);
            same = same && (seen[0] == 2 || seen[0] == b);
            seen[v] = seen[0] = b;
          }
          if (common && !(exclude && same)) masks[a][i / 8] |= static_cast<char>(1 << i % 8);
        }
      const std::size_t block = (std::min<std::size_t>((limit - 80) / 6, size) + 7) / 8 * 8;
      std::string expected;
      for (std::size_t start = 0; start < size; start += block)
        for (std::size_t a = 0; a < attributes; ++a)
          expected += printed(masks[a].substr(start, block), format, space);
      char args[64], warning[128];
      std::snprintf(args, sizeof args, "-m|%u|-f|%d|-e|%zu%s%s%s|G%s", limit, format, chunk,
                    space ? "" : "|-n", exclude ? "|-x" : "", invert ? "|-b" : "",
                    attributes == 3 ? "|H|K" : "");
      std::snprintf(warning, sizeof warning, "Warning - file length is not multiple of %zu. %s",
                    chunk, "Ignoring -e command line argument.\n");
      expectCase({project, args, used == chunk ? "" : warning, 0, expected, files});
    }
  }
}

}  // namespace
