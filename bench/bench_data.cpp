// ovrell_bench_data: writes a synthetic capture set and its project file.
//
//   ovrell_bench_data DIR NAME FILES GROUPS SIZE SEED [dense|edited|independent]
//
// writes DIR/NAME_<i>.bin for i = 0 .. FILES - 1, SIZE bytes each (a number
// with an optional K, M or G suffix of 1024, 1024^2 or 1024^3), and then the
// project file DIR/NAME.txt with the one attribute G: file i is in group
// g<i % GROUPS>. The contents (the shapes: flipped without the last
// argument, or the one it names) are described in synthetic_data.h; the same
// arguments always give the same bytes. The project file is written last, so
// its presence says that the set is complete. Exit status 0 on success, 1
// when a file cannot be written, 2 for wrong arguments.
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "synthetic_data.h"

namespace {

constexpr std::uint64_t kChunk = 4 << 20;  // bytes generated and written at a time

[[noreturn]] void usage(const char* problem) {
  std::fprintf(
      stderr,
      "ovrell_bench_data: %s\n"
      "usage: ovrell_bench_data DIR NAME FILES GROUPS SIZE SEED [dense|edited|independent]\n"
      "  writes DIR/NAME_<i>.bin (i < FILES, SIZE bytes each; SIZE may end in K, M or G)\n"
      "  and DIR/NAME.txt, file i in group g<i %% GROUPS>; NAME: letters, digits, . _ -\n",
      problem);
  std::exit(2);
}

[[noreturn]] void cannotWrite(const std::string& path) {
  std::fprintf(stderr, "ovrell_bench_data: cannot write %s: %s\n", path.c_str(),
               std::strerror(errno));
  std::exit(1);
}

// A decimal number with an optional binary suffix; false when `text` is not
// one or does not fit in 64 bits.
bool parseCount(const char* text, bool suffixAllowed, std::uint64_t& value) {
  value = 0;
  const char* p = text;
  for (; *p >= '0' && *p <= '9'; ++p) {
    const std::uint64_t digit = static_cast<std::uint64_t>(*p - '0');
    if (value > (UINT64_MAX - digit) / 10) return false;
    value = value * 10 + digit;
  }
  if (p == text) return false;
  if (*p == '\0') return true;
  if (!suffixAllowed || p[1] != '\0') return false;
  const char* suffixes = "KMG";
  const char* found = std::strchr(suffixes, *p);
  if (found == nullptr) return false;
  const unsigned shift = 10 * static_cast<unsigned>(found - suffixes + 1);
  if (value > (UINT64_MAX >> shift)) return false;
  value <<= shift;
  return true;
}

bool plainName(const std::string& name) {
  if (name.empty()) return false;
  for (char c : name)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-')
      return false;
  return true;
}

void writeFile(const bench::SyntheticSet& set, std::uint64_t file, std::uint64_t size,
               const std::string& path, std::vector<unsigned char>& buffer) {
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) cannotWrite(path);
  for (std::uint64_t offset = 0; offset < size; offset += kChunk) {
    const std::uint64_t length = size - offset < kChunk ? size - offset : kChunk;
    set.fill(file, offset, length, buffer.data());
    if (std::fwrite(buffer.data(), 1, length, out) != length) cannotWrite(path);
  }
  if (std::fclose(out) != 0) cannotWrite(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7 && argc != 8) usage("wrong number of arguments");
  bench::Shape shape = bench::Shape::kFlipped;
  if (argc == 8) {
    if (std::strcmp(argv[7], "dense") == 0)
      shape = bench::Shape::kDense;
    else if (std::strcmp(argv[7], "edited") == 0)
      shape = bench::Shape::kEdited;
    else if (std::strcmp(argv[7], "independent") == 0)
      shape = bench::Shape::kIndependent;
    else
      usage("the last argument can only be dense, edited or independent");
  }
  const std::string dir = argv[1], name = argv[2];
  std::uint64_t files = 0, groups = 0, size = 0, seed = 0;
  if (dir.empty()) usage("DIR is empty");
  if (!plainName(name)) usage("NAME must be letters, digits, '.', '_' or '-'");
  if (!parseCount(argv[3], false, files) || files == 0) usage("FILES must be a number above 0");
  if (!parseCount(argv[4], false, groups) || groups == 0) usage("GROUPS must be a number above 0");
  if (!parseCount(argv[5], true, size)) usage("SIZE must be a number, optionally with K, M or G");
  if (!parseCount(argv[6], false, seed)) usage("SEED must be a number");
  if (::mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST) cannotWrite(dir);
  // An old project file would mark a half-written set as complete.
  const std::string projectPath = dir + "/" + name + ".txt";
  if (std::remove(projectPath.c_str()) != 0 && errno != ENOENT) cannotWrite(projectPath);

  const bench::SyntheticSet set(seed, groups, shape);
  std::vector<unsigned char> buffer(kChunk);
  std::string project = "file G\n";
  for (std::uint64_t i = 0; i < files; ++i) {
    const std::string file = name + "_" + std::to_string(i) + ".bin";
    writeFile(set, i, size, dir + "/" + file, buffer);
    project += file + " g" + std::to_string(set.groupOf(i)) + "\n";
  }
  std::FILE* out = std::fopen(projectPath.c_str(), "wb");
  if (out == nullptr) cannotWrite(projectPath);
  if (std::fwrite(project.data(), 1, project.size(), out) != project.size() ||
      std::fclose(out) != 0)
    cannotWrite(projectPath);
  return 0;
}
