#include "explain/sums.h"

#include "explain/crc.h"

bool operator==(const SumParams& a, const SumParams& b) {
  return a.kind == b.kind && a.width == b.width && a.unit == b.unit && a.bigEndian == b.bigEndian &&
         a.complement == b.complement;
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

SumAccumulator::SumAccumulator(const SumParams& params)
    : params_(params),
      modulus_(sumModulus(params.kind)),
      a_(params.kind == SumKind::kAdler32 ? 1 : 0) {}

void SumAccumulator::feed(const unsigned char* data, std::size_t size) {
  for (std::size_t i = 0; i < size; i += params_.unit) {
    const std::uint32_t word = readWord(data + i, size - i, params_.unit, params_.bigEndian);
    if (params_.kind == SumKind::kXor) {
      a_ ^= word;
    } else if (modulus_ == 0) {
      a_ += word;
    } else {
      a_ = (a_ + word) % modulus_;
      b_ = (b_ + a_) % modulus_;
    }
  }
}

std::uint64_t SumAccumulator::value() const {
  switch (params_.kind) {
    case SumKind::kAdler32:
    case SumKind::kFletcher32:
      return b_ << 16 | a_;
    case SumKind::kFletcher16:
      return b_ << 8 | a_;
    default:
      break;
  }
  std::uint64_t a = a_;
  if (params_.complement == Complement::kTwos) a = 0 - a;
  if (params_.complement == Complement::kOnes) a = ~a;
  return a & widthMask(params_.width);
}

std::uint64_t computeSum(const SumParams& params, const unsigned char* data, std::size_t size) {
  SumAccumulator sum(params);
  sum.feed(data, size);
  return sum.value();
}

const char* sumAlgorithm(SumKind kind) {
  static const char* const names[] = {"sum", "xor", "adler32", "fletcher16", "fletcher32"};
  return names[static_cast<int>(kind)];
}

std::string sumName(const SumParams& p) {
  static const char* const kindNames[] = {"", "", "Adler-32", "Fletcher-16", "Fletcher-32"};
  if (p.kind != SumKind::kSum && p.kind != SumKind::kXor)
    return kindNames[static_cast<int>(p.kind)];
  std::string name = std::to_string(p.width) + "-bit " + (p.kind == SumKind::kXor ? "XOR" : "sum");
  name += p.unit == 1 ? " of bytes"
                      : std::string(" of u") + std::to_string(8 * p.unit) +
                            (p.bigEndian ? "be" : "le") + " words";
  if (p.complement == Complement::kTwos) name += ", two's complement";
  if (p.complement == Complement::kOnes) name += ", one's complement";
  return name;
}
