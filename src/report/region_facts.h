// What the report says about an attribute's findings beyond where its bits
// are: how many informative bits chance alone would give, which regions are
// no more than that, which groups no informative bit tells apart, and what
// number or text each group holds in a region.
//
// Chance: a bit that varies at random (each file's bit 0 or 1 with
// probability 1/2, independently) is uniform in each of the groups of
// k1..kg files (N in all) with probability prod 2^(1-ki), and the same in
// every file with probability 2^(1-N); given that it is not the same in
// every file, it is informative with probability
// p = (prod 2^(1-ki) - 2^(1-N)) / (1 - 2^(1-N)), and the informative bits
// expected by chance are p times the bits that are not constant. A region
// is a chance candidate when each of its bytes holds exactly one
// informative bit and bits that vary inside some group; the candidates'
// bits are chance when they are at most that expectation plus three times
// its square root, and then every candidate region is *likely chance*.
//
// Decoding reads the groups' bytes as the scan saw them (-b, -e applied).
#ifndef OVRELL_REPORT_REGION_FACTS_H_
#define OVRELL_REPORT_REGION_FACTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "report/findings.h"

// The informative bits expected by chance among `notConstant` bits that
// vary at random between files in groups of `groupSizes` files.
double chanceBitsOf(const std::vector<std::size_t>& groupSizes, std::uint64_t notConstant);

// Sets the chance figures and the indistinct groups of scanned findings.
void settleFindings(Findings& findings);

// Whether `region` is likely chance (the header's rule).
bool likelyChance(Findings& findings, const Span& region);

// True when the text is a whole decimal integer (a sign allowed), held in
// `value`.
bool integerOf(const std::string& text, long long& value);

// A region read as one value per group. Integers widen over bytes that are
// the same in every file of every group, to 1, 2, 4 or 8 bytes in either
// byte order ("u8", "u16le", "u32be", ...; "i..." when a group's own value
// is negative); text ("text") is printable in every group and widens over
// such bytes, up to kLongestText bytes, or narrows to the groups' own values
// when each group holds its value there at the same place. A reading that gives every group its
// own value of the attribute wins (`isValue`), integers first and the
// narrowest first; else text of two bytes or more, else the narrowest
// integer whose added bytes are zero and the high-order ones (or none are
// added), little-endian first.
struct Decoded {
  static constexpr std::uint64_t kLongestText = 64;
  std::string encoding;
  std::uint64_t first = 0, last = 0;
  std::vector<std::string> values;  // per group: decimal, or the text itself
  bool isValue = false;
  bool text() const { return encoding == "text"; }
};

// False when no reading fits: a group's byte in the region is not the same
// in all its files, or the region is too long.
bool decodeRegion(Findings& findings, const Span& region, Decoded& decoded);

#endif  // OVRELL_REPORT_REGION_FACTS_H_
