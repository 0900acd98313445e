#include "explain/checksum_finder.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "explain/checksum_engines.h"
#include "explain/checksum_evidence.h"
#include "explain/crc_any_poly.h"
#include "explain/crc_around.h"
#include "explain/crc_range.h"
#include "explain/sum_range.h"

namespace {

// The scan: every engine run from every range start over the files' changing bytes, its targets
// looked up at every range end it can have.
class Scanner {
 public:
  explicit Scanner(SearchState& search) : search_(search) {}
  void run();

 private:
  std::vector<std::uint64_t> starts() const;
  void scan(std::uint64_t s);
  void scanCrc(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void scanSum(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void skipUnchanged(ChecksumEngine& e, std::uint64_t s, std::uint64_t last, std::uint64_t next);
  void lookup(ChecksumEngine& e, std::uint64_t s, std::uint64_t b);
  void readRaw(std::uint64_t from, std::size_t count);

  SearchState& search_;
  std::size_t pairs_ = 0;  // search_.pairs, kept here for the inner loops
  std::vector<ChecksumEngine> engines_;
  std::array<std::vector<unsigned char>, kMaxPairs + 1> raw_;
  std::vector<std::pair<std::size_t, std::size_t>> segments_;  // the chunk's changing bytes
  std::set<std::tuple<std::size_t, std::size_t, std::uint64_t>> hits_;
};

// Bytes [from - 4, from + count) of file 0 and the partners into raw_ (offset
// 4), zeros outside the changing runs.
void Scanner::readRaw(std::uint64_t from, std::size_t count) {
  for (auto& buffer : raw_) {
    std::copy(buffer.end() - 4, buffer.end(), buffer.begin());
    std::fill(buffer.begin() + 4, buffer.end(), 0);
  }
  segments_.clear();
  for (const ByteRun& r : search_.runs) {
    const std::uint64_t lo = std::max(r.first, from), hi = std::min(r.last + 1, from + count);
    if (lo >= hi) continue;
    segments_.push_back({lo - from, hi - from});
    for (std::size_t k = 0; k <= pairs_; ++k)
      search_.source.read(k, lo, hi - lo, raw_[k].data() + 4 + (lo - from));
  }
}

// Where ranges are tried from: the first byte of every run, then the end of a field that heads
// its run (a checksum before the data it covers), the most common widths first.
std::vector<std::uint64_t> Scanner::starts() const {
  std::vector<std::uint64_t> out;
  for (const ByteRun& r : search_.runs) out.push_back(r.first);
  for (unsigned size : {4u, 2u, 1u, 8u})
    for (const ByteRun& r : search_.runs)
      if (r.last + 1 - r.first > size && out.size() < search_.limits.maxStarts + 1)
        out.push_back(r.first + size);
  return out;
}

void Scanner::scan(std::uint64_t s) {
  for (ChecksumEngine& e : engines_) {
    e.a = e.b = {};
    e.synced = s;
  }
  for (auto& buffer : raw_) std::fill(buffer.begin(), buffer.end(), 0);
  const std::uint64_t length = search_.source.length();
  for (std::uint64_t from = s; from < length; from += kChunk) {
    const std::size_t count = std::min<std::uint64_t>(kChunk, length - from);
    readRaw(from, count);
    for (ChecksumEngine& e : engines_) {
      if (e.kind == EngineKind::kCrc)
        scanCrc(e, s, from, count);
      else
        scanSum(e, s, from, count);
    }
  }
}

// Every end is looked up. Between changing bytes the first pair's register alone steps; the
// others catch up over the zero bytes when it matches some field (wide CRCs only: a narrow
// register matches too often for that to pay).
void Scanner::scanCrc(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count) {
  const bool lazy = e.width >= 16;
  std::size_t i = 0;
  search_.tried[e.width] += 2.0 * count;
  for (std::size_t seg = 0; seg <= segments_.size(); ++seg) {
    const std::size_t x = seg < segments_.size() ? segments_[seg].first : count;
    const std::size_t y = seg < segments_.size() ? segments_[seg].second : count;
    for (; i < x; ++i) {
      const std::uint64_t b = from + i + 1;
      e.a[0] = e.crc->step(e.a[0], 0);
      if (!lazy) {
        for (std::size_t k = 1; k < pairs_; ++k) e.a[k] = e.crc->step(e.a[k], 0);
        e.synced = b;
      }
      if (!e.firstFilter[ChecksumEngine::firstIndex(e.prefilter(e.a))]) continue;
      e.sync(b, pairs_);
      lookup(e, s, b);
    }
    e.sync(from + i, pairs_);
    for (; i < y; ++i) {
      for (std::size_t k = 0; k < pairs_; ++k)
        e.a[k] = e.crc->step(e.a[k], raw_[0][4 + i] ^ raw_[k + 1][4 + i]);
      e.synced = from + i + 1;
      if (e.firstFilter[ChecksumEngine::firstIndex(e.prefilter(e.a))]) lookup(e, s, from + i + 1);
    }
  }
}

// Adler-32 and Fletcher over the words ending in (last, next), equal in every file: each adds
// the first sum to the second, all at once unless the first sum matches some field's.
void Scanner::skipUnchanged(ChecksumEngine& e, std::uint64_t s, std::uint64_t last,
                            std::uint64_t next) {
  const unsigned unit = e.base.sum.unit;
  const std::uint64_t m = e.modulus;
  const std::uint64_t words = next > last + unit ? (next - last) / unit - 1 : 0;
  if (words == 0) return;
  if (e.firstFilter[ChecksumEngine::firstIndex(e.a[0])]) {
    for (std::uint64_t b = last + unit; b < next; b += unit) {
      for (std::size_t k = 0; k < pairs_; ++k) e.b[k] = (e.b[k] + e.a[k]) % m;
      lookup(e, s, b);
    }
    return;
  }
  for (std::size_t k = 0; k < pairs_; ++k) e.b[k] = (e.b[k] + words % m * e.a[k]) % m;
}

// Sums change only at words that differ: those ends are looked up. Adler-32 and Fletcher add
// their first sum to the second at every word: between differing words that is done at once,
// unless the first sum matches some field's.
void Scanner::scanSum(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count) {
  const unsigned unit = e.base.sum.unit, phase = e.base.phase;
  const bool running = e.kind == EngineKind::kRunning;
  const std::uint64_t m = e.modulus;
  const auto firstBoundary = [&](std::uint64_t after) {  // the first word end > after
    return after + 1 + (phase + 2 * unit - (after + 1) % unit) % unit;
  };
  const auto skipTo = [&](std::uint64_t last, std::uint64_t next) {
    if (running) skipUnchanged(e, s, last, next);
  };
  std::uint64_t last = firstBoundary(from) - unit;  // the last word end handled
  const auto handle = [&](std::uint64_t b) {
    skipTo(last, b);
    last = b;
    bool changed = false;
    for (std::size_t k = 0; k < pairs_; ++k) {
      const std::size_t at = 4 + (b - from) - unit;
      const std::uint64_t w0 = readWord(&raw_[0][at], unit, unit, e.base.sum.bigEndian);
      const std::uint64_t wk = readWord(&raw_[k + 1][at], unit, unit, e.base.sum.bigEndian);
      changed |= w0 != wk;
      if (e.kind == EngineKind::kSum) {
        e.a[k] += wk - w0;
      } else if (e.kind == EngineKind::kXor) {
        e.a[k] ^= wk ^ w0;
      } else {
        e.a[k] = (e.a[k] + modDiff(wk, w0, m)) % m;
        e.b[k] = (e.b[k] + e.a[k]) % m;
      }
    }
    if (changed || running) lookup(e, s, b);
  };
  search_.tried[e.width] += (e.kind == EngineKind::kSum ? 6.0 : 2.0) * count / unit;
  // Words ending in this chunk that start in the one before, then those holding changing bytes.
  for (std::uint64_t b = firstBoundary(from); b < from + unit && b <= from + count; b += unit)
    handle(b);
  for (const auto& [x, y] : segments_)
    for (std::uint64_t b = std::max(firstBoundary(from + x), last + unit);
         b < from + y + unit && b <= from + count; b += unit)
      handle(b);
  const std::uint64_t end = firstBoundary(from + count) - unit;  // the last word end in the chunk
  if (end > last) {
    skipTo(last, end + unit);
    last = end;
  }
}

void Scanner::lookup(ChecksumEngine& e, std::uint64_t s, std::uint64_t b) {
  EngineKey key{};
  for (std::size_t k = 0; k < pairs_; ++k)
    key[k] = e.kind == EngineKind::kRunning ? e.b[k] << (e.width / 2) | e.a[k]
                                            : e.a[k] & widthMask(e.width);
  const std::vector<EngineTarget>* targets = e.find(key);
  if (!targets) return;
  for (const EngineTarget& t : *targets) {
    const CandidateField& f = search_.fields[t.field];
    if (search_.done[t.field]) continue;
    // Around: the field's last changing byte may come before its end.
    const bool valid =
        t.candidate.around ? s <= f.pos && b > f.pos : b <= f.pos || s >= f.pos + f.size;
    const int variant =
        t.candidate.crc.refout + 2 * int(t.candidate.sum.complement) + 8 * t.candidate.around;
    if (!valid || !hits_.insert({t.field, (&e - engines_.data()) * 16 + variant, s}).second)
      continue;
    if (t.candidate.isCrc)
      fitCrc(search_, t, s, b);
    else
      fitSum(search_, t, s, b);
  }
}

void Scanner::run() {
  pairs_ = search_.pairs = std::min(search_.files - 1, kMaxPairs);
  for (auto& buffer : raw_) buffer.assign(kChunk + 4, 0);
  search_.fields = collectFields(search_.source, search_.runs);
  search_.done.assign(search_.fields.size(), false);
  engines_ = buildEngines(search_);
  auto all = starts();
  if (all.size() > search_.limits.maxStarts) {
    all.resize(search_.limits.maxStarts);
    search_.result.complete = false;
  }
  for (std::uint64_t start : all) scan(start);
}

}  // namespace

ChecksumSearch findChecksums(const ByteSource& source, const std::vector<ByteRun>& changing,
                             const ChecksumLimits& limits) {
  if (source.files() < 3) {  // one pair of files cannot check what it fits
    ChecksumSearch none;
    none.complete = false;
    return none;
  }
  SearchState search(source, changing, limits);
  Scanner(search).run();
  findAnyPolynomial(search);
  findCrcsAround(search);
  search.result.found = keepLikeliest(std::move(search.result.found));
  return search.result;
}
