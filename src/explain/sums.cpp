#include "explain/sums.h"

#include "explain/crc.h"

bool operator==(const SumParams& a, const SumParams& b) {
  return a.kind == b.kind && a.width == b.width && a.unit == b.unit &&
         a.bigEndian == b.bigEndian && a.complement == b.complement;
}

std::uint32_t readWord(const unsigned char* data, std::size_t available, unsigned unit,
                       bool bigEndian) {
  std::uint32_t word = 0;
  for (unsigned k = 0; k < unit; ++k) {
    const std::uint32_t byte = k < available ? data[k] : 0;
    word |= byte << (8 * (bigEndian ? unit - 1 - k : k));
  }
  return word;
}

std::uint32_t sumModulus(SumKind kind) {
  switch (kind) {
    case SumKind::kAdler32:
      return 65521;
    case SumKind::kFletcher16:
      return 255;
    case SumKind::kFletcher32:
      return 65535;
    default:
      return 0;
  }
}

std::uint64_t computeSum(const SumParams& p, const unsigned char* data, std::size_t size) {
  const std::uint64_t modulus = sumModulus(p.kind);
  std::uint64_t a = p.kind == SumKind::kAdler32 ? 1 : 0, b = 0;
  for (std::size_t i = 0; i < size; i += p.unit) {
    const std::uint32_t word = readWord(data + i, size - i, p.unit, p.bigEndian);
    if (p.kind == SumKind::kXor) {
      a ^= word;
    } else if (modulus == 0) {
      a += word;
    } else {
      a = (a + word) % modulus;
      b = (b + a) % modulus;
    }
  }
  switch (p.kind) {
    case SumKind::kAdler32:
    case SumKind::kFletcher32:
      return b << 16 | a;
    case SumKind::kFletcher16:
      return b << 8 | a;
    default:
      break;
  }
  if (p.complement == Complement::kTwos) a = 0 - a;
  if (p.complement == Complement::kOnes) a = ~a;
  return a & widthMask(p.width);
}

const char* sumAlgorithm(SumKind kind) {
  static const char* const names[] = {"sum", "xor", "adler32", "fletcher16", "fletcher32"};
  return names[static_cast<int>(kind)];
}

std::string sumName(const SumParams& p) {
  static const char* const kindNames[] = {"", "", "Adler-32", "Fletcher-16", "Fletcher-32"};
  if (p.kind != SumKind::kSum && p.kind != SumKind::kXor) return kindNames[static_cast<int>(p.kind)];
  std::string name = std::to_string(p.width) + "-bit " + (p.kind == SumKind::kXor ? "XOR" : "sum");
  name += p.unit == 1 ? " of bytes"
                      : std::string(" of u") + std::to_string(8 * p.unit) +
                            (p.bigEndian ? "be" : "le") + " words";
  if (p.complement == Complement::kTwos) name += ", two's complement";
  if (p.complement == Complement::kOnes) name += ", one's complement";
  return name;
}
