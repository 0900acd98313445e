#include "explain/checksum_finder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <unordered_map>

#include "explain/crc_solver.h"

namespace {

constexpr std::size_t kChunk = 1 << 16;
constexpr std::size_t kMaxPairs = 3;

// A field that might hold a checksum, with its value in every file.
struct Field {
  std::uint64_t pos;
  unsigned size;
  ByteOrder order;
  std::vector<std::uint64_t> values;
  unsigned distinct;
  unsigned digits = 0;  // octal text: its digits

  unsigned width() const { return order == ByteOrder::kText ? 32 : 8 * size; }
  double evidenceBits() const { return order == ByteOrder::kText ? 3.0 * digits : 8.0 * size; }
};

// Octal text in every file at `pos` (blanks, digits, then NULs or blanks), the same length
// everywhere and at most 12 bytes; its value per file, or an empty list.
std::vector<std::uint64_t> octalAt(const std::vector<std::vector<unsigned char>>& bytes,
                                   std::size_t at, unsigned& size, unsigned& digits) {
  std::vector<std::uint64_t> values;
  for (const auto& b : bytes) {
    std::size_t i = at;
    while (i < b.size() && b[i] == ' ') ++i;
    std::uint64_t value = 0;
    const std::size_t first = i;
    for (; i < b.size() && b[i] >= '0' && b[i] <= '7'; ++i) value = value * 8 + (b[i] - '0');
    const unsigned count = static_cast<unsigned>(i - first);
    while (i < b.size() && i - at < 12 && (b[i] == 0 || b[i] == ' ')) ++i;
    if (count == 0 || i == first + count ||
        (!values.empty() && (i - at != size || count != digits)))
      return {};
    size = static_cast<unsigned>(i - at);
    digits = count;
    values.push_back(value);
  }
  return values;
}

// What is tried against a field: a CRC shape (init and final XOR fitted
// later) or a sum with the phase of its words.
struct Candidate {
  bool isCrc = false;
  CrcParams crc;
  SumParams sum;
  unsigned phase = 0;
  bool around = false;
  bool blanks = false;  // the field counted as blanks, not zeros
};

using Key = std::array<std::uint64_t, kMaxPairs>;
struct KeyHash {
  std::size_t operator()(const Key& k) const {
    return (k[0] * 0x9e3779b97f4a7c15ULL) ^ (k[1] * 0xc2b2ae3d27d4eb4fULL) ^ (k[2] * 0x165667b1);
  }
};
struct Target {
  std::size_t field;
  Candidate candidate;
};

enum class EngineKind { kCrc, kSum, kXor, kRunning };

// One running computation over the differences of file 0 with its partners,
// from a range start, with the values the fields would need.
struct Engine {
  Engine(EngineKind k, unsigned w) : kind(k), width(w) {}
  EngineKind kind;
  unsigned width;
  Candidate base;
  std::unique_ptr<Crc> crc;
  std::uint64_t modulus = 0;  // of the running sums
  std::unordered_map<Key, std::vector<Target>, KeyHash> targets;
  std::vector<bool> filter = std::vector<bool>(1 << 18);
  std::vector<bool> firstFilter = std::vector<bool>(1 << 18);  // on the first pair's value
  std::array<std::uint64_t, kMaxPairs> a{}, b{};
  std::uint64_t synced = 0;  // CRCs: where the registers of the other pairs stand
  // CRCs: the register's advance over 2^i zero bytes, as the images of its bits.
  std::vector<std::vector<std::uint64_t>> zeroPowers;

  // What the first filter holds: the first sum of the first pair for Adler-32 and Fletcher, the
  // first two pairs' registers for 8-bit CRCs, the first pair's for the others.
  std::uint64_t prefilter(const Key& key) const {
    if (kind == EngineKind::kRunning) return key[0] & widthMask(width / 2);
    return width == 8 ? key[0] | key[1] << 8 : key[0];
  }
  static std::size_t firstIndex(std::uint64_t value) {
    return (value * 0x9e3779b97f4a7c15ULL) >> 46;
  }
  void add(const Key& key, Target target) {
    filter[KeyHash()(key) >> 46] = true;
    firstFilter[firstIndex(prefilter(key))] = true;
    targets[key].push_back(target);
  }
  void makeZeroPowers() {
    std::vector<std::uint64_t> power(width);
    for (unsigned j = 0; j < width; ++j) power[j] = crc->step(std::uint64_t{1} << j, 0);
    for (int level = 0; level < 48; ++level) {
      zeroPowers.push_back(power);
      std::vector<std::uint64_t> next(width);
      for (unsigned j = 0; j < width; ++j) next[j] = advance(level, power[j]);
      power = std::move(next);
    }
  }
  std::uint64_t advance(int level, std::uint64_t reg) const {
    std::uint64_t out = 0;
    for (const std::uint64_t column : zeroPowers[level]) {
      if (reg & 1) out ^= column;
      reg >>= 1;
    }
    return out;
  }
  // The other pairs' registers moved over the zero bytes up to `to`.
  void sync(std::uint64_t to, std::size_t pairs) {
    for (int level = 0; to > synced; ++level)
      if ((to - synced) >> level & 1) {
        for (std::size_t k = 1; k < pairs; ++k) a[k] = advance(level, a[k]);
        synced += std::uint64_t{1} << level;
      }
  }
  const std::vector<Target>* find(const Key& key) const {
    if (!filter[KeyHash()(key) >> 46]) return nullptr;
    const auto it = targets.find(key);
    return it == targets.end() ? nullptr : &it->second;
  }
};

std::uint64_t readValue(const ByteSource& source, std::size_t file, std::uint64_t pos,
                        unsigned size, ByteOrder order) {
  unsigned char bytes[8];
  source.read(file, pos, size, bytes);
  std::uint64_t value = 0;
  for (unsigned k = 0; k < size; ++k)
    value |= std::uint64_t{bytes[k]} << (8 * (order == ByteOrder::kBig ? size - 1 - k : k));
  return value;
}

std::uint64_t modDiff(std::uint64_t x, std::uint64_t y, std::uint64_t m) {
  return (x % m + m - y % m) % m;
}

class Finder {
 public:
  Finder(const ByteSource& source, const std::vector<ByteRun>& runs, const ChecksumLimits& limits)
      : source_(source), runs_(runs), limits_(limits), files_(source.files()) {}

  ChecksumSearch run();

 private:
  void collectFields();
  void collectOctalFields(const ByteRun& run);
  void buildEngines();
  void addTargets(Engine& engine);
  std::vector<std::uint64_t> starts() const;
  void scan(std::uint64_t s);
  void scanCrc(Engine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void scanSum(Engine& e, std::uint64_t s, std::uint64_t from, std::size_t count);
  void lookup(Engine& e, std::uint64_t s, std::uint64_t b);
  void readRaw(std::uint64_t from, std::size_t count);
  std::uint64_t stretchStart(std::uint64_t s) const;
  std::uint64_t nextChanging(std::uint64_t b) const;
  void fitCrc(const Target& t, std::uint64_t s, std::uint64_t b);
  void fitSum(const Target& t, std::uint64_t s, std::uint64_t b);
  void freePolynomials();
  std::uint64_t checksumOf(std::size_t file, const Candidate& c, std::uint64_t first,
                           std::uint64_t end, const Field& field) const;
  void accept(const Field& field, const Candidate& c, std::uint64_t first, std::uint64_t end);
  double candidatesFor(const Field& field) const;

  const ByteSource& source_;
  const std::vector<ByteRun>& runs_;
  const ChecksumLimits limits_;
  const std::size_t files_;
  std::size_t pairs_ = 0;
  std::vector<Field> fields_;
  std::vector<bool> done_;  // fields explained already
  std::vector<Engine> engines_;
  std::array<std::vector<unsigned char>, kMaxPairs + 1> raw_;
  std::vector<std::pair<std::size_t, std::size_t>> segments_;  // the chunk's changing bytes
  std::set<std::tuple<std::size_t, std::size_t, std::uint64_t>> hits_;
  std::map<unsigned, double> tried_;  // candidate comparisons per width
  ChecksumSearch result_;
};

void Finder::collectFields() {
  for (const ByteRun& run : runs_) {
    const std::uint64_t length = run.last - run.first + 1;
    for (unsigned size : {1u, 2u, 4u, 8u}) {
      if (size > length) break;
      for (std::uint64_t pos = run.first; pos + size <= run.last + 1; ++pos) {
        const bool nearEnd = pos - run.first < 8 || run.last + 1 - (pos + size) < 8;
        if (length > 16 && !nearEnd) continue;
        for (ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
          if (size == 1 && order == ByteOrder::kBig) continue;
          Field field{pos, size, order, {}, 0};
          for (std::size_t f = 0; f < files_; ++f)
            field.values.push_back(readValue(source_, f, pos, size, order));
          std::vector<std::uint64_t> sorted = field.values;
          std::sort(sorted.begin(), sorted.end());
          field.distinct = std::unique(sorted.begin(), sorted.end()) - sorted.begin();
          if (field.distinct > 1) fields_.push_back(std::move(field));
        }
      }
    }
    collectOctalFields(run);
  }
}

// Checksums written as octal text (tar's header checksum) in or next to a run.
void Finder::collectOctalFields(const ByteRun& run) {
  const std::uint64_t first = run.first > 12 ? run.first - 12 : 0;
  const std::uint64_t end = std::min<std::uint64_t>(source_.length(), run.first + 24);
  std::vector<std::vector<unsigned char>> bytes(files_, std::vector<unsigned char>(end - first));
  for (std::size_t f = 0; f < files_; ++f) source_.read(f, first, end - first, bytes[f].data());
  for (std::uint64_t p = first; p <= run.last && p < end; ++p) {
    const auto isDigit = [&](const auto& b) {
      return b[p - first - 1] >= '0' && b[p - first - 1] <= '7';
    };
    if (p > first && std::any_of(bytes.begin(), bytes.end(), isDigit)) continue;
    unsigned size = 0, digits = 0;
    Field field{p, 0, ByteOrder::kText, octalAt(bytes, p - first, size, digits), 0, 0};
    if (field.values.empty() || p + size <= run.first) continue;
    field.size = size;
    field.digits = digits;
    std::vector<std::uint64_t> sorted = field.values;
    std::sort(sorted.begin(), sorted.end());
    field.distinct = std::unique(sorted.begin(), sorted.end()) - sorted.begin();
    if (field.distinct > 1) fields_.push_back(std::move(field));
  }
}

void Finder::buildEngines() {
  for (unsigned width : {8u, 16u, 32u, 64u}) {
    for (const CrcShape& shape : crcShapes(width)) {
      Engine e(EngineKind::kCrc, width);
      e.base.isCrc = true;
      e.base.crc = CrcParams{width, shape.poly, 0, shape.refin, shape.refin, 0};
      e.crc = std::make_unique<Crc>(e.base.crc);
      e.makeZeroPowers();
      engines_.push_back(std::move(e));
    }
    if (width == 64) continue;
    for (unsigned unit : {1u, 2u, 4u}) {
      if (8 * unit > width) continue;
      for (bool big : {false, true}) {
        if (unit == 1 && big) continue;
        for (unsigned phase = 0; phase < unit; ++phase) {
          for (SumKind kind : {SumKind::kSum, SumKind::kXor}) {
            if (kind == SumKind::kXor && 8 * unit != width) continue;
            Engine e(kind == SumKind::kSum ? EngineKind::kSum : EngineKind::kXor, width);
            e.base.sum = SumParams{kind, width, unit, big, Complement::kNone};
            e.base.phase = phase;
            engines_.push_back(std::move(e));
          }
          SumKind running = SumKind::kSum;
          if (width == 32 && unit == 1) running = SumKind::kAdler32;
          if (width == 16 && unit == 1) running = SumKind::kFletcher16;
          if (width == 32 && unit == 2) running = SumKind::kFletcher32;
          if (running == SumKind::kSum) continue;
          Engine e(EngineKind::kRunning, width);
          e.base.sum = SumParams{running, width, unit, big, Complement::kNone};
          e.base.phase = phase;
          e.modulus = sumModulus(running);
          engines_.push_back(std::move(e));
        }
      }
    }
  }
  for (Engine& engine : engines_) addTargets(engine);
}

void Finder::addTargets(Engine& e) {
  const std::uint64_t mask = widthMask(e.width);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const Field& f = fields_[i];
    if (f.width() != e.width) continue;
    const bool text = f.order == ByteOrder::kText;
    if (text && (e.kind != EngineKind::kSum || e.base.sum.unit != 1)) continue;
    const auto& v = f.values;
    Key key{};
    if (e.kind == EngineKind::kCrc) {
      for (std::size_t k = 0; k < pairs_; ++k) key[k] = v[k + 1] ^ v[0];
      if (key == Key{}) continue;  // a CRC is looked up at every end: no zero difference
      e.add(key, {i, e.base});
      for (std::size_t k = 0; k < pairs_; ++k) key[k] = reflectBits(key[k], e.width);
      Candidate flipped = e.base;
      flipped.crc.refout = !flipped.crc.refin;
      e.add(key, {i, flipped});
      continue;
    }
    if (e.kind == EngineKind::kRunning) {
      const unsigned half = e.width / 2;
      const std::uint64_t m = e.modulus, low = widthMask(half);
      if (std::any_of(v.begin(), v.end(), [&](std::uint64_t x) {
            return (x & low) >= m + (e.modulus == 255) || (x >> half) >= m + (e.modulus == 255);
          }))
        continue;
      for (std::size_t k = 0; k < pairs_; ++k)
        key[k] = modDiff(v[k + 1] >> half, v[0] >> half, m) << half |
                 modDiff(v[k + 1] & low, v[0] & low, m);
      e.add(key, {i, e.base});
      continue;
    }
    // The field's own contribution to the differences, for ranges around it.
    const SumParams& p = e.base.sum;
    Key own{};
    for (std::size_t k = 0; k < pairs_; ++k) {
      unsigned char bytes0[16] = {}, bytesK[16] = {};
      const std::uint64_t first = f.pos - (f.pos + p.unit - e.base.phase) % p.unit;
      source_.read(0, f.pos, f.size, bytes0 + (f.pos - first));
      source_.read(k + 1, f.pos, f.size, bytesK + (f.pos - first));
      for (std::uint64_t at = 0; at < f.pos + f.size - first; at += p.unit) {
        const std::uint64_t w0 = readWord(bytes0 + at, 16, p.unit, p.bigEndian);
        const std::uint64_t wk = readWord(bytesK + at, 16, p.unit, p.bigEndian);
        own[k] = e.kind == EngineKind::kXor ? own[k] ^ w0 ^ wk : own[k] + wk - w0;
      }
    }
    for (Complement c : {Complement::kNone, Complement::kTwos, Complement::kOnes}) {
      if (e.kind == EngineKind::kXor && c != Complement::kNone) continue;
      for (bool around : {false, true}) {
        for (std::size_t k = 0; k < pairs_; ++k) {
          const std::uint64_t d = e.kind == EngineKind::kXor ? v[k + 1] ^ v[0] : v[k + 1] - v[0];
          const std::uint64_t t = c == Complement::kNone ? d : 0 - d;
          key[k] =
              (e.kind == EngineKind::kXor ? (around ? t ^ own[k] : t) : (around ? t + own[k] : t)) &
              mask;
        }
        if (text && c != Complement::kNone) continue;
        Candidate cand = e.base;
        cand.sum.complement = c;
        cand.around = around;
        cand.blanks = around && text;
        e.add(key, {i, cand});
      }
    }
  }
}

// The first byte of the stretch of bytes equal in every file that ends at `s`.
std::uint64_t Finder::stretchStart(std::uint64_t s) const {
  std::uint64_t lo = 0;
  for (const ByteRun& r : runs_) {
    if (r.first >= s) break;
    lo = r.last + 1 > s ? s : r.last + 1;
  }
  return lo;
}

std::uint64_t Finder::nextChanging(std::uint64_t b) const {
  for (const ByteRun& r : runs_)
    if (r.last >= b) return std::max(r.first, b);
  return source_.length();
}

// Bytes [from - 4, from + count) of file 0 and the partners into raw_ (offset
// 4), zeros outside the changing runs.
void Finder::readRaw(std::uint64_t from, std::size_t count) {
  for (auto& buffer : raw_) {
    std::copy(buffer.end() - 4, buffer.end(), buffer.begin());
    std::fill(buffer.begin() + 4, buffer.end(), 0);
  }
  segments_.clear();
  for (const ByteRun& r : runs_) {
    const std::uint64_t lo = std::max(r.first, from), hi = std::min(r.last + 1, from + count);
    if (lo >= hi) continue;
    segments_.push_back({lo - from, hi - from});
    for (std::size_t k = 0; k <= pairs_; ++k)
      source_.read(k, lo, hi - lo, raw_[k].data() + 4 + (lo - from));
  }
}

// Where ranges are tried from: the first byte of every run, then the end of a field that heads
// its run (a checksum before the data it covers), the most common widths first.
std::vector<std::uint64_t> Finder::starts() const {
  std::vector<std::uint64_t> out;
  for (const ByteRun& r : runs_) out.push_back(r.first);
  for (unsigned size : {4u, 2u, 1u, 8u})
    for (const ByteRun& r : runs_)
      if (r.last + 1 - r.first > size && out.size() < limits_.maxStarts + 1)
        out.push_back(r.first + size);
  return out;
}

void Finder::scan(std::uint64_t s) {
  for (Engine& e : engines_) {
    e.a = e.b = {};
    e.synced = s;
  }
  for (auto& buffer : raw_) std::fill(buffer.begin(), buffer.end(), 0);
  const std::uint64_t length = source_.length();
  for (std::uint64_t from = s; from < length; from += kChunk) {
    const std::size_t count = std::min<std::uint64_t>(kChunk, length - from);
    readRaw(from, count);
    for (Engine& e : engines_) {
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
void Finder::scanCrc(Engine& e, std::uint64_t s, std::uint64_t from, std::size_t count) {
  const bool lazy = e.width >= 16;
  std::size_t i = 0;
  tried_[e.width] += 2.0 * count;
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
      if (!e.firstFilter[Engine::firstIndex(e.prefilter(e.a))]) continue;
      e.sync(b, pairs_);
      lookup(e, s, b);
    }
    e.sync(from + i, pairs_);
    for (; i < y; ++i) {
      for (std::size_t k = 0; k < pairs_; ++k)
        e.a[k] = e.crc->step(e.a[k], raw_[0][4 + i] ^ raw_[k + 1][4 + i]);
      e.synced = from + i + 1;
      if (e.firstFilter[Engine::firstIndex(e.prefilter(e.a))]) lookup(e, s, from + i + 1);
    }
  }
}

// Sums change only at words that differ: those ends are looked up. Adler-32 and Fletcher add
// their first sum to the second at every word: between differing words that is done at once,
// unless the first sum matches some field's.
void Finder::scanSum(Engine& e, std::uint64_t s, std::uint64_t from, std::size_t count) {
  const unsigned unit = e.base.sum.unit, phase = e.base.phase;
  const bool running = e.kind == EngineKind::kRunning;
  const std::uint64_t m = e.modulus;
  const auto firstBoundary = [&](std::uint64_t after) {  // the first word end > after
    return after + 1 + (phase + 2 * unit - (after + 1) % unit) % unit;
  };
  const auto skipTo = [&](std::uint64_t last, std::uint64_t next) {  // words (last, next) unchanged
    const std::uint64_t words = next > last + unit ? (next - last) / unit - 1 : 0;
    if (!running || words == 0) return;
    if (e.firstFilter[Engine::firstIndex(e.a[0])]) {
      for (std::uint64_t b = last + unit; b < next; b += unit) {
        for (std::size_t k = 0; k < pairs_; ++k) e.b[k] = (e.b[k] + e.a[k]) % m;
        lookup(e, s, b);
      }
      return;
    }
    for (std::size_t k = 0; k < pairs_; ++k) e.b[k] = (e.b[k] + words % m * e.a[k]) % m;
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
  tried_[e.width] += (e.kind == EngineKind::kSum ? 6.0 : 2.0) * count / unit;
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

void Finder::lookup(Engine& e, std::uint64_t s, std::uint64_t b) {
  Key key{};
  for (std::size_t k = 0; k < pairs_; ++k)
    key[k] = e.kind == EngineKind::kRunning ? e.b[k] << (e.width / 2) | e.a[k]
                                            : e.a[k] & widthMask(e.width);
  const std::vector<Target>* targets = e.find(key);
  if (!targets) return;
  for (const Target& t : *targets) {
    const Field& f = fields_[t.field];
    if (done_[t.field]) continue;
    // Around: the field's last changing byte may come before its end.
    const bool valid =
        t.candidate.around ? s <= f.pos && b > f.pos : b <= f.pos || s >= f.pos + f.size;
    const int variant =
        t.candidate.crc.refout + 2 * int(t.candidate.sum.complement) + 8 * t.candidate.around;
    if (!valid || !hits_.insert({t.field, (&e - engines_.data()) * 16 + variant, s}).second)
      continue;
    if (t.candidate.isCrc)
      fitCrc(t, s, b);
    else
      fitSum(t, s, b);
  }
}

std::uint64_t Finder::checksumOf(std::size_t file, const Candidate& c, std::uint64_t first,
                                 std::uint64_t end, const Field& field) const {
  std::unique_ptr<Crc> crc;
  std::unique_ptr<SumAccumulator> sum;
  std::uint64_t reg = 0;
  if (c.isCrc) {
    crc = std::make_unique<Crc>(c.crc);
    reg = crc->start();
  } else {
    sum = std::make_unique<SumAccumulator>(c.sum);
  }
  std::vector<unsigned char> buffer(kChunk);
  for (std::uint64_t at = first; at < end; at += kChunk) {
    const std::size_t count = std::min<std::uint64_t>(kChunk, end - at);
    source_.read(file, at, count, buffer.data());
    if (c.around)
      for (std::uint64_t p = std::max(at, field.pos);
           p < std::min(at + count, field.pos + field.size); ++p)
        buffer[p - at] = c.blanks ? ' ' : 0;
    if (crc)
      reg = crc->update(reg, buffer.data(), count);
    else
      sum->feed(buffer.data(), count);
  }
  return crc ? crc->finish(reg) : sum->value();
}

double Finder::candidatesFor(const Field& field) const {
  const auto it = tried_.find(field.width());
  return std::max(1.0, (it == tried_.end() ? 0 : it->second) * fields_.size());
}

void Finder::accept(const Field& field, const Candidate& c, std::uint64_t first,
                    std::uint64_t end) {
  for (std::size_t file = 0; file < files_; ++file)
    if (checksumOf(file, c, first, end, field) != field.values[file]) return;
  ChecksumField found;
  found.firstByte = field.pos;
  found.lastByte = field.pos + field.size - 1;
  found.byteOrder = field.order;
  found.isCrc = c.isCrc;
  found.crc = c.crc;
  found.name = c.isCrc ? crcName(c.crc) : nullptr;
  found.sum = c.sum;
  found.coversFirst = first;
  found.coversLast = end - 1;
  found.fieldAsZeros = c.around && !c.blanks;
  found.fieldAsBlanks = c.blanks;
  found.candidates = candidatesFor(field);
  found.chance =
      std::exp2(std::log2(found.candidates) - field.evidenceBits() * (field.distinct - 1));
  if (found.chance < limits_.maxChance) {
    done_[&field - fields_.data()] = true;
    result_.found.push_back(found);
  } else {
    result_.tooFewFiles.push_back(found);
  }
}

void Finder::fitCrc(const Target& t, std::uint64_t s, std::uint64_t b) {
  const Field& f = fields_[t.field];
  Candidate c = t.candidate;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> combos;  // (init, xorout)
  for (const NamedCrc& entry : crcCatalogue()) {
    const CrcParams& p = entry.params;
    if (p.width == c.crc.width && p.poly == c.crc.poly && p.refin == c.crc.refin &&
        p.refout == c.crc.refout)
      combos.push_back({p.init, p.xorout});
  }
  const std::uint64_t ones = widthMask(c.crc.width);
  for (auto combo : {std::pair{ones, ones}, {ones, 0}, {0, 0}, {0, ones}})
    if (std::find(combos.begin(), combos.end(), combo) == combos.end()) combos.push_back(combo);

  const std::uint64_t lo =
      std::max(stretchStart(s), s > limits_.maxStretch ? s - limits_.maxStretch : 0);
  std::vector<unsigned char> buffer(kChunk);
  std::uint64_t widestInit = 0;
  for (std::size_t i = 0; i < combos.size(); ++i) {
    c.crc.init = combos[i].first;
    c.crc.xorout = combos[i].second;
    const Crc crc(c.crc);
    std::uint64_t reg = crc.registerOf(f.values[0]);
    // Back from the range's end to its first changing byte, then through the stretch.
    for (std::uint64_t end = b; end > lo;) {
      const std::uint64_t at = end - std::min<std::uint64_t>(kChunk, end - lo);
      source_.read(0, at, end - at, buffer.data());
      for (std::uint64_t p = end; p > at; --p) {
        if (p <= s && reg == crc.start()) return accept(f, c, p, b);
        reg = crc.unstep(reg, buffer[p - 1 - at]);
      }
      end = at;
    }
    if (reg == crc.start()) return accept(f, c, lo, b);
    if (i == 0) widestInit = crc.initOfRegister(reg);
  }
  c.crc.init = widestInit;
  c.crc.xorout = combos.front().second;
  accept(f, c, lo, b);
}

// Zero words change no sum nor Fletcher: a range's start moved back over the zero words before it.
std::uint64_t extendOverZeros(std::uint64_t start, std::uint64_t lo, unsigned unit,
                              const std::vector<unsigned char>& before) {
  while (start >= lo + unit &&
         std::all_of(before.begin() + (start - unit - lo), before.begin() + (start - lo),
                     [](unsigned char x) { return x == 0; }))
    start -= unit;
  return start;
}

void Finder::fitSum(const Target& t, std::uint64_t s, std::uint64_t b) {
  const Field& f = fields_[t.field];
  const Candidate& c = t.candidate;
  const unsigned unit = c.sum.unit;
  const std::uint64_t stretch = std::min<std::uint64_t>(limits_.maxStretch, 1 << 16);
  const std::uint64_t lo = std::max(stretchStart(s), s > stretch ? s - stretch : 0);
  const std::uint64_t aMax = s - (s + unit - c.phase) % unit;
  if (aMax < lo || aMax > s) return;
  std::vector<unsigned char> before(aMax - lo);
  source_.read(0, lo, before.size(), before.data());
  const auto wordAt = [&](const unsigned char* p) {
    return readWord(p, unit, unit, c.sum.bigEndian);
  };
  if (c.sum.kind == SumKind::kAdler32 || c.sum.kind == SumKind::kFletcher16 ||
      c.sum.kind == SumKind::kFletcher32) {
    // Grow the range backwards: each word prepended adds itself to A and (length + 1) times
    // itself, plus one per byte for Adler-32, to B.
    const std::uint64_t m = sumModulus(c.sum.kind),
                        half = c.sum.kind == SumKind::kFletcher16 ? 8 : 16;
    const std::uint64_t value = checksumOf(0, c, aMax, b, f);
    std::uint64_t a = value & widthMask(half), bb = value >> half, n = (b - aMax) / unit;
    for (std::uint64_t at = aMax;; at -= unit) {
      if ((bb << half | a) == f.values[0])
        return accept(
            f, c, c.sum.kind == SumKind::kAdler32 ? at : extendOverZeros(at, lo, unit, before), b);
      if (at < lo + unit) return;
      const std::uint64_t w = wordAt(&before[at - unit - lo]) % m;
      ++n;
      a = (a + w) % m;
      bb = (bb + n % m * w + (c.sum.kind == SumKind::kAdler32)) % m;
    }
  }
  // Sums and XORs: bytes equal everywhere on either side fold in, so fit both ends on file 0.
  const std::uint64_t mask = widthMask(c.sum.width);
  const bool isXor = c.sum.kind == SumKind::kXor;
  const auto combine = [&](std::uint64_t x, std::uint64_t y) { return isXor ? x ^ y : x + y; };
  std::uint64_t need = f.values[0];
  if (c.sum.complement == Complement::kTwos) need = 0 - need;
  if (c.sum.complement == Complement::kOnes) need = ~need;
  Candidate plain = c;
  plain.sum.complement = Complement::kNone;
  const std::uint64_t mid = checksumOf(0, plain, aMax, b, f);
  std::unordered_map<std::uint64_t, std::uint64_t> prefix{{0, aMax}};  // sum -> latest start
  std::uint64_t sum = 0;
  for (std::uint64_t at = aMax; at >= lo + unit; at -= unit) {
    sum = combine(sum, wordAt(&before[at - unit - lo])) & mask;
    prefix.emplace(sum, at - unit);
  }
  std::uint64_t hi = nextChanging(b);
  if (!c.around && b <= f.pos) hi = std::min(hi, f.pos);
  hi = std::min(hi, b + stretch);
  std::vector<unsigned char> after(hi - b + unit, 0);
  source_.read(0, b, hi - b, after.data());
  if (c.around)
    for (std::uint64_t p = std::max(b, f.pos); p < std::min(hi, f.pos + f.size); ++p)
      after[p - b] = c.blanks ? ' ' : 0;
  // The nearest end that fits, unless the range can end just before its field: data then sum.
  std::uint64_t suffix = 0, start = 0, stop = 0;
  for (std::uint64_t end = b;; end += unit) {
    const std::uint64_t rest = isXor ? need ^ mid ^ suffix : need - mid - suffix;
    const auto it = prefix.find(rest & mask);
    const bool holdsField = !c.around || end >= f.pos + f.size;
    if (it != prefix.end() && holdsField && (stop == 0 || end == f.pos)) {
      start = it->second;
      stop = end;
    }
    if (end + unit > hi || end == f.pos) break;
    suffix = combine(suffix, wordAt(&after[end - b])) & mask;
  }
  if (stop == 0) return;
  while (stop != f.pos && stop + unit <= hi &&
         std::all_of(&after[stop - b], &after[stop - b] + unit,
                     [](unsigned char x) { return x == 0; }))
    stop += unit;
  accept(f, c, extendOverZeros(start, lo, unit, before), stop);
}

// Any polynomial, for the fields still unexplained that end a run, over ranges that end just
// before them and start at that run or one of the two before it.
void Finder::freePolynomials() {
  std::vector<unsigned char> diff, other;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const Field& f = fields_[i];
    const unsigned width = f.size * 8;
    const auto run = std::find_if(runs_.begin(), runs_.end(),
                                  [&](const ByteRun& r) { return r.last == f.pos + f.size - 1; });
    if (done_[i] || width == 64 || run == runs_.end()) continue;
    for (auto r = run; r != runs_.begin() - 1 && run - r < 3; --r) {
      const std::uint64_t s = r->first, b = f.pos;
      if (s >= b || b - s > limits_.maxFreeRange) continue;
      for (int reflection = 0; reflection < 4 && !done_[i]; ++reflection) {
        const bool refin = reflection & 1, refout = reflection & 2;
        Gf2Poly common;
        for (std::size_t k = 1; k < std::min<std::size_t>(files_, 5); ++k) {
          diff.resize(b - s);
          other.resize(b - s);
          source_.read(0, s, b - s, diff.data());
          source_.read(k, s, b - s, other.data());
          for (std::size_t p = 0; p < diff.size(); ++p) diff[p] ^= other[p];
          std::uint64_t stored = f.values[k] ^ f.values[0];
          if (refout) stored = reflectBits(stored, width);
          common = gf2Gcd(common, crcRelation(diff, refin, stored, width));
        }
        tried_[width] += std::exp2(width);
        for (std::uint64_t poly : crcPolynomialsDividing(common, width)) {
          Candidate c;
          c.isCrc = true;
          c.crc = CrcParams{width, poly, 0, refin, refout, 0};
          if (!done_[i]) fitCrc(Target{i, c}, s, b);
        }
      }
    }
  }
}

// Which of two explanations to keep when they cannot both be the format's: named CRCs, then
// CRCs with the initial values formats use, then wider fields, then sums with their field after
// their range, before it, around it; the shorter range first.
auto rank(const ChecksumField& f) {
  const bool usualInit = !f.isCrc || f.crc.init == 0 || f.crc.init == widthMask(f.crc.width);
  const int placement = f.fieldAsZeros ? 2 : f.coversLast < f.firstByte ? 0 : 1;
  return std::tuple{!f.isCrc,   f.name == nullptr,
                    !usualInit, -static_cast<std::int64_t>(f.lastByte - f.firstByte),
                    placement,  f.coversLast - f.coversFirst};
}

// Two explanations in conflict: their fields overlap, or each one's range holds the other's
// field (a checksum over its own range's checksum is a consequence, not a second finding).
bool conflict(const ChecksumField& x, const ChecksumField& y) {
  const auto covers = [](const ChecksumField& f, const ChecksumField& g) {
    return f.coversFirst <= g.firstByte && g.lastByte <= f.coversLast;
  };
  return (x.firstByte <= y.lastByte && y.firstByte <= x.lastByte) || (covers(x, y) && covers(y, x));
}

ChecksumSearch Finder::run() {
  pairs_ = std::min(files_ - 1, kMaxPairs);
  for (auto& buffer : raw_) buffer.assign(kChunk + 4, 0);
  collectFields();
  done_.assign(fields_.size(), false);
  buildEngines();
  auto all = starts();
  if (all.size() > limits_.maxStarts) {
    all.resize(limits_.maxStarts);
    result_.complete = false;
  }
  for (std::uint64_t start : all) scan(start);
  freePolynomials();
  // One explanation per byte, the format's likeliest kept.
  std::vector<ChecksumField> kept;
  std::sort(result_.found.begin(), result_.found.end(),
            [](const ChecksumField& x, const ChecksumField& y) { return rank(x) < rank(y); });
  for (const ChecksumField& f : result_.found)
    if (std::none_of(kept.begin(), kept.end(),
                     [&](const ChecksumField& k) { return conflict(k, f); }))
      kept.push_back(f);
  std::sort(kept.begin(), kept.end(), [](const ChecksumField& x, const ChecksumField& y) {
    return x.firstByte < y.firstByte;
  });
  result_.found = std::move(kept);
  return result_;
}

}  // namespace

ChecksumSearch findChecksums(const ByteSource& source, const std::vector<ByteRun>& changing,
                             const ChecksumLimits& limits) {
  if (source.files() < 3) {  // one pair of files cannot check what it fits
    ChecksumSearch none;
    none.complete = false;
    return none;
  }
  return Finder(source, changing, limits).run();
}
