#include "explain/sum_range.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "explain/checksum_evidence.h"

namespace {

// Zero words change no sum nor Fletcher: a range's start moved back over the zero words before it.
std::uint64_t extendOverZeros(std::uint64_t start, std::uint64_t lo, unsigned unit,
                              const std::vector<unsigned char>& before) {
  while (start >= lo + unit &&
         std::all_of(before.begin() + (start - unit - lo), before.begin() + (start - lo),
                     [](unsigned char x) { return x == 0; }))
    start -= unit;
  return start;
}

// Where a range may start: file 0's bytes [lo, aMax) before the scan's start, aMax on the grid.
struct Before {
  std::uint64_t lo, aMax;
  std::vector<unsigned char> bytes;
};

// Adler-32 and Fletcher: grow the range backwards; each word prepended adds itself to A and
// (length + 1) times itself, plus one per byte for Adler-32, to B.
void fitRunning(SearchState& search, const CandidateField& f, const ChecksumCandidate& c,
                const Before& before, std::uint64_t b) {
  const unsigned unit = c.sum.unit;
  const std::uint64_t m = sumModulus(c.sum.kind),
                      half = c.sum.kind == SumKind::kFletcher16 ? 8 : 16;
  const std::uint64_t value = search.checksumOf(0, c, before.aMax, b, f);
  std::uint64_t a = value & widthMask(half), bb = value >> half, n = (b - before.aMax) / unit;
  for (std::uint64_t at = before.aMax;; at -= unit) {
    if ((bb << half | a) == f.values[0])
      return accept(
          search, f, c,
          c.sum.kind == SumKind::kAdler32 ? at : extendOverZeros(at, before.lo, unit, before.bytes),
          b);
    if (at < before.lo + unit) return;
    const std::uint64_t w =
        readWord(&before.bytes[at - unit - before.lo], unit, unit, c.sum.bigEndian) % m;
    ++n;
    a = (a + w) % m;
    bb = (bb + n % m * w + (c.sum.kind == SumKind::kAdler32)) % m;
  }
}

// The sums of the words before the scan's start, from each start on the grid: sum -> the
// latest start giving it.
std::unordered_map<std::uint64_t, std::uint64_t> prefixSums(const ChecksumCandidate& c,
                                                            const Before& before) {
  const unsigned unit = c.sum.unit;
  const bool isXor = c.sum.kind == SumKind::kXor;
  std::unordered_map<std::uint64_t, std::uint64_t> prefix{{0, before.aMax}};
  std::uint64_t sum = 0;
  for (std::uint64_t at = before.aMax; at >= before.lo + unit; at -= unit) {
    const std::uint64_t w =
        readWord(&before.bytes[at - unit - before.lo], unit, unit, c.sum.bigEndian);
    sum = (isXor ? sum ^ w : sum + w) & widthMask(c.sum.width);
    prefix.emplace(sum, at - unit);
  }
  return prefix;
}

// Whether [first, end) holds, outside the field, the field's bytes at one place in every file.
// A sum or XOR over such a range holds whenever the rest cancels, as copies of one value do
// (blocks of one file that carry the same checksum).
bool holdsCopy(const SearchState& search, const CandidateField& f, std::uint64_t first,
               std::uint64_t end) {
  if (f.order == FieldOrder::kText || end < first + f.size) return false;
  std::vector<unsigned char> field(f.size), bytes(end - first);
  std::vector<bool> same(end - first - f.size + 1, true);
  bool any = true;
  for (std::size_t file = 0; file < search.files && any; ++file) {
    search.source.read(file, f.pos, f.size, field.data());
    search.source.read(file, first, bytes.size(), bytes.data());
    any = false;
    for (std::size_t p = 0; p < same.size(); ++p) {
      if (!same[p]) continue;
      const bool inField = first + p < f.pos + f.size && f.pos < first + p + f.size;
      same[p] = !inField && std::equal(field.begin(), field.end(), bytes.begin() + p);
      any = any || same[p];
    }
  }
  return any;
}

// Sums and XORs: bytes equal everywhere on either side fold in, so fit both ends on file 0.
void fitPlain(SearchState& search, const CandidateField& f, const ChecksumCandidate& c,
              const Before& before, std::uint64_t b, std::uint64_t stretch) {
  const unsigned unit = c.sum.unit;
  const std::uint64_t mask = widthMask(c.sum.width);
  const bool isXor = c.sum.kind == SumKind::kXor;
  const auto combine = [&](std::uint64_t x, std::uint64_t y) { return isXor ? x ^ y : x + y; };
  std::uint64_t need = f.values[0];
  if (c.sum.complement == Complement::kTwos) need = 0 - need;
  if (c.sum.complement == Complement::kOnes) need = ~need;
  ChecksumCandidate plain = c;
  plain.sum.complement = Complement::kNone;
  const std::uint64_t mid = search.checksumOf(0, plain, before.aMax, b, f);
  const auto prefix = prefixSums(c, before);
  std::uint64_t hi = search.nextChanging(b);
  if (!c.around && b <= f.pos) hi = std::min(hi, f.pos);
  hi = std::min(hi, b + stretch);
  std::vector<unsigned char> after(hi - b + unit, 0);
  search.source.read(0, b, hi - b, after.data());
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
    suffix = combine(suffix, readWord(&after[end - b], unit, unit, c.sum.bigEndian)) & mask;
  }
  // A range of no more bytes than the field is a copy of other bytes, not a checksum of them.
  if (stop == 0 || stop - start <= f.size) return;
  while (stop != f.pos && stop + unit <= hi &&
         std::all_of(&after[stop - b], &after[stop - b] + unit,
                     [](unsigned char x) { return x == 0; }))
    stop += unit;
  start = extendOverZeros(start, before.lo, unit, before.bytes);
  if (!holdsCopy(search, f, start, stop)) accept(search, f, c, start, stop);
}

}  // namespace

void fitSum(SearchState& search, const EngineTarget& t, std::uint64_t s, std::uint64_t b) {
  const CandidateField& f = search.fields[t.field];
  const ChecksumCandidate& c = t.candidate;
  const unsigned unit = c.sum.unit;
  const std::uint64_t stretch = std::min<std::uint64_t>(search.limits.maxStretch, 1 << 16);
  Before before;
  before.lo = std::max(search.stretchStart(s), s > stretch ? s - stretch : 0);
  before.aMax = s - (s + unit - c.phase) % unit;
  if (before.aMax < before.lo || before.aMax > s) return;
  before.bytes.resize(before.aMax - before.lo);
  search.source.read(0, before.lo, before.bytes.size(), before.bytes.data());
  if (c.sum.kind == SumKind::kAdler32 || c.sum.kind == SumKind::kFletcher16 ||
      c.sum.kind == SumKind::kFletcher32)
    fitRunning(search, f, c, before, b);
  else
    fitPlain(search, f, c, before, b, stretch);
}
