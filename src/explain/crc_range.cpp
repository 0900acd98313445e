#include "explain/crc_range.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "explain/checksum_evidence.h"

namespace {

// The (init, xorout) pairs tried for a shape: the catalogue's first, then the usual ones.
std::vector<std::pair<std::uint64_t, std::uint64_t>> initsToTry(const CrcParams& shape) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> combos;
  for (const NamedCrc& entry : crcCatalogue()) {
    const CrcParams& p = entry.params;
    if (p.width == shape.width && p.poly == shape.poly && p.refin == shape.refin &&
        p.refout == shape.refout)
      combos.push_back({p.init, p.xorout});
  }
  const std::uint64_t ones = widthMask(shape.width);
  for (auto combo : {std::pair{ones, ones}, {ones, 0}, {0, 0}, {0, ones}})
    if (std::find(combos.begin(), combos.end(), combo) == combos.end()) combos.push_back(combo);
  return combos;
}

}  // namespace

void fitCrc(SearchState& search, const EngineTarget& t, std::uint64_t s, std::uint64_t b) {
  const CandidateField& f = search.fields[t.field];
  ChecksumCandidate c = t.candidate;
  const auto combos = initsToTry(c.crc);
  const std::uint64_t maxStretch = search.limits.maxStretch;
  const std::uint64_t lo = std::max(search.stretchStart(s), s > maxStretch ? s - maxStretch : 0);
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
      search.source.read(0, at, end - at, buffer.data());
      if (c.around)  // the field read as zeros
        for (std::uint64_t p = std::max(at, f.pos); p < std::min(end, f.pos + f.size); ++p)
          buffer[p - at] = 0;
      for (std::uint64_t p = end; p > at; --p) {
        if (p <= s && reg == crc.start()) return accept(search, f, c, p, b);
        reg = crc.unstep(reg, buffer[p - 1 - at]);
      }
      end = at;
    }
    if (reg == crc.start()) return accept(search, f, c, lo, b);
    if (i == 0) widestInit = crc.initOfRegister(reg);
  }
  // Eight bits with an initial value of their own fit too many relations
  // that hold because bytes repeat (block tails of a file system): claimed
  // only with an initial value formats use.
  if (c.crc.width == 8) return;
  c.crc.init = widestInit;
  c.crc.xorout = combos.front().second;
  accept(search, f, c, lo, b);
}
