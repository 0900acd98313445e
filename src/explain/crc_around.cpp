#include "explain/crc_around.h"

#include <algorithm>
#include <vector>

#include "explain/crc_range.h"

namespace {

constexpr std::uint64_t kAroundBudget = std::uint64_t{64} << 20;

// The XOR of file 0 and file `k` over [s, b), the field's bytes zeroed.
std::vector<unsigned char> differences(const SearchState& search, const CandidateField& f,
                                       std::size_t k, std::uint64_t s, std::uint64_t b) {
  std::vector<unsigned char> diff(b - s), other(b - s);
  search.source.read(0, s, b - s, diff.data());
  search.source.read(k, s, b - s, other.data());
  for (std::size_t p = 0; p < diff.size(); ++p) diff[p] ^= other[p];
  std::fill(diff.begin() + (f.pos - s), diff.begin() + (f.pos + f.size - s), 0);
  return diff;
}

// Tries every catalogue shape of the field's width over [s, b).
void tryRange(SearchState& search, std::size_t i, std::uint64_t s, std::uint64_t b) {
  const CandidateField& f = search.fields[i];
  const unsigned width = f.width();
  std::vector<std::vector<unsigned char>> diffs;
  for (std::size_t k = 1; k <= search.pairs; ++k) diffs.push_back(differences(search, f, k, s, b));
  for (const CrcShape& shape : crcShapes(width)) {
    const Crc crc(CrcParams{width, shape.poly, 0, shape.refin, shape.refin, 0});
    search.tried[width] += 2;
    bool same = true, reflected = true;
    for (std::size_t k = 1; k <= search.pairs; ++k) {
      // With init and final XOR zero, the CRC of the differences is the difference of the CRCs.
      const std::uint64_t got = crc.compute(diffs[k - 1].data(), diffs[k - 1].size());
      const std::uint64_t want = f.values[k] ^ f.values[0];
      same &= got == want;
      reflected &= got == reflectBits(want, width);
    }
    for (bool refout : {shape.refin, !shape.refin}) {
      if (search.done[i] || !(refout == shape.refin ? same : reflected)) continue;
      ChecksumCandidate c;
      c.isCrc = true;
      c.crc = CrcParams{width, shape.poly, 0, shape.refin, refout, 0};
      c.around = true;
      fitCrc(search, EngineTarget{i, c}, s, b);
    }
  }
}

}  // namespace

void findCrcsAround(SearchState& search) {
  const auto& runs = search.runs;
  const std::uint64_t shapes = 1 + crcShapes(32).size();
  std::uint64_t budget = kAroundBudget;  // bytes of CRC computed
  for (std::size_t i = 0; i < search.fields.size(); ++i) {
    const CandidateField& f = search.fields[i];
    if (search.done[i] || f.order == FieldOrder::kText || f.size < 2) continue;
    const std::size_t run = static_cast<std::size_t>(
        std::find_if(runs.begin(), runs.end(), [&](const ByteRun& r) { return r.last >= f.pos; }) -
        runs.begin());
    for (std::size_t first = run + 1; first-- > 0 && run - first < 3;)
      for (std::size_t last = run; last < runs.size() && last - run < 3; ++last) {
        const std::uint64_t s = std::min(runs[first].first, f.pos), b = runs[last].last + 1;
        if (b <= f.pos + f.size || b - s > search.limits.maxFreeRange || search.done[i]) continue;
        const std::uint64_t cost = (b - s) * search.pairs * shapes;
        if (cost > budget) {
          search.result.complete = false;
          return;
        }
        budget -= cost;
        tryRange(search, i, s, b);
      }
  }
}
