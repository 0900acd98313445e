// ovrell_read_paths: how fast this machine hands over the bytes of files in
// the page cache, by each way a run could read them, and how fast it copies
// memory: the floor under S1.
//
//   ovrell_read_paths ROUNDS FILE...
//
// For each way, ROUNDS times in turn: every file read whole on one thread,
// each word XORed into a sum so that every byte is looked at, as masking
// does. The ways: pread into one buffer of 512 KiB (a tile); mmap with
// MADV_SEQUENTIAL; mmap with MAP_POPULATE; mmap with MAP_POPULATE a
// window of 256 KiB at a time, unmapped after; and, for the memory itself,
// memcpy of 64 MiB from one buffer to another, and the XOR pass alone over
// a buffer of 64 MiB. Prints the median MiB/s of each (input bytes; for
// memcpy, bytes copied) by the thread's CPU time, which a machine shared
// with other work disturbs less than the clock, and by the clock. Exit
// status 1 when a file cannot be read.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kTile = 512 * 1024;
constexpr std::size_t kMemory = 64 << 20;

std::uint64_t xorOf(const unsigned char* data, std::size_t size) {
  std::uint64_t sum = 0;
  std::size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, data + i, sizeof word);
    sum ^= word;
  }
  for (; i < size; ++i) sum ^= data[i];
  return sum;
}

[[noreturn]] void cannotRead(const char* path) {
  std::fprintf(stderr, "ovrell_read_paths: cannot read %s: %s\n", path, std::strerror(errno));
  std::exit(1);
}

std::uint64_t byPread(const char* path, std::vector<unsigned char>& buffer) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) cannotRead(path);
  std::uint64_t sum = 0;
  for (off_t at = 0;;) {
    const ssize_t got = ::pread(fd, buffer.data(), buffer.size(), at);
    if (got < 0) cannotRead(path);
    if (got == 0) break;
    sum ^= xorOf(buffer.data(), static_cast<std::size_t>(got));
    at += got;
  }
  ::close(fd);
  return sum;
}

std::uint64_t byMmap(const char* path, int flags, bool sequential) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd < 0 || ::fstat(fd, &status) != 0) cannotRead(path);
  const std::size_t size = static_cast<std::size_t>(status.st_size);
  std::uint64_t sum = 0;
  if (size > 0) {
    void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | flags, fd, 0);
    if (map == MAP_FAILED) cannotRead(path);
    if (sequential) ::madvise(map, size, MADV_SEQUENTIAL);
    sum = xorOf(static_cast<const unsigned char*>(map), size);
    ::munmap(map, size);
  }
  ::close(fd);
  return sum;
}

// A window of `kTile / 2` bytes mapped with MAP_POPULATE, looked at and
// unmapped, in turn: a tile of two files mapped for the tile alone.
std::uint64_t byWindows(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd < 0 || ::fstat(fd, &status) != 0) cannotRead(path);
  const std::size_t size = static_cast<std::size_t>(status.st_size), window = kTile / 2;
  std::uint64_t sum = 0;
  for (std::size_t at = 0; at < size; at += window) {
    const std::size_t length = std::min(window, size - at);
    void* map =
        ::mmap(nullptr, length, PROT_READ, MAP_SHARED | MAP_POPULATE, fd, static_cast<off_t>(at));
    if (map == MAP_FAILED) cannotRead(path);
    sum ^= xorOf(static_cast<const unsigned char*>(map), length);
    ::munmap(map, length);
  }
  ::close(fd);
  return sum;
}

double threadSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || std::atoi(argv[1]) < 1) {
    std::fprintf(stderr, "usage: ovrell_read_paths ROUNDS FILE...\n");
    return 2;
  }
  const int rounds = std::atoi(argv[1]);
  double inputBytes = 0;
  for (int i = 2; i < argc; ++i) {
    struct stat status {};
    if (::stat(argv[i], &status) != 0) cannotRead(argv[i]);
    inputBytes += static_cast<double>(status.st_size);
  }
  std::vector<unsigned char> tile(kTile), from(kMemory, 1), to(kMemory, 2);
  volatile std::uint64_t sink = 0;
  struct Way {
    const char* name;
    double bytes;
    std::function<void()> run;
    std::vector<double> cpuRates{}, clockRates{};
  };
  std::vector<Way> ways = {
      {"pread, 512 KiB", inputBytes,
       [&] {
         for (int i = 2; i < argc; ++i) sink = sink ^ byPread(argv[i], tile);
       }},
      {"mmap, MADV_SEQUENTIAL", inputBytes,
       [&] {
         for (int i = 2; i < argc; ++i) sink = sink ^ byMmap(argv[i], 0, true);
       }},
      {"mmap, MAP_POPULATE", inputBytes,
       [&] {
         for (int i = 2; i < argc; ++i) sink = sink ^ byMmap(argv[i], MAP_POPULATE, false);
       }},
      {"mmap, 256 KiB windows", inputBytes,
       [&] {
         for (int i = 2; i < argc; ++i) sink = sink ^ byWindows(argv[i]);
       }},
      {"memcpy, 64 MiB", static_cast<double>(kMemory),
       [&] {
         std::memcpy(to.data(), from.data(), kMemory);
         sink = sink ^ to[kMemory / 2];
       }},
      {"XOR pass, 64 MiB", static_cast<double>(kMemory),
       [&] { sink = sink ^ xorOf(from.data(), kMemory); }},
  };
  for (int round = 0; round < rounds; ++round)
    for (Way& way : ways) {
      const double cpuStart = threadSeconds();
      const auto start = std::chrono::steady_clock::now();
      way.run();
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      way.cpuRates.push_back(way.bytes / 1048576 / (threadSeconds() - cpuStart));
      way.clockRates.push_back(way.bytes / 1048576 / took.count());
    }
  std::printf("%-24s %12s %12s\n", "", "CPU MiB/s", "clock MiB/s");
  for (const Way& way : ways)
    std::printf("%-24s %12.0f %12.0f\n", way.name, median(way.cpuRates), median(way.clockRates));
  return 0;
}
