// Conversions of the text values of `-m` and `-e` into numbers.
//
// Pure functions: they print nothing and never end the process; the option
// parser turns their verdicts into messages.
#ifndef OVRELL_OPTIONS_OPTION_VALUES_H_
#define OVRELL_OPTIONS_OPTION_VALUES_H_

#include <cstdint>
#include <string>

// The C library's atol: leading white space skipped, an optional sign, the
// decimal digits up to the first other character, 0 when there are none.
// Values beyond the range of long are clamped instead of being undefined.
long atolValue(const std::string& text);

enum class MemLimitVerdict { kOk, kBadSuffix, kZeroValue };

// Converts a memory limit such as "100", "64MB", "1kB" or "3Gb". A suffix is
// the last two characters when the text is longer than two characters and
// ends in 'b' or 'B': KB, MB or GB in any mix of case; any other letter
// before the final b is kBadSuffix. The number (atol of the rest) must not be
// 0. On kOk, `limit` is number × multiplier wrapped to 32 bits.
MemLimitVerdict convertMemLimit(const std::string& text, std::uint32_t& limit);

#endif  // OVRELL_OPTIONS_OPTION_VALUES_H_
