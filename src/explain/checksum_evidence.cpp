#include "explain/checksum_evidence.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

namespace {

double candidatesFor(const SearchState& search, const CandidateField& field) {
  const auto it = search.tried.find(field.width());
  return std::max(1.0, (it == search.tried.end() ? 0 : it->second) * search.fields.size());
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

// Whether a sum or XOR of [first, end) holds only because bytes repeat. The words of the range
// that change (outside the field) are taken as their change from the first file in every file
// (a difference for sums, an XOR for XORs: CRCs of equal-length data seeded alike differ by a
// constant; an XOR of words is taken byte by byte); equal ones cancel in pairs under XOR, and under
// a sum add up to a multiple of one. An XOR whose words, the field's with them, all cancel, and a
// sum of one changing word (or of copies of one), is a copy of other bytes, not their checksum.
bool onlyCopies(const SearchState& search, const CandidateField& field, const ChecksumCandidate& c,
                std::uint64_t first, std::uint64_t end) {
  if (c.isCrc || (c.sum.kind != SumKind::kSum && c.sum.kind != SumKind::kXor)) return false;
  const bool isXor = c.sum.kind == SumKind::kXor;
  const unsigned unit = isXor ? 1 : c.sum.unit;  // an XOR of words is one of bytes in lanes
  const std::uint64_t mask = unit == 4 ? 0xffffffffu : (1u << (8 * unit)) - 1;
  std::map<std::vector<std::uint64_t>, std::size_t> words;  // changes in every file -> count
  const auto add = [&](std::vector<std::uint64_t> values) {
    for (std::size_t file = values.size(); file-- > 0;)
      values[file] = isXor ? values[file] ^ values[0] : (values[file] - values[0]) & mask;
    if (std::any_of(values.begin(), values.end(), [](std::uint64_t v) { return v != 0; }))
      ++words[values];
  };
  // Only the words holding changing bytes: the others change by zero.
  const auto nextChanging = [&](std::uint64_t b) {
    const auto run =
        std::lower_bound(search.runs.begin(), search.runs.end(), b,
                         [](const ByteRun& r, std::uint64_t at) { return r.last < at; });
    return run == search.runs.end() ? end : std::max(run->first, b);
  };
  unsigned char word[4];
  for (std::uint64_t b = nextChanging(first); b < end;) {
    const std::uint64_t at = first + (b - first) / unit * unit;
    const std::size_t size = std::min<std::uint64_t>(unit, end - at);
    b = nextChanging(at + size);
    if (at < field.pos + field.size && field.pos < at + size) continue;
    std::vector<std::uint64_t> values;
    for (std::size_t file = 0; file < search.files; ++file) {
      search.source.read(file, at, size, word);
      values.push_back(readWord(word, size, unit, c.sum.bigEndian));
    }
    add(values);
  }
  std::size_t left = 0;
  if (isXor) {
    for (unsigned k = 0; k < field.size; ++k) {
      std::vector<std::uint64_t> values;
      for (std::uint64_t v : field.values) values.push_back(v >> (8 * k) & 0xff);
      add(values);
    }
    for (const auto& entry : words) left += entry.second % 2;
    return left == 0;
  }
  return words.size() <= 1;
}

}  // namespace

void accept(SearchState& search, const CandidateField& field, const ChecksumCandidate& c,
            std::uint64_t first, std::uint64_t end) {
  for (std::size_t file = 0; file < search.files; ++file)
    if (search.checksumOf(file, c, first, end, field) != field.values[file]) return;
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
  found.candidates = candidatesFor(search, field);
  found.chance =
      std::exp2(std::log2(found.candidates) - field.evidenceBits() * (field.distinct - 1));
  // Copies are no finding (checked only for findings: a wrong one among too few files to
  // tell misleads no one, and the check reads the range again).
  if (found.chance < search.limits.maxChance && onlyCopies(search, field, c, first, end)) return;
  if (found.chance < search.limits.maxChance) {
    // A sum of no more bytes than its field is a copy of other bytes, and a CRC with an
    // unusual initial value may be one around its field: a likelier one may still be found.
    const bool usualInit = c.crc.init == 0 || c.crc.init == widthMask(c.crc.width);
    if (c.isCrc ? usualInit : end - first > field.size)
      search.done[&field - search.fields.data()] = true;
    search.result.found.push_back(found);
  } else {
    search.result.tooFewFiles.push_back(found);
  }
}

std::vector<ChecksumField> keepLikeliest(std::vector<ChecksumField> found) {
  std::vector<ChecksumField> kept;
  std::sort(found.begin(), found.end(),
            [](const ChecksumField& x, const ChecksumField& y) { return rank(x) < rank(y); });
  for (const ChecksumField& f : found)
    if (std::none_of(kept.begin(), kept.end(),
                     [&](const ChecksumField& k) { return conflict(k, f); }))
      kept.push_back(f);
  std::sort(kept.begin(), kept.end(), [](const ChecksumField& x, const ChecksumField& y) {
    return x.firstByte < y.firstByte;
  });
  return kept;
}
