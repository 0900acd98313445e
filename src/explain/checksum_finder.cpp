#include "explain/checksum_finder.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "explain/checksum_engines.h"
#include "explain/checksum_evidence.h"
#include "explain/crc_any_poly.h"
#include "explain/crc_around.h"
#include "explain/crc_range.h"
#include "explain/sum_range.h"

namespace {

constexpr std::uint64_t kLead = 16;   // bytes before a run scanned with it
constexpr std::size_t kMaxFits = 16;  // range fits per field and candidate

// The first end of a word (of `unit` bytes, starting at `phase` modulo `unit`) after `after`.
std::uint64_t wordEndAfter(std::uint64_t after, unsigned unit, unsigned phase) {
  return after + 1 + (phase + 2 * unit - (after + 1) % unit) % unit;
}

// The scan: every engine run from every range start over the files' changing bytes, its targets
// looked up at every range end it can have.
class Scanner {
 public:
  explicit Scanner(SearchState& search) : search_(search) {}
  void run();

 private:
  std::vector<std::uint64_t> starts() const;
  void scan(std::uint64_t s);
  void window(std::uint64_t s, std::uint64_t from, std::uint64_t to);
  void jump(std::uint64_t from, std::uint64_t to);
  void scanCrc(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void scanSum(ChecksumEngine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void skipUnchanged(ChecksumEngine& e, std::uint64_t s, std::uint64_t last, std::uint64_t next);
  void lookup(ChecksumEngine& e, std::uint64_t s, std::uint64_t b);
  void readRaw(std::uint64_t from, std::size_t count);

  SearchState& search_;
  std::size_t pairs_ = 0;  // search_.pairs, kept here for the inner loops
  std::vector<ChecksumEngine> engines_;
  std::array<std::vector<unsigned char>, kMaxPairs + 1> raw_;
  std::uint64_t rawEnd_ = 0;                                   // where the bytes in raw_ end
  std::size_t rawCount_ = 0;                                   // how many there are
  std::vector<std::pair<std::size_t, std::size_t>> segments_;  // the chunk's changing bytes
  std::set<std::tuple<std::size_t, std::size_t, std::uint64_t>> hits_;
  std::map<std::pair<std::size_t, std::size_t>, std::size_t> fits_;  // per field and candidate
};

// Bytes [from - 4, from + count) of file 0 and the partners into raw_ (offset
// 4), zeros outside the changing runs (and before `from` when the last read did not end there).
void Scanner::readRaw(std::uint64_t from, std::size_t count) {
  for (auto& buffer : raw_) {
    if (from == rawEnd_)
      std::copy(buffer.begin() + rawCount_, buffer.begin() + rawCount_ + 4, buffer.begin());
    else if (from != rawEnd_)
      std::fill(buffer.begin(), buffer.begin() + 4, 0);
    std::fill(buffer.begin() + 4, buffer.begin() + 4 + count, 0);
  }
  rawEnd_ = from + count;
  rawCount_ = count;
  segments_.clear();
  const auto& runs = search_.runs;
  const auto first = std::partition_point(runs.begin(), runs.end(),
                                          [&](const ByteRun& r) { return r.last < from; });
  for (auto r = first; r != runs.end() && r->first < from + count; ++r) {
    const std::uint64_t lo = std::max(r->first, from), hi = std::min(r->last + 1, from + count);
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

// From a range start, the changing runs after it, each with the bytes just before it (where a
// field may start) and the stretch of equal bytes after it up to `maxTail` bytes (where a range
// may end); the engines jump over the rest of the equal bytes. At most `maxRuns` runs.
void Scanner::scan(std::uint64_t s) {
  for (ChecksumEngine& e : engines_) {
    e.a = e.b = {};
    e.synced = s;
  }
  for (auto& buffer : raw_) std::fill(buffer.begin(), buffer.begin() + 4, 0);
  rawEnd_ = s;
  rawCount_ = 0;
  const auto& runs = search_.runs;
  const std::uint64_t length = search_.source.length(), tail = search_.limits.maxTail;
  const auto leadOf = [](const ByteRun& r) { return r.first > kLead ? r.first - kLead : 0; };
  std::size_t j = static_cast<std::size_t>(
      std::partition_point(runs.begin(), runs.end(), [&](const ByteRun& r) { return r.last < s; }) -
      runs.begin());
  std::uint64_t pos = s;
  for (std::size_t n = 0; j < runs.size(); ++j, ++n) {
    if (n == search_.limits.maxRuns) {
      search_.result.complete = false;
      break;
    }
    const ByteRun& r = runs[j];
    if (leadOf(r) > pos) {
      jump(pos, leadOf(r));
      pos = leadOf(r);
    }
    std::uint64_t end = std::min(r.last + 1 + std::min(tail, length), length);
    if (j + 1 < runs.size()) end = std::min(end, std::max(r.last + 1, leadOf(runs[j + 1])));
    if (end > pos) window(s, pos, end);
    pos = std::max(pos, end);
  }
}

void Scanner::window(std::uint64_t s, std::uint64_t from, std::uint64_t to) {
  for (; from < to; from += kChunk) {
    const std::size_t count = std::min<std::uint64_t>(kChunk, to - from);
    readRaw(from, count);
    for (ChecksumEngine& e : engines_) {
      if (e.kind == EngineKind::kCrc)
        scanCrc(e, s, from, count);
      else
        scanSum(e, s, from, count);
    }
  }
}

// The engines moved over equal bytes [from, to) where no range ends: CRC registers multiplied at
// once, Adler-32 and Fletcher second sums grown at once.
void Scanner::jump(std::uint64_t from, std::uint64_t to) {
  for (ChecksumEngine& e : engines_) {
    if (e.kind == EngineKind::kCrc) {
      e.sync(from, pairs_);
      for (int level = 0; (to - from) >> level; ++level)
        if ((to - from) >> level & 1)
          for (std::size_t k = 0; k < pairs_; ++k) e.a[k] = e.advance(level, e.a[k]);
      e.synced = to;
    } else if (e.kind == EngineKind::kRunning) {
      const unsigned unit = e.base.sum.unit, phase = e.base.phase;
      const std::uint64_t words =
          (wordEndAfter(to, unit, phase) - wordEndAfter(from, unit, phase)) / unit;
      for (std::size_t k = 0; k < pairs_; ++k)
        e.b[k] = (e.b[k] + words % e.modulus * e.a[k]) % e.modulus;
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
  const auto firstBoundary = [&](std::uint64_t after) { return wordEndAfter(after, unit, phase); };
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
    const std::size_t candidate = (&e - engines_.data()) * 16 + variant;
    if (!valid || !hits_.insert({t.field, candidate, s}).second) continue;
    // A candidate that matched from many starts without fitting matches by the files' likeness,
    // not by its range: fitting it from still more starts would cost without end.
    if (++fits_[{t.field, candidate}] > kMaxFits) {
      search_.result.complete = false;
      continue;
    }
    if (t.candidate.isCrc)
      fitCrc(search_, t, s, b);
    else
      fitSum(search_, t, s, b);
  }
}

void Scanner::run() {
  pairs_ = search_.pairs = std::min(search_.files - 1, kMaxPairs);
  for (auto& buffer : raw_) buffer.assign(kChunk + 8, 0);
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

// The files in another order: those that differ on the changing bytes first (file 0 first of
// all), so that the scan's partners differ from file 0 and from each other.
class DistinctFirst : public ByteSource {
 public:
  DistinctFirst(const ByteSource& source, const std::vector<ByteRun>& runs) : source_(source) {
    std::vector<std::uint64_t> hashes(source.files());
    std::vector<unsigned char> buffer;
    for (std::size_t f = 0; f < source.files(); ++f) {
      std::uint64_t hash = 0xcbf29ce484222325ULL, budget = kHashedBytes;
      for (const ByteRun& r : runs) {
        buffer.resize(std::min(r.last + 1 - r.first, budget));
        source.read(f, r.first, buffer.size(), buffer.data());
        for (const unsigned char byte : buffer) hash = (hash ^ byte) * 0x100000001b3ULL;
        budget -= buffer.size();
        if (budget == 0) break;
      }
      hashes[f] = hash;
    }
    std::vector<std::size_t> repeats;
    for (std::size_t f = 0; f < source.files(); ++f) {
      const bool seen =
          std::find(hashes.begin(), hashes.begin() + f, hashes[f]) != hashes.begin() + f;
      (seen ? repeats : order_).push_back(f);
    }
    distinct_ = order_.size();
    order_.insert(order_.end(), repeats.begin(), repeats.end());
  }
  std::size_t distinct() const { return distinct_; }
  std::size_t files() const override { return source_.files(); }
  std::uint64_t length() const override { return source_.length(); }
  void read(std::size_t file, std::uint64_t offset, std::uint64_t size,
            unsigned char* to) const override {
    source_.read(order_[file], offset, size, to);
  }

 private:
  static constexpr std::uint64_t kHashedBytes = 1 << 20;  // per file
  const ByteSource& source_;
  std::vector<std::size_t> order_;
  std::size_t distinct_ = 0;
};

}  // namespace

ChecksumSearch findChecksums(const ByteSource& source, const std::vector<ByteRun>& changing,
                             const ChecksumLimits& limits) {
  if (source.files() < 3) {  // one pair of files cannot check what it fits
    ChecksumSearch none;
    none.complete = false;
    return none;
  }
  // With fewer than three different files every candidate of some pair matches: nothing can be
  // more than too few files to tell, so a few starts suffice.
  const DistinctFirst files(source, changing);
  ChecksumLimits own = limits;
  if (files.distinct() < 3) own.maxStarts = std::min<std::size_t>(own.maxStarts, 8);
  SearchState search(files, changing, own);
  Scanner(search).run();
  findAnyPolynomial(search);
  findCrcsAround(search);
  search.result.found = keepLikeliest(std::move(search.result.found));
  return search.result;
}
