// The benchmark data generator: the built ovrell_bench_data writes the synthetic set (past one
// 4 MiB write chunk) and its project file, and the built ovrell reads the set.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <vector>

#include "synthetic_data.h"

TEST(BenchData, WritesTheSyntheticSetThatOvrellReads) {
  std::string dir = boost::filesystem::temp_directory_path().string() + "/ovrell-bench-XXXXXX";
  ASSERT_TRUE(mkdtemp(&dir[0]));
  const std::string run = "cd " + dir + " && " OVRELL_BENCH_DATA " set cap 3 1 4194317 7 && " +
                          OVRELL_BINARY " -p set/cap.txt -f 0 G > mask && cat set/cap.txt > out";
  ASSERT_EQ(std::system(run.c_str()), 0);
  std::ostringstream out, mask;
  out << std::ifstream(dir + "/out").rdbuf(), mask << std::ifstream(dir + "/mask").rdbuf();
  EXPECT_EQ(out.str(), "file G\ncap_0.bin g0\ncap_1.bin g0\ncap_2.bin g0\n");
  std::string files[3], expected(4194317, '\xFF');
  for (int f = 0; f < 3; ++f) {
    files[f].resize(expected.size());
    bench::SyntheticSet(7, 1).fill(f, 0, expected.size(),
                                   reinterpret_cast<unsigned char*>(&files[f][0]));
    std::ifstream in(dir + "/set/cap_" + std::to_string(f) + ".bin", std::ios::binary);
    EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(in), {}) == files[f]) << f;
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] &= ~(files[f][i] ^ files[0][i]);
  }
  EXPECT_TRUE(mask.str() == expected && expected != std::string(expected.size(), '\xFF'));
  boost::filesystem::remove_all(dir);
}

// The shapes: the share of bits that differ between two files of different groups, and of one
// group, of an edited set (clustered: most changed bytes have a changed neighbour) and of
// independent files.
TEST(BenchData, ShapesChangeTheShareOfBitsTheyDescribe) {
  constexpr std::uint64_t kSize = 4 << 20;
  auto differences = [](bench::Shape shape, std::uint64_t a, std::uint64_t b, double& clustered) {
    std::vector<unsigned char> x(kSize), y(kSize);
    const bench::SyntheticSet set(9, 2, shape);
    set.fill(a, 0, kSize, x.data());
    set.fill(b, 0, kSize, y.data());
    std::uint64_t bits = 0, bytes = 0, neighboured = 0;
    for (std::uint64_t i = 0; i < kSize; ++i) {
      const unsigned d = x[i] ^ y[i];
      bits += static_cast<unsigned>(__builtin_popcount(d));
      bytes += d != 0;
      neighboured += d != 0 && i > 0 && (x[i - 1] ^ y[i - 1]) != 0;
    }
    clustered = bytes ? static_cast<double>(neighboured) / static_cast<double>(bytes) : 0;
    return static_cast<double>(bits) / (8.0 * kSize);
  };
  double clustered = 0;
  const double groups = differences(bench::Shape::kEdited, 0, 1, clustered);
  EXPECT_GT(groups, 1 / 1000.0);
  EXPECT_LT(groups, 1 / 300.0);
  EXPECT_GT(clustered, 0.5);
  const double files = differences(bench::Shape::kEdited, 0, 2, clustered);
  EXPECT_GT(files, 1 / 100000.0);
  EXPECT_LT(files, 1 / 20000.0);
  EXPECT_NEAR(differences(bench::Shape::kIndependent, 0, 2, clustered), 0.5, 0.01);
}
