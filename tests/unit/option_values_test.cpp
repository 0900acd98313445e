// The text values of -m and -e.
#include "options/option_values.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

namespace {

TEST(AtolValue, ReadsLikeTheCLibrary) {
  const std::vector<std::pair<std::string, long>> cases = {
      {"", 0},    {"x", 0},   {"42", 42}, {"  42", 42}, {"\t\n\v\f\r 7", 7}, {"-5", -5},
      {"+7", 7},  {"4x", 4},  {"1.5", 1}, {"007", 7},   {"0x10", 0},         {"- 3", 0},
      {"+-3", 0}, {"3 4", 3}, {"--3", 0}, {"-0", 0},    {"12KB", 12},        {" -8b", -8},
  };
  for (const auto& [text, value] : cases) {
    SCOPED_TRACE("text: [" + text + "]");
    EXPECT_EQ(atolValue(text), value);
  }
}

TEST(AtolValue, ClampsValuesOutsideTheRangeOfLong) {
  EXPECT_EQ(atolValue("99999999999999999999999"), LONG_MAX);
  EXPECT_EQ(atolValue("-99999999999999999999999"), LONG_MIN);
  EXPECT_EQ(atolValue("9223372036854775807"), LONG_MAX);
  EXPECT_EQ(atolValue("-9223372036854775808"), LONG_MIN);
}

struct LimitCase {
  std::string text;
  MemLimitVerdict verdict;
  std::uint32_t limit;  // checked only when the verdict is kOk
};

void expectLimits(const std::vector<LimitCase>& cases) {
  for (const LimitCase& c : cases) {
    SCOPED_TRACE("text: [" + c.text + "]");
    std::uint32_t limit = 12345;
    MemLimitVerdict verdict = convertMemLimit(c.text, limit);
    EXPECT_EQ(verdict, c.verdict);
    if (c.verdict == MemLimitVerdict::kOk && verdict == MemLimitVerdict::kOk) {
      EXPECT_EQ(limit, c.limit);
    }
  }
}

constexpr MemLimitVerdict kOk = MemLimitVerdict::kOk;
constexpr MemLimitVerdict kBadSuffix = MemLimitVerdict::kBadSuffix;
constexpr MemLimitVerdict kZero = MemLimitVerdict::kZeroValue;

TEST(MemLimit, SuffixesAreKbMbGbInAnyCase) {
  expectLimits({
      {"1KB", kOk, 1024},
      {"1kb", kOk, 1024},
      {"1kB", kOk, 1024},
      {"1Kb", kOk, 1024},
      {"2mb", kOk, 2097152},
      {"64MB", kOk, 67108864},
      {"3Gb", kOk, 3221225472u},
      {"1gB", kOk, 1073741824},
      {"  64MB", kOk, 67108864},
      {"64 MB", kOk, 67108864},
  });
}

TEST(MemLimit, WithoutASuffixTheWholeTextIsTheNumber) {
  expectLimits({
      {"10", kOk, 10},
      {"100000000", kOk, 100000000},
      {"100K", kOk, 100},
      {"10K", kOk, 10},
      {"1M", kOk, 1},
      {"1GBx", kOk, 1},
      {"12 apples", kOk, 12},
  });
}

TEST(MemLimit, TextsOfTwoOrFewerCharactersNeverHaveASuffix) {
  expectLimits({
      {"5b", kOk, 5},
      {"9B", kOk, 9},
      {"KB", kZero, 0},
      {"mb", kZero, 0},
      {"bb", kZero, 0},
      {"b", kZero, 0},
      {"", kZero, 0},
  });
}

TEST(MemLimit, AnyOtherLetterBeforeAFinalBIsABadSuffix) {
  expectLimits({
      {"100b", kBadSuffix, 0},
      {"100B", kBadSuffix, 0},
      {"2TB", kBadSuffix, 0},
      {"1bb", kBadSuffix, 0},
      {"1 B", kBadSuffix, 0},
      {"0TB", kBadSuffix, 0},
      {"xyb", kBadSuffix, 0},
  });
}

TEST(MemLimit, ANumberReadingAsZeroIsRefused) {
  expectLimits({
      {"0", kZero, 0},
      {"0KB", kZero, 0},
      {"xMB", kZero, 0},
      {"abc", kZero, 0},
      {"0.5GB", kZero, 0},
  });
}

TEST(MemLimit, ConversionStopsAtTheFirstNonDigit) {
  expectLimits({
      {"1.5GB", kOk, 1073741824},
      {"2.9MB", kOk, 2097152},
  });
}

TEST(MemLimit, ProductWrapsToThirtyTwoBits) {
  expectLimits({
      {"4GB", kOk, 0},
      {"5GB", kOk, 1073741824},
      {"4096MB", kOk, 0},
      {"4097MB", kOk, 1048576},
      {"4294967296", kOk, 0},
      {"4294967297", kOk, 1},
      {"99999999999", kOk, 1215752191u},
  });
}

TEST(MemLimit, NegativeValuesWrap) {
  expectLimits({
      {"-1", kOk, 4294967295u},
      {"-1KB", kOk, 4294966272u},
      {"-1GB", kOk, 3221225472u},
      {"-100000000", kOk, 4194967296u},
  });
}

}  // namespace
