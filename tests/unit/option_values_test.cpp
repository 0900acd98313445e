#include "options/option_values.h"

#include <gtest/gtest.h>

// "text=limit" (atol before a KB, MB or GB suffix, times it, in 32 bits) or the refusal.
TEST(OptionValues, MemoryLimitSuffixesAtolAndWrapAround) {
  // clang-format off
  const std::string cases[] = {"1KB=1024", "1kb=1024", "2mB=2097152", "3Gb=3221225472", "10=10",
      "10K=10", "5b=5", "1.5GB=1073741824", "4GB=0", "5GB=1073741824", "-1=4294967295",
      "-1KB=4294966272", " \t+7 1=7", " -5x=4294967291", "99999999999999999999=4294967295",
      "-99999999999999999999=0", "100b=suffix", "2TB=suffix", "1 B=suffix", "0=zero", "KB=zero",
      "x1MB=zero", "=zero"};
  // clang-format on
  for (const std::string& c : cases) {
    const std::string text = c.substr(0, c.find('='));
    std::uint32_t limit = 0;
    const MemLimitVerdict verdict = convertMemLimit(text, limit);
    const std::string outcomes[] = {std::to_string(limit), "suffix", "zero"};  // by verdict
    EXPECT_EQ(text + "=" + outcomes[static_cast<int>(verdict)], c);
  }
}
