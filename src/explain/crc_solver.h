// The polynomial of an unknown CRC, from differences of files over GF(2).
//
// With init 0 and no final XOR, the CRC of a message M(x) is M(x)·x^w mod P;
// XORing two files' ranges and their stored CRCs removes init and final XOR,
// so P divides D(x)·x^w + S(x) for each pair's data difference D and stored
// difference S. The polynomial is what the greatest common divisor of those
// leaves at degree w. Pure arithmetic, no I/O.
#ifndef OVRELL_EXPLAIN_CRC_SOLVER_H_
#define OVRELL_EXPLAIN_CRC_SOLVER_H_

#include <cstdint>
#include <vector>

// A polynomial over GF(2): bit i of word i / 64 is the coefficient of x^i.
using Gf2Poly = std::vector<std::uint64_t>;

// D(x)·x^width + S(x) for the bytes of `diff` (the first byte the highest
// terms, each byte's most significant bit first, or its least significant
// bit first when `reflectBytes`).
Gf2Poly crcRelation(const std::vector<unsigned char>& diff, bool reflectBytes, std::uint64_t stored,
                    unsigned width);
Gf2Poly gf2Gcd(Gf2Poly a, Gf2Poly b);
int gf2Degree(const Gf2Poly& p);

// The polynomials of degree `width` with their x^0 term that divide `p`,
// without the x^width term, the most likely first; empty when the degree of
// `p` exceeds width + 8.
std::vector<std::uint64_t> crcPolynomialsDividing(const Gf2Poly& p, unsigned width);

#endif  // OVRELL_EXPLAIN_CRC_SOLVER_H_
