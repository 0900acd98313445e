#include "options/option_values.h"

#include <cstdlib>

long atolValue(const std::string& text) {
  // glibc's atol is strtol(text, NULL, 10); strtol clamps where atol is undefined.
  return std::strtol(text.c_str(), nullptr, 10);
}

MemLimitVerdict convertMemLimit(const std::string& text, std::uint32_t& limit) {
  std::string number = text;
  std::uint32_t multiplier = 1;
  const std::size_t n = text.size();
  if (n > 2 && (text[n - 1] == 'b' || text[n - 1] == 'B')) {
    switch (text[n - 2]) {
      case 'K':
      case 'k':
        multiplier = 1024;
        break;
      case 'M':
      case 'm':
        multiplier = 1048576;
        break;
      case 'G':
      case 'g':
        multiplier = 1073741824;
        break;
      default:
        return MemLimitVerdict::kBadSuffix;
    }
    number.resize(n - 2);
  }
  const long value = atolValue(number);
  if (value == 0) return MemLimitVerdict::kZeroValue;
  limit = static_cast<std::uint32_t>(value) * multiplier;  // wraps modulo 2^32
  return MemLimitVerdict::kOk;
}
