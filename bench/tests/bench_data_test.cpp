// The benchmark data generator: the built ovrell_bench_data writes the synthetic set (past one
// 4 MiB write chunk) and its project file, and the built ovrell reads the set.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <sstream>

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
