// The data generator of the benchmarks: the built ovrell_bench_data in a
// temporary directory, its files against the in-memory synthetic set, and
// the set read by the built ovrell.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "synthetic_data.h"

namespace {

namespace fs = boost::filesystem;

struct TempDir {
  TempDir() : path((fs::temp_directory_path() / "ovrell-bench-XXXXXX").string()) {
    if (mkdtemp(&path[0]) == nullptr) std::abort();
  }
  ~TempDir() {
    boost::system::error_code ignored;
    fs::remove_all(path, ignored);
  }
  std::string path;
};

std::string slurp(const std::string& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return bytes.str();
}

struct Outcome {
  int status;
  std::string out, err;
};

// Runs `command` (a shell command line) in `dir`.
Outcome run(const std::string& dir, const std::string& command) {
  const std::string line =
      "cd '" + dir + "' && " + command + " > '" + dir + "/.out' 2> '" + dir + "/.err'";
  const int status = std::system(line.c_str());
  Outcome result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(dir + "/.out"),
                 slurp(dir + "/.err")};
  fs::remove(dir + "/.out");
  fs::remove(dir + "/.err");
  return result;
}

Outcome generate(const std::string& dir, const std::string& arguments) {
  return run(dir, std::string(OVRELL_BENCH_DATA) + " " + arguments);
}

std::string whole(std::uint64_t seed, std::uint64_t groups, std::uint64_t file,
                  std::uint64_t size) {
  std::string bytes(size, '\0');
  bench::SyntheticSet(seed, groups)
      .fill(file, 0, size, reinterpret_cast<unsigned char*>(&bytes[0]));
  return bytes;
}

std::uint64_t differingBits(const std::string& a, const std::string& b) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    bits += __builtin_popcount(static_cast<unsigned char>(a[i] ^ b[i]));
  return bits;
}

TEST(BenchData, WritesEveryFileAndThenTheProjectFile) {
  TempDir t;
  // Past one 4 MiB write chunk, and not a multiple of 8.
  const std::uint64_t size = (4 << 20) + 13;
  const Outcome r = generate(t.path, "set cap 5 2 " + std::to_string(size) + " 7");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(slurp(t.path + "/set/cap.txt"),
            "file G\ncap_0.bin g0\ncap_1.bin g1\ncap_2.bin g0\ncap_3.bin g1\ncap_4.bin g0\n");
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(t.path + "/set"))
    names.push_back(entry.path().filename().string());
  EXPECT_EQ(names.size(), 6u);
  for (int i = 0; i < 5; ++i) {
    const std::string file = t.path + "/set/cap_" + std::to_string(i) + ".bin";
    // Written in chunks, the file is the set's content in one piece.
    EXPECT_TRUE(slurp(file) == whole(7, 2, i, size)) << file;
  }
}

TEST(BenchData, SizeSuffixesAreBinary) {
  TempDir t;
  ASSERT_EQ(generate(t.path, ". k 2 1 3K 1").status, 0);
  ASSERT_EQ(generate(t.path, ". m 2 1 1M 1").status, 0);
  EXPECT_EQ(fs::file_size(t.path + "/k_1.bin"), 3072u);
  EXPECT_EQ(fs::file_size(t.path + "/m_0.bin"), 1048576u);
  ASSERT_EQ(generate(t.path, ". z 2 1 0 1").status, 0);
  EXPECT_EQ(fs::file_size(t.path + "/z_0.bin"), 0u);
}

TEST(BenchData, RefusesWrongArgumentsAndWritesNothing) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"d x 2 1 8", "wrong number of arguments"},
      {"d x 2 1 8 1 9", "wrong number of arguments"},
      {"'' x 2 1 8 1", "DIR is empty"},
      {"d a/b 2 1 8 1", "NAME must be letters, digits, '.', '_' or '-'"},
      {"d 'a b' 2 1 8 1", "NAME must be letters, digits, '.', '_' or '-'"},
      {"d x 0 1 8 1", "FILES must be a number above 0"},
      {"d x -1 1 8 1", "FILES must be a number above 0"},
      {"d x 2K 1 8 1", "FILES must be a number above 0"},
      {"d x 2 0 8 1", "GROUPS must be a number above 0"},
      {"d x 2 1 1T 1", "SIZE must be a number, optionally with K, M or G"},
      {"d x 2 1 1KB 1", "SIZE must be a number, optionally with K, M or G"},
      {"d x 2 1 '' 1", "SIZE must be a number, optionally with K, M or G"},
      {"d x 2 1 17179869184G 1", "SIZE must be a number, optionally with K, M or G"},
      {"d x 2 1 8 18446744073709551616", "SEED must be a number"},
  };
  for (const auto& c : cases) {
    TempDir t;
    const Outcome r = generate(t.path, c.first);
    EXPECT_EQ(r.status, 2) << c.first;
    EXPECT_EQ(r.out, "") << c.first;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n')), "ovrell_bench_data: " + c.second) << c.first;
    EXPECT_TRUE(fs::is_empty(t.path)) << c.first;
  }
}

TEST(BenchData, CannotWriteEndsWithStatusOne) {
  TempDir t;
  std::ofstream(t.path + "/plain") << "x";
  const Outcome r = generate(t.path, "plain/set x 2 1 8 1");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("ovrell_bench_data: cannot write plain/set: ", 0), 0u) << r.err;
}

TEST(BenchData, StaleProjectFileGoesBeforeTheDataIsWritten) {
  TempDir t;
  ASSERT_EQ(generate(t.path, ". x 2 1 8 1").status, 0);
  fs::remove(t.path + "/x_1.bin");
  fs::create_directory(t.path + "/x_1.bin");  // the second file cannot be written
  EXPECT_EQ(generate(t.path, ". x 2 1 16 1").status, 1);
  EXPECT_FALSE(fs::exists(t.path + "/x.txt"));
}

// --- The contents --------------------------------------------------------------

TEST(SyntheticSet, AnyRangeIsTheSliceOfTheWholeFile) {
  const std::uint64_t size = 3 * bench::kFileRegion + 4100;
  const std::string all = whole(11, 3, 4, size);
  const bench::SyntheticSet set(11, 3);
  std::uint64_t state = 5;
  for (int i = 0; i < 200; ++i) {
    state = bench::mix(state);
    const std::uint64_t offset = state % size / 8 * 8;
    const std::uint64_t length = bench::mix(state) % (size - offset + 1);
    std::string part(length, '\0');
    set.fill(4, offset, length, reinterpret_cast<unsigned char*>(&part[0]));
    ASSERT_TRUE(part == all.substr(offset, length)) << offset << " + " << length;
  }
}

TEST(SyntheticSet, GroupsDifferOftenFilesOfAGroupRarely) {
  const std::uint64_t size = 1 << 20;
  const std::string a = whole(3, 2, 0, size), b = whole(3, 2, 2, size), c = whole(3, 2, 1, size);
  // One flipped bit per file in each of the 16 file regions.
  const std::uint64_t sameGroup = differingBits(a, b);
  EXPECT_GE(sameGroup, 28u);
  EXPECT_LE(sameGroup, 32u);
  // And one per group in each of the 256 group regions.
  const std::uint64_t otherGroup = differingBits(a, c);
  EXPECT_GE(otherGroup, 500u);
  EXPECT_LE(otherGroup, 544u);
  // The base is random: about half the bits are set, and another seed's
  // base shares about half of its bits.
  const std::uint64_t ones = differingBits(a, std::string(size, '\0'));
  EXPECT_NEAR(static_cast<double>(ones) / (8.0 * size), 0.5, 0.005);
  EXPECT_NEAR(static_cast<double>(differingBits(a, whole(4, 2, 0, size))) / (8.0 * size), 0.5,
              0.005);
}

// --- The set as ovrell reads it ----------------------------------------------------

TEST(BenchData, OvrellMasksTheBitsWhereTheFilesOfAGroupDiffer) {
  TempDir t;
  ASSERT_EQ(generate(t.path, "sets pair 2 1 200000 9").status, 0);
  const Outcome r = run(t.path, std::string(OVRELL_BINARY) + " -p sets/pair.txt -f 0 G");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  const std::string a = slurp(t.path + "/sets/pair_0.bin"), b = slurp(t.path + "/sets/pair_1.bin");
  std::string mask(a.size(), '\0');
  for (std::size_t i = 0; i < a.size(); ++i) mask[i] = static_cast<char>(~(a[i] ^ b[i]));
  EXPECT_TRUE(r.out == mask);
  EXPECT_GT(differingBits(a, b), 0u);  // the mask has holes
}

}  // namespace
