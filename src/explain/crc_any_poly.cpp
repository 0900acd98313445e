#include "explain/crc_any_poly.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "explain/crc_range.h"
#include "explain/crc_solver.h"

namespace {

// The common factor of the relations of file 0 with files 1..4 over [s, b) for field `f`.
Gf2Poly commonRelation(const SearchState& search, const CandidateField& f, std::uint64_t s,
                       std::uint64_t b, bool refin, bool refout) {
  const unsigned width = f.size * 8;
  std::vector<unsigned char> diff(b - s), other(b - s);
  Gf2Poly common;
  for (std::size_t k = 1; k < std::min<std::size_t>(search.files, 5); ++k) {
    search.source.read(0, s, b - s, diff.data());
    search.source.read(k, s, b - s, other.data());
    for (std::size_t p = 0; p < diff.size(); ++p) diff[p] ^= other[p];
    std::uint64_t stored = f.values[k] ^ f.values[0];
    if (refout) stored = reflectBits(stored, width);
    common = gf2Gcd(common, crcRelation(diff, refin, stored, width));
  }
  return common;
}

void solveField(SearchState& search, std::size_t i, std::size_t run) {
  const CandidateField& f = search.fields[i];
  const unsigned width = f.size * 8;
  for (std::size_t r = run + 1; r-- > 0 && run - r < 3;) {
    const std::uint64_t s = search.runs[r].first, b = f.pos;
    if (s >= b || b - s > search.limits.maxFreeRange) continue;
    for (int reflection = 0; reflection < 4 && !search.done[i]; ++reflection) {
      const bool refin = reflection & 1, refout = reflection & 2;
      const Gf2Poly common = commonRelation(search, f, s, b, refin, refout);
      search.tried[width] += std::exp2(width);
      for (std::uint64_t poly : crcPolynomialsDividing(common, width)) {
        ChecksumCandidate c;
        c.isCrc = true;
        c.crc = CrcParams{width, poly, 0, refin, refout, 0};
        if (!search.done[i]) fitCrc(search, EngineTarget{i, c}, s, b);
      }
    }
  }
}

}  // namespace

void findAnyPolynomial(SearchState& search) {
  for (std::size_t i = 0; i < search.fields.size(); ++i) {
    const CandidateField& f = search.fields[i];
    const auto run = std::find_if(search.runs.begin(), search.runs.end(),
                                  [&](const ByteRun& r) { return r.last == f.pos + f.size - 1; });
    if (search.done[i] || f.size == 8 || run == search.runs.end()) continue;
    solveField(search, i, static_cast<std::size_t>(run - search.runs.begin()));
  }
}
