#include "explain/checksum_engines.h"

#include <algorithm>

namespace {

// A CRC needs the fields' differences; the reflected difference for the other output reflection.
void addCrcTargets(const SearchState& search, ChecksumEngine& e, std::size_t i) {
  const auto& v = search.fields[i].values;
  EngineKey key{};
  for (std::size_t k = 0; k < search.pairs; ++k) key[k] = v[k + 1] ^ v[0];
  if (key == EngineKey{}) return;  // a CRC is looked up at every end: no zero difference
  e.add(key, {i, e.base});
  for (std::size_t k = 0; k < search.pairs; ++k) key[k] = reflectBits(key[k], e.width);
  ChecksumCandidate flipped = e.base;
  flipped.crc.refout = !flipped.crc.refin;
  e.add(key, {i, flipped});
}

// Adler-32 and Fletcher: both halves' differences modulo the modulus, when both fit it.
void addRunningTargets(const SearchState& search, ChecksumEngine& e, std::size_t i) {
  const auto& v = search.fields[i].values;
  const unsigned half = e.width / 2;
  const std::uint64_t m = e.modulus, low = widthMask(half);
  if (std::any_of(v.begin(), v.end(), [&](std::uint64_t x) {
        return (x & low) >= m + (e.modulus == 255) || (x >> half) >= m + (e.modulus == 255);
      }))
    return;
  EngineKey key{};
  for (std::size_t k = 0; k < search.pairs; ++k)
    key[k] =
        modDiff(v[k + 1] >> half, v[0] >> half, m) << half | modDiff(v[k + 1] & low, v[0] & low, m);
  e.add(key, {i, e.base});
}

// The field's own contribution to a sum's or XOR's differences, for ranges around it.
EngineKey ownDifference(const SearchState& search, const ChecksumEngine& e,
                        const CandidateField& f) {
  const SumParams& p = e.base.sum;
  EngineKey own{};
  for (std::size_t k = 0; k < search.pairs; ++k) {
    unsigned char bytes0[16] = {}, bytesK[16] = {};
    const std::uint64_t first = f.pos - (f.pos + p.unit - e.base.phase) % p.unit;
    search.source.read(0, f.pos, f.size, bytes0 + (f.pos - first));
    search.source.read(k + 1, f.pos, f.size, bytesK + (f.pos - first));
    for (std::uint64_t at = 0; at < f.pos + f.size - first; at += p.unit) {
      const std::uint64_t w0 = readWord(bytes0 + at, 16, p.unit, p.bigEndian);
      const std::uint64_t wk = readWord(bytesK + at, 16, p.unit, p.bigEndian);
      own[k] = e.kind == EngineKind::kXor ? own[k] ^ w0 ^ wk : own[k] + wk - w0;
    }
  }
  return own;
}

// Sums and XORs: per complement, the difference before or after the field, or around it.
void addSumTargets(const SearchState& search, ChecksumEngine& e, std::size_t i) {
  const CandidateField& f = search.fields[i];
  const auto& v = f.values;
  const bool text = f.order == FieldOrder::kText, isXor = e.kind == EngineKind::kXor;
  const std::uint64_t mask = widthMask(e.width);
  const EngineKey own = ownDifference(search, e, f);
  for (Complement c : {Complement::kNone, Complement::kTwos, Complement::kOnes}) {
    if ((isXor || text) && c != Complement::kNone) continue;
    for (bool around : {false, true}) {
      EngineKey key{};
      for (std::size_t k = 0; k < search.pairs; ++k) {
        const std::uint64_t d = isXor ? v[k + 1] ^ v[0] : v[k + 1] - v[0];
        const std::uint64_t t = c == Complement::kNone ? d : 0 - d;
        key[k] = (isXor ? (around ? t ^ own[k] : t) : (around ? t + own[k] : t)) & mask;
      }
      ChecksumCandidate cand = e.base;
      cand.sum.complement = c;
      cand.around = around;
      cand.blanks = around && text;
      e.add(key, {i, cand});
    }
  }
}

void addTargets(const SearchState& search, ChecksumEngine& e) {
  for (std::size_t i = 0; i < search.fields.size(); ++i) {
    const CandidateField& f = search.fields[i];
    if (f.width() != e.width) continue;
    const bool text = f.order == FieldOrder::kText;
    if (text && (e.kind != EngineKind::kSum || e.base.sum.unit != 1)) continue;
    if (e.kind == EngineKind::kCrc)
      addCrcTargets(search, e, i);
    else if (e.kind == EngineKind::kRunning)
      addRunningTargets(search, e, i);
    else
      addSumTargets(search, e, i);
  }
}

void addCrcEngines(unsigned width, std::vector<ChecksumEngine>& out) {
  for (const CrcShape& shape : crcShapes(width)) {
    ChecksumEngine e(EngineKind::kCrc, width);
    e.base.isCrc = true;
    e.base.crc = CrcParams{width, shape.poly, 0, shape.refin, shape.refin, 0};
    e.crc = std::make_unique<Crc>(e.base.crc);
    e.makeZeroPowers();
    out.push_back(std::move(e));
  }
}

// Sums and XORs of one word size, byte order and phase; Adler-32 and Fletcher where they fit.
void addSumEngines(unsigned width, unsigned unit, bool big, unsigned phase,
                   std::vector<ChecksumEngine>& out) {
  for (SumKind kind : {SumKind::kSum, SumKind::kXor}) {
    if (kind == SumKind::kXor && 8 * unit != width) continue;
    ChecksumEngine e(kind == SumKind::kSum ? EngineKind::kSum : EngineKind::kXor, width);
    e.base.sum = SumParams{kind, width, unit, big, Complement::kNone};
    e.base.phase = phase;
    out.push_back(std::move(e));
  }
  SumKind running = SumKind::kSum;
  if (width == 32 && unit == 1) running = SumKind::kAdler32;
  if (width == 16 && unit == 1) running = SumKind::kFletcher16;
  if (width == 32 && unit == 2) running = SumKind::kFletcher32;
  if (running == SumKind::kSum) return;
  ChecksumEngine e(EngineKind::kRunning, width);
  e.base.sum = SumParams{running, width, unit, big, Complement::kNone};
  e.base.phase = phase;
  e.modulus = sumModulus(running);
  out.push_back(std::move(e));
}

}  // namespace

std::vector<ChecksumEngine> buildEngines(const SearchState& search) {
  std::vector<ChecksumEngine> engines;
  for (unsigned width : {8u, 16u, 32u, 64u}) {
    addCrcEngines(width, engines);
    if (width == 64) continue;
    for (unsigned unit : {1u, 2u, 4u}) {
      if (8 * unit > width) continue;
      for (bool big : {false, true}) {
        if (unit == 1 && big) continue;
        for (unsigned phase = 0; phase < unit; ++phase)
          addSumEngines(width, unit, big, phase, engines);
      }
    }
  }
  for (ChecksumEngine& engine : engines) addTargets(search, engine);
  return engines;
}
