// The explanations' speed: CRC throughput (slice-by-8) and the checksum
// finder on sixteen 1 MiB files, each its own, with a CRC-32, a
// CRC-16, an Adler-32 and a byte sum each over a changing 4 KiB page, a
// counter and a random region; then the value finder and the run kinds on
// the same files, with the counter's value as an attribute. Prints one
// line per measurement. The
// argument spaces the changing bytes of a page (97: one run each; 1: one
// run per page).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "explain/checksum_finder.h"
#include "explain/kinds.h"
#include "explain/values.h"

namespace {

double seconds(const std::chrono::steady_clock::time_point& since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

void store(std::vector<unsigned char>& file, std::size_t pos, unsigned size, std::uint64_t value) {
  for (unsigned k = 0; k < size; ++k) file[pos + k] = static_cast<unsigned char>(value >> (8 * k));
}

}  // namespace

int main(int argc, char** argv) {
  // Every how many bytes a page's changing bytes lie: 97 (the default) makes one run each.
  const std::size_t step = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 97;
  std::mt19937_64 random(1);
  std::vector<unsigned char> data(64 << 20);
  for (auto& byte : data) byte = static_cast<unsigned char>(random());
  for (const NamedCrc& entry : crcCatalogue()) {
    const Crc crc(entry.params);
    const auto start = std::chrono::steady_clock::now();
    volatile std::uint64_t sink = crc.compute(data.data(), data.size());
    (void)sink;
    std::printf("%-18s %6.0f MB/s\n", entry.name, data.size() / seconds(start) / 1e6);
  }

  const std::size_t kFiles = 16, kLength = 1 << 20, kPage = 4096;
  std::vector<std::vector<unsigned char>> files(kFiles, std::vector<unsigned char>(kLength));
  for (auto& byte : files[0]) byte = static_cast<unsigned char>(random());
  for (auto& file : files) file = files[0];
  const std::size_t pages[] = {0x10000, 0x40000, 0x80000, 0xc0000};
  for (std::size_t f = 0; f < kFiles; ++f) {
    auto& file = files[f];
    for (std::size_t page : pages)
      for (std::size_t i = page + 64; i < page + kPage - 8; i += step) file[i] = random();
    for (std::size_t i = 0xe0000; i < 0xe0100; ++i) file[i] = random();  // random region
    store(file, 0x20000, 4, 1000 + f);                                   // counter
    const unsigned char* p = file.data();
    store(file, pages[0] + kPage - 4, 4,
          Crc(crcCatalogue()[0].params).compute(p + pages[0], kPage - 4));
    store(file, pages[1] + kPage - 2, 2,
          Crc(crcCatalogue()[7].params).compute(p + pages[1], kPage - 2));
    const std::uint64_t adler =
        computeSum({SumKind::kAdler32, 32, 1, false}, p + pages[2], kPage - 4);
    for (int k = 0; k < 4; ++k) file[pages[2] + kPage - 4 + k] = adler >> (24 - 8 * k);
    store(file, pages[3] + kPage - 1, 1,
          computeSum({SumKind::kSum, 8, 1, false}, p + pages[3], kPage - 1));
  }
  const MemoryByteSource source(std::move(files));
  const std::vector<ByteRun> runs = changingRuns(source);
  const auto start = std::chrono::steady_clock::now();
  const ChecksumSearch found = findChecksums(source, runs);
  std::printf("finder: %zu files of %zu bytes, %zu changing runs: %.2f s, %zu checksums found\n",
              kFiles, kLength, runs.size(), seconds(start), found.found.size());
  for (const ChecksumField& f : found.found)
    std::printf("  0x%llx-0x%llx %s of 0x%llx-0x%llx\n", (unsigned long long)f.firstByte,
                (unsigned long long)f.lastByte,
                f.isCrc ? (f.name ? f.name : "CRC") : sumName(f.sum).c_str(),
                (unsigned long long)f.coversFirst, (unsigned long long)f.coversLast);
  AttributeValues index{"index", {}};
  for (std::size_t f = 0; f < kFiles; ++f) index.values.push_back(std::to_string(1000 + f));
  const auto valuesStart = std::chrono::steady_clock::now();
  const std::vector<ValueField> values = findValues(source, runs, {index});
  std::printf("values: %.2f s, %zu found\n", seconds(valuesStart), values.size());
  const auto kindsStart = std::chrono::steady_clock::now();
  std::size_t counters = 0, randoms = 0;
  for (const ByteRun& run : runs) {
    const RunKind kind = classifyRun(source, run, {index}).kind;
    counters += kind == RunKind::kCounter;
    randoms += kind == RunKind::kRandom;
  }
  std::printf("kinds: %.2f s, %zu counters, %zu random\n", seconds(kindsStart), counters, randoms);
  return 0;
}
