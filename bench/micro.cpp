// ovrell_micro: the engine's kernels one at a time, through their public
// functions, on one block of a synthetic capture set.
//
// The buffers are set up as the analysis run sets them up: a block of one
// row per file (initArrayBuffer), the mask (initVectorBuffer), the group
// vectors from collectGroups over a real value index, and for the
// dissimilarity kernels the group-row matrix, column values, node store or
// pair counters of the per-attribute pass, with the mask cut down by
// exclude as the pass does before gathering the columns.
//
// Besides Google Benchmark's own flags it takes --block=BYTES, the bytes of
// every file in one block (default 1 MiB, a multiple of 8); the column
// kernels on noise, where every bit is a column, take a sixteenth of that,
// so that the quadratic one on 32 groups stays near a second. A benchmark
// whose set-up does not give the kernel any work reports an error instead of
// a number.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "engine/budget.h"
#include "engine/commonalities.h"
#include "engine/gather_columns.h"
#include "engine/linear_dissimilarities.h"
#include "engine/position_queue.h"
#include "engine/quadratic_dissimilarities.h"
#include "engine/stretches.h"
#include "output/bit_row_formatter.h"
#include "output/result_sinks.h"
#include "synthetic_data.h"

namespace {

std::uint64_t gBlock = 1 << 20;
constexpr std::uint64_t kSeed = 20240601;
// The file size the dissimilarity kernels are sized for (it sets the width
// of a column value): that of the two-group whole-process scenario.
constexpr std::uint64_t kDissimilarityFileSize = 16 << 20;

// A stream buffer that throws its characters away a buffer at a time, as a
// file buffer writing to /dev/null does, and counts them.
class NullBuffer : public std::streambuf {
 public:
  NullBuffer() { setp(area_, area_ + sizeof area_); }
  std::uint64_t written() const { return flushed_ + static_cast<std::uint64_t>(pptr() - pbase()); }

 protected:
  int_type overflow(int_type c) override {
    flushed_ += static_cast<std::uint64_t>(pptr() - pbase());
    setp(area_, area_ + sizeof area_);
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }

 private:
  char area_[1 << 16];
  std::uint64_t flushed_ = 0;
};

// What the rows of a block hold.
enum Data : int {
  kCaptures = 0,  // the synthetic capture set: file i in group i % groups
  kNoise = 1,     // every file independent random bytes: every bit tells groups apart
};

// The block of the column kernels.
std::uint64_t columnBlock(Data data) {
  return data == kNoise && gBlock >= 128 ? gBlock / 16 / 8 * 8 : gBlock;
}

// One block of `files` rows of `rowSize` bytes in the engine's buffers, its
// attribute's groups, and its commonality mask.
class BlockFixture {
 public:
  BlockFixture(std::uint64_t files, std::uint64_t groups, Data data, std::uint64_t rowSize) {
    block = initArrayBuffer(rowSize, files, options.memLimit);
    mask = initVectorBuffer(rowSize, options.memLimit);
    for (std::uint64_t i = 0; i < files; ++i) {
      unsigned char* row = reinterpret_cast<unsigned char*>(rowWords(block, i));
      if (data == kCaptures)
        bench::SyntheticSet(kSeed, groups).fill(i, 0, rowSize, row);
      else
        bench::SyntheticSet(kSeed + i, 1).fill(0, 0, rowSize, row);
      FileIndexList*& list = valueGroups["g" + std::to_string(i % groups)];
      if (list == nullptr) list = new FileIndexList;
      list->push_back(static_cast<std::uint32_t>(i));
    }
    collectGroups(valueGroups, block, groupSizes, rowPointers);
    commonalities(groupSizes, rowPointers, block, mask);
  }
  BlockFixture(const BlockFixture&) = delete;
  BlockFixture& operator=(const BlockFixture&) = delete;
  ~BlockFixture() {
    for (auto& group : valueGroups) delete group.second;
    freeBuffer(mask);
    freeBuffer(block);
  }

  std::uint64_t maskedBits() const {
    std::uint64_t bits = 0;
    for (std::uint64_t i = 0; i < mask.size; ++i) bits += __builtin_popcount(mask.data[i]);
    return bits;
  }

  Options options;
  ArrayBuff block;
  VectorBuff mask;
  ValueGroups valueGroups;
  std::vector<unsigned int> groupSizes;
  std::vector<unsigned long long*> rowPointers;
};

// A block as the per-attribute pass holds it just before its column loop:
// the mask cut down to the bits that differ somewhere, the columns gathered
// into the group-row matrix, the lists or pair counters of a fresh attribute.
class ColumnFixture : public BlockFixture {
 public:
  ColumnFixture(std::uint64_t files, std::uint64_t groups, Data data, std::uint64_t rowSize)
      : BlockFixture(files, groups, data, rowSize),
        valueWidth(valueWidthFor(true, kDissimilarityFileSize)),
        zeros(files),
        ones(files) {
    groupRows = initArrayBuffer(rowSize, files, options.memLimit);
    columnValues = initVectorBuffer(8 * valueWidth * rowSize, options.memLimit);
    nodeStore = initVectorBuffer(files * sizeof(NodeType), options.memLimit);
    pairs = initVectorBuffer(files * (files - 1) / 2 * valueWidth, options.memLimit);
    exclude(block, rowPointers, mask);
    columns = ColumnGatherer().gather(groupRows, mask, groupSizes, rowPointers);
    pushGroupNodes(nodes(), groupRows, groupSizes.size(), zeros);
    resetPairCounters(pairs, valueWidth);
  }
  // Arguments: files, groups, data.
  explicit ColumnFixture(const benchmark::State& state)
      : ColumnFixture(state.range(0), state.range(1), static_cast<Data>(state.range(2)),
                      columnBlock(static_cast<Data>(state.range(2)))) {}
  ~ColumnFixture() {
    freeBuffer(pairs);
    freeBuffer(nodeStore);
    freeBuffer(columnValues);
    freeBuffer(groupRows);
  }

  NodeType* nodes() { return reinterpret_cast<NodeType*>(nodeStore.data); }

  unsigned valueWidth;
  ArrayBuff groupRows;
  VectorBuff columnValues, nodeStore, pairs;
  single_list<NodeType> zeros, ones;
  std::uint64_t columns = 0;
};

bool noColumns(benchmark::State& state, const ColumnFixture& fixture) {
  if (fixture.columns > 0) return false;
  state.SkipWithError("the block has no column to work on");
  return true;
}

// Arguments: files, groups.
void BM_Commonalities(benchmark::State& state) {
  BlockFixture f(state.range(0), state.range(1), kCaptures, gBlock);
  for (auto _ : state) {
    commonalities(f.groupSizes, f.rowPointers, f.block, f.mask);
    benchmark::DoNotOptimize(f.mask.data);
    benchmark::ClobberMemory();
  }
  if (f.maskedBits() == 0) state.SkipWithError("the mask is empty");
  state.SetBytesProcessed(state.iterations() * state.range(0) * gBlock);
}
BENCHMARK(BM_Commonalities)
    ->ArgNames({"files", "groups"})
    ->Args({2, 1})
    ->Args({8, 1})
    ->Args({8, 4})
    ->Args({32, 32})
    ->Args({64, 8});

// Arguments: files, groups.
void BM_Exclude(benchmark::State& state) {
  BlockFixture f(state.range(0), state.range(1), kCaptures, gBlock);
  for (auto _ : state) {
    exclude(f.block, f.rowPointers, f.mask);
    benchmark::DoNotOptimize(f.mask.data);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) * gBlock);
}
BENCHMARK(BM_Exclude)->ArgNames({"files", "groups"})->Args({2, 1})->Args({8, 4})->Args({64, 8});

// Arguments: format (0 ascii .. 4 binary), blank between bytes. The mask of
// two files in one group: all ones with holes.
void BM_PrintBitRow(benchmark::State& state) {
  BlockFixture f(2, 1, kCaptures, gBlock);
  const BitRowFormatter formatter(static_cast<output_opt>(state.range(0)), state.range(1) != 0);
  NullBuffer sink;
  std::ostream out(&sink);
  for (auto _ : state) {
    formatter.print(f.mask.data, gBlock, out);
  }
  if (sink.written() == 0) state.SkipWithError("nothing was printed");
  state.SetBytesProcessed(state.iterations() * gBlock);
  state.counters["out_bytes_per_byte"] =
      static_cast<double>(sink.written()) / static_cast<double>(state.iterations() * gBlock);
}
BENCHMARK(BM_PrintBitRow)
    ->ArgNames({"format", "space"})
    ->ArgsProduct({{0, 1, 2, 3, 4}, {1}})
    ->Args({1, 0})
    ->Args({4, 0});

// Arguments: files, groups, data. Items: columns; bytes: the mask, which
// is walked bit by bit.
void BM_GatherColumns(benchmark::State& state) {
  ColumnFixture f(state);
  if (noColumns(state, f)) return;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ColumnGatherer().gather(f.groupRows, f.mask, f.groupSizes, f.rowPointers));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.columns);
  state.SetBytesProcessed(state.iterations() * f.mask.size);
  state.counters["columns"] = static_cast<double>(f.columns);
}

// Arguments: files, groups, data. Items: columns. The lists go on from
// block to block, as they do over the blocks of one attribute.
void BM_LinearColumns(benchmark::State& state) {
  ColumnFixture f(state);
  if (noColumns(state, f)) return;
  for (auto _ : state) {
    linearColumns(f.zeros, f.ones, f.columnValues, f.columns, f.valueWidth);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.columns);
  state.counters["columns"] = static_cast<double>(f.columns);
}

// Arguments: files, groups, data. Items: columns. The pair counters go on
// from block to block.
void BM_QuadraticColumns(benchmark::State& state) {
  ColumnFixture f(state);
  if (noColumns(state, f)) return;
  for (auto _ : state) {
    quadraticColumns(f.groupRows, f.pairs, f.columnValues, f.columns, f.valueWidth);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.columns);
  state.counters["columns"] = static_cast<double>(f.columns);
}

// The shapes of the column kernels: the two-group and 32-group captures of
// the whole-process benchmark (few columns: only the flipped bits differ),
// and noise, where every bit of the block is a column.
void columnShapes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"files", "groups", "noise"});
  b->Args({2, 2, kCaptures})->Args({32, 32, kCaptures});
  b->Args({2, 2, kNoise})->Args({8, 8, kNoise})->Args({32, 32, kNoise});
}
BENCHMARK(BM_GatherColumns)->Apply(columnShapes);
BENCHMARK(BM_LinearColumns)->Apply(columnShapes);
BENCHMARK(BM_QuadraticColumns)->Apply(columnShapes);

// Arguments: files, groups, data. Items: columns; bytes: the mask, which
// is walked bit by bit. Every iteration writes the block as the first block
// of an attribute, to a temporary file.
void BM_WriteDissimilarities(benchmark::State& state) {
  ColumnFixture f(state);
  if (noColumns(state, f)) return;
  linearColumns(f.zeros, f.ones, f.columnValues, f.columns, f.valueWidth);
  const char* tmp = std::getenv("TMPDIR");
  std::string name =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/ovrell_micro_XXXXXX";
  const int fd = mkstemp(&name[0]);
  if (fd < 0) {
    state.SkipWithError("cannot create a temporary file");
    return;
  }
  close(fd);
  f.options.disFile = name;
  f.options.attributes = {"G"};
  for (auto _ : state) {
    PositionQueue queue;
    std::uint64_t lastValue = 0;
    DissimilaritiesOutput lines(f.options);
    lines.openBlock(0);
    findStretches(f.columnValues, f.columns, f.mask, 0, queue, lastValue, f.valueWidth,
                  [&](std::uint64_t first, std::uint64_t last) { lines.stretch(first, last); });
    lines.closeBlock();
  }
  std::remove(name.c_str());
  state.SetItemsProcessed(state.iterations() * f.columns);
  state.SetBytesProcessed(state.iterations() * f.mask.size);
  state.counters["columns"] = static_cast<double>(f.columns);
}
BENCHMARK(BM_WriteDissimilarities)->Apply(columnShapes);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    const char* value = std::strncmp(argv[i], "--block=", 8) == 0 ? argv[i] + 8 : nullptr;
    char* end = nullptr;
    const unsigned long long block = value != nullptr ? std::strtoull(value, &end, 10) : 0;
    if (value == nullptr || *value == '\0' || *end != '\0' || block == 0 || block % 8 != 0) {
      std::fprintf(stderr,
                   "ovrell_micro: unknown argument '%s'\n"
                   "  --block=BYTES  bytes of every file in one block, a multiple of 8 "
                   "(default %llu)\n",
                   argv[i], static_cast<unsigned long long>(gBlock));
      return 2;
    }
    gBlock = block;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
