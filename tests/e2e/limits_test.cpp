// Files beyond 4 GiB and the memory limit: the mask is right at 64-bit offsets, and the peak
// resident memory of a run stays under the -m limit plus the fixed overhead the README states.
// The data files are sparse, so gigabytes cost little disk and read fast.
#include <fcntl.h>

#include <thread>

#include "case_runner.h"

namespace {

// The README's promise: peak resident memory at most the -m limit plus this much. It does not
// hold under the sanitizers, whose shadow memory and quarantine count as resident too.
constexpr long kOverheadKib = 8 * 1024;
#ifdef OVRELL_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// A sparse file of `size` bytes, zero but for `bytes` at their offsets.
void sparse(const Sandbox& sb, const std::string& name, std::uint64_t size,
            const std::vector<std::pair<std::uint64_t, char>>& bytes = {}) {
  const int fd = open((sb.dir + "/" + name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ftruncate(fd, static_cast<off_t>(size)), 0);
  for (const auto& [offset, byte] : bytes)
    ASSERT_EQ(pwrite(fd, &byte, 1, static_cast<off_t>(offset)), 1);
  close(fd);
}

void expectPeakWithinLimit(const Outcome& run, long limitBytes) {
  if (!kSanitized) {
    EXPECT_LE(run.peakKib, limitBytes / 1024 + kOverheadKib) << limitBytes;
  }
}

// Two 5 GiB files, equal but for a byte beyond 4 GiB and the last byte. The ascii mask (-f 0, one
// byte per file byte) streams through a fifo into a checker: FF everywhere but at those offsets.
TEST(HugeFiles, MaskIsRightBeyondFourGibibytes) {
  const Sandbox sb;
  const std::uint64_t size = 5ull << 30, beyond = (4ull << 30) + 123456789;
  sparse(sb, "a.bin", size);
  sparse(sb, "b.bin", size, {{beyond, '\x5A'}, {size - 1, '\x01'}});
  put(sb, "p.txt", "file A\na.bin x\nb.bin x\n");
  const std::string fifo = sb.root + "/mask";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::uint64_t count = 0;
  std::vector<std::pair<std::uint64_t, unsigned>> odd;  // offsets and bytes other than FF
  std::thread checker([&] {
    std::FILE* in = std::fopen(fifo.c_str(), "rb");
    if (in == nullptr) return;
    std::vector<unsigned char> chunk(1 << 20);
    for (std::size_t got; (got = std::fread(chunk.data(), 1, chunk.size(), in)) > 0;) {
      for (auto at = chunk.begin(); odd.size() < 10;) {
        at = std::find_if(at, chunk.begin() + got, [](unsigned char c) { return c != 0xFF; });
        if (at == chunk.begin() + got) break;
        odd.emplace_back(count + (at - chunk.begin()), *at);
        ++at;
      }
      count += got;
    }
    std::fclose(in);
  });
  const Outcome run = runOvrell(sb, {"-p", "p.txt", "-m", "64MB", "-f", "0", "A"}, "ovrell", fifo);
  checker.join();
  EXPECT_EQ(std::make_tuple(run.err, run.status), std::make_tuple("", 0));
  EXPECT_EQ(count, size);
  const std::vector<std::pair<std::uint64_t, unsigned>> expected{{beyond, 0xA5}, {size - 1, 0xFE}};
  EXPECT_EQ(odd, expected);
  expectPeakWithinLimit(run, 64 << 20);
}

// Peak resident memory for several limits, with and without dissimilarities, with both
// algorithms. Every buffer is touched in full: the blocks are read whole, and with three files in
// three groups every bit is masked, so the column-value table fills too.
TEST(MemoryLimit, PeakResidentMemoryStaysUnderTheLimitPlusTheOverhead) {
  if (kSanitized) GTEST_SKIP() << "peak memory is not measured under the sanitizers";
  const Sandbox sb;
  sparse(sb, "a64", 64 << 20);
  sparse(sb, "b64", 64 << 20, {{5000000, 1}});
  sparse(sb, "a8", 8 << 20);
  sparse(sb, "b8", 8 << 20, {{1000, 1}});
  sparse(sb, "c8", 8 << 20, {{7000000, 1}});
  put(sb, "big.txt", "file A\na64 x\nb64 x\n");
  put(sb, "small.txt", "file A\na8 x\nb8 y\nc8 z\n");
  for (const long limit : {16l << 20, 32l << 20, 64l << 20}) {
    const std::string m = std::to_string(limit >> 20) + "MB";
    for (const Args& args : {Args{"-p", "big.txt", "-m", m, "-f", "0", "A"},
                             Args{"-p", "small.txt", "-m", m, "-d", "dis", "A"},
                             Args{"-p", "small.txt", "-m", m, "-d", "dis", "-q", "A"}}) {
      SCOPED_TRACE(::testing::PrintToString(args));
      const Outcome run = runOvrell(sb, args, "ovrell", "/dev/null");
      EXPECT_EQ(std::make_tuple(run.err, run.status), std::make_tuple("", 0));
      expectPeakWithinLimit(run, limit);
    }
  }
  // Only a stretch over both differing bits tells all three files apart.
  EXPECT_EQ(slurp(sb.dir + "/dis"), "(8007-56000007)\n");
}

}  // namespace
