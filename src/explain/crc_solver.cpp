#include "explain/crc_solver.h"

namespace {

bool bitOf(const Gf2Poly& p, int i) { return (p[i / 64] >> (i % 64)) & 1; }

void trim(Gf2Poly& p) {
  while (!p.empty() && p.back() == 0) p.pop_back();
}

// a ^= b·x^shift.
void addShifted(Gf2Poly& a, const Gf2Poly& b, int shift) {
  const int words = shift / 64, bits = shift % 64;
  if (a.size() < b.size() + words + 1) a.resize(b.size() + words + 1, 0);
  for (std::size_t i = 0; i < b.size(); ++i) {
    a[i + words] ^= b[i] << bits;
    if (bits != 0) a[i + words + 1] ^= b[i] >> (64 - bits);
  }
  trim(a);
}

// a mod b, and the quotient when asked. REQUIRES: b nonzero.
Gf2Poly remainder(Gf2Poly a, const Gf2Poly& b, Gf2Poly* quotient = nullptr) {
  const int db = gf2Degree(b);
  for (int da = gf2Degree(a); da >= db; da = gf2Degree(a)) {
    if (quotient) {
      if (quotient->size() <= static_cast<std::size_t>((da - db) / 64))
        quotient->resize((da - db) / 64 + 1, 0);
      (*quotient)[(da - db) / 64] |= std::uint64_t{1} << ((da - db) % 64);
    }
    addShifted(a, b, da - db);
  }
  return a;
}

}  // namespace

int gf2Degree(const Gf2Poly& p) {
  for (std::size_t i = p.size(); i-- > 0;)
    if (p[i] != 0) return static_cast<int>(i * 64 + 63 - __builtin_clzll(p[i]));
  return -1;
}

Gf2Poly crcRelation(const std::vector<unsigned char>& diff, bool reflectBytes, std::uint64_t stored,
                    unsigned width) {
  const std::size_t bits = diff.size() * 8 + width;
  Gf2Poly p((bits + 63) / 64 + 1, 0);
  for (std::size_t i = 0; i < diff.size(); ++i)
    for (int bit = 0; bit < 8; ++bit)
      if ((diff[i] >> (reflectBytes ? bit : 7 - bit)) & 1) {
        const std::size_t power = bits - 1 - (i * 8 + bit);
        p[power / 64] |= std::uint64_t{1} << (power % 64);
      }
  p[0] ^= stored;
  trim(p);
  return p;
}

Gf2Poly gf2Gcd(Gf2Poly a, Gf2Poly b) {
  trim(a);
  trim(b);
  while (!b.empty()) {
    Gf2Poly r = remainder(a, b);
    a = std::move(b);
    b = std::move(r);
  }
  return a;
}

std::vector<std::uint64_t> crcPolynomialsDividing(const Gf2Poly& p, unsigned width) {
  std::vector<std::uint64_t> found;
  const int extra = gf2Degree(p) - static_cast<int>(width);
  if (extra < 0 || extra > 8) return found;
  // Try each cofactor q of degree `extra`: p = q·P.
  for (std::uint64_t q = std::uint64_t{1} << extra; q < (std::uint64_t{2} << extra); ++q) {
    Gf2Poly quotient;
    if (!remainder(p, Gf2Poly{q}, &quotient).empty()) continue;
    trim(quotient);
    if (gf2Degree(quotient) != static_cast<int>(width) || !bitOf(quotient, 0)) continue;
    const std::uint64_t poly = quotient[0];  // x^width sits above bit width-1
    found.push_back(width == 64 ? poly : poly & ((std::uint64_t{1} << width) - 1));
  }
  return found;
}
