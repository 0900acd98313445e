// Chance, indistinct groups and decoded values; contract in
// report/region_facts.h.
#include "report/region_facts.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <map>

namespace {

// The sets of groups whose bytes agree at every informative bit, refined
// record by record; sets of one group are dropped.
std::vector<std::vector<std::size_t>> indistinctGroups(Findings& f) {
  const std::size_t groups = f.groups.size();
  std::vector<std::size_t> set(groups, 0);
  std::size_t sets = 1;
  for (std::uint64_t p = 0; p < f.bytes.count() && sets < groups; ++p) {
    const std::uint64_t offset = offsetAt(f, p);
    const unsigned char informative = informativeAt(f, p);
    std::map<std::pair<std::size_t, unsigned>, std::size_t> next;
    for (std::size_t g = 0; g < groups; ++g) {
      const unsigned bits = f.data->at((*f.groups[g].files)[0], offset) & informative;
      set[g] = next.emplace(std::make_pair(set[g], bits), next.size()).first->second;
    }
    sets = next.size();
  }
  std::vector<std::vector<std::size_t>> members(sets);
  for (std::size_t g = 0; g < groups; ++g) members[set[g]].push_back(g);
  std::vector<std::vector<std::size_t>> out;
  for (auto& m : members)
    if (m.size() > 1) out.push_back(std::move(m));
  std::sort(out.begin(), out.end());
  return out;
}

// The byte at `offset` when it is the same in every file of every group.
bool constantAt(Findings& f, std::uint64_t offset, unsigned char& byte) {
  for (std::size_t g = 0; g < f.groups.size(); ++g) {
    unsigned char uniform = 0;
    const unsigned char value = groupByteAt(f, offset, g, uniform);
    if (uniform != 0xFF || (g > 0 && value != byte)) return false;
    byte = value;
  }
  return true;
}

bool printable(unsigned char byte) { return byte >= 0x20 && byte <= 0x7E; }

// Whether [from, to] outside [first, last] is constant (zero with `zero`).
bool constantAround(Findings& f, std::uint64_t from, std::uint64_t to, const Span& region,
                    bool zero) {
  for (std::uint64_t at = from; at <= to; ++at) {
    if (at >= region.first && at <= region.last) continue;
    unsigned char byte = 0;
    if (!constantAt(f, at, byte) || (zero && byte != 0)) return false;
  }
  return true;
}

std::uint64_t integerAt(const std::vector<std::vector<unsigned char>>& bytes, std::size_t g,
                        std::uint64_t from, unsigned width, bool little) {
  std::uint64_t value = 0;
  for (unsigned k = 0; k < width; ++k)
    value = value << 8 | bytes[g][from + (little ? width - 1 - k : k)];
  return value;
}

class RegionDecoder {
 public:
  RegionDecoder(Findings& f, const Span& region) : f_(f), region_(region) {}

  bool decode(Decoded& out) {
    const std::uint64_t length = region_.last - region_.first + 1;
    if (length > Decoded::kLongestText) return false;
    if (!readWindow()) return false;
    Decoded text;
    const bool hasText = readText(text);
    if (length <= 8 && integer(length, true, out)) return true;
    if (hasText && text.isValue) return out = text, true;
    if (hasText && text.last > text.first) return out = text, true;
    return length <= 8 && integer(length, false, out);
  }

 private:
  // Each group's bytes from 7 before the region to 7 after it (within the
  // file); false when a group's region byte differs between its files.
  bool readWindow() {
    start_ = region_.first - std::min<std::uint64_t>(region_.first, 7);
    end_ = std::min(region_.last + 8, f_.fileSize);
    bytes_.assign(f_.groups.size(), {});
    for (std::size_t g = 0; g < f_.groups.size(); ++g)
      for (std::uint64_t at = region_.first; at <= region_.last; ++at) {
        unsigned char uniform = 0;
        bytes_[g].push_back(groupByteAt(f_, at, g, uniform));
        if (uniform != 0xFF) return false;
      }
    return true;
  }
  unsigned char byteOf(std::size_t g, std::uint64_t at) {
    if (at >= region_.first && at <= region_.last) return bytes_[g][at - region_.first];
    unsigned char uniform = 0;
    return groupByteAt(f_, at, g, uniform);
  }

  // Every group's bytes [from, from + width) as an integer read both ways;
  // sets out when the one tried (or, with `asValue`, any) fits.
  bool tryInteger(std::uint64_t from, unsigned width, bool little, bool asValue, Decoded& out) {
    std::vector<std::vector<unsigned char>> bytes(f_.groups.size());
    for (std::size_t g = 0; g < f_.groups.size(); ++g)
      for (std::uint64_t at = from; at < from + width; ++at) bytes[g].push_back(byteOf(g, at));
    Decoded d;
    d.first = from, d.last = from + width - 1;
    bool negative = false, all = true;
    std::vector<long long> signedValues;
    for (std::size_t g = 0; g < f_.groups.size(); ++g) {
      const std::uint64_t value = integerAt(bytes, g, 0, width, little);
      const unsigned shift = 64 - 8 * width;
      signedValues.push_back(static_cast<long long>(value << shift) >> shift);
      long long own = 0;
      const bool number = integerOf(f_.groups[g].value, own);
      negative = negative || (number && own < 0);
      all = all && number &&
            (own < 0 ? signedValues.back() == own : static_cast<std::uint64_t>(own) == value);
      d.values.push_back(std::to_string(value));
    }
    if (asValue && !all) return false;
    d.isValue = all;
    const bool asSigned = all && negative;
    d.encoding = std::string(asSigned ? "i" : "u") + std::to_string(8 * width) +
                 (width == 1 ? ""
                  : little   ? "le"
                             : "be");
    if (asSigned)
      for (std::size_t g = 0; g < f_.groups.size(); ++g)
        d.values[g] = std::to_string(signedValues[g]);
    out = d;
    return true;
  }

  // The widest integer reading: with `asValue` the first that gives every
  // group its value, else the natural one (header).
  bool integer(std::uint64_t length, bool asValue, Decoded& out) {
    for (unsigned width : {8U, 4U, 2U, 1U}) {
      if (width < length) break;
      const std::uint64_t low = region_.last + 1 >= width ? region_.last + 1 - width : 0;
      for (std::uint64_t from = std::max(low, start_); asValue && from <= region_.first; ++from) {
        if (from + width > end_ || !constantAround(f_, from, from + width - 1, region_, false))
          continue;
        if (tryInteger(from, width, true, true, out)) return true;
        if (width > 1 && tryInteger(from, width, false, true, out)) return true;
      }
      if (asValue) continue;
      const std::uint64_t right = region_.first + width - 1;
      if (right < end_ && constantAround(f_, region_.first, right, region_, true))
        return tryInteger(region_.first, width, true, false, out);
      if (region_.last + 1 >= width &&
          constantAround(f_, region_.last + 1 - width, region_.last, region_, true))
        return tryInteger(region_.last + 1 - width, width, false, false, out);
    }
    return false;
  }

  // The region and the constant printable bytes around it, as text.
  bool readText(Decoded& out) {
    for (const auto& group : bytes_)
      if (!std::all_of(group.begin(), group.end(), printable)) return false;
    std::uint64_t first = region_.first, last = region_.last;
    unsigned char byte = 0;
    while (last + 1 - first < Decoded::kLongestText && first > 0 &&
           constantAt(f_, first - 1, byte) && printable(byte))
      --first;
    while (last + 1 - first < Decoded::kLongestText && last + 1 < f_.fileSize &&
           constantAt(f_, last + 1, byte) && printable(byte))
      ++last;
    out.encoding = "text";
    out.first = first, out.last = last;
    for (std::size_t g = 0; g < f_.groups.size(); ++g) {
      out.values.emplace_back();
      for (std::uint64_t at = first; at <= last; ++at)
        out.values.back() += static_cast<char>(byteOf(g, at));
    }
    findValues(out);
    return true;
  }

  // Narrows text to the groups' own values when every group holds its value
  // at the same place, over the whole region.
  void findValues(Decoded& text) const {
    const std::uint64_t length = f_.groups[0].value.size();
    for (const ReportGroup& group : f_.groups)
      if (group.value.size() != length) return;
    if (length < region_.last - region_.first + 1) return;
    const std::uint64_t low = region_.last + 1 >= length ? region_.last + 1 - length : 0;
    for (std::uint64_t from = std::max(low, text.first); from <= region_.first; ++from) {
      if (from + length - 1 > text.last) return;
      bool all = true;
      for (std::size_t g = 0; g < f_.groups.size() && all; ++g)
        all = text.values[g].compare(from - text.first, length, f_.groups[g].value) == 0;
      if (!all) continue;
      for (std::size_t g = 0; g < f_.groups.size(); ++g) text.values[g] = f_.groups[g].value;
      text.first = from, text.last = from + length - 1, text.isValue = true;
      return;
    }
  }

  Findings& f_;
  const Span& region_;
  std::uint64_t start_ = 0, end_ = 0;
  std::vector<std::vector<unsigned char>> bytes_;  // per group, the region's
};

}  // namespace

double chanceBitsOf(const std::vector<std::size_t>& groupSizes, std::uint64_t notConstant) {
  std::uint64_t files = 0;
  for (std::size_t size : groupSizes) files += size;
  if (files < 2 || groupSizes.size() < 2) return 0;
  // prod 2^(1-ki) = 2^(g-N), and the difference 2^(1-N) (2^(g-1) - 1).
  const double constant =
      std::ldexp(1.0, 1 - static_cast<int>(std::min<std::uint64_t>(files, 2000)));
  const double uniform =
      constant *
      (std::ldexp(1.0, static_cast<int>(std::min<std::size_t>(groupSizes.size(), 2000)) - 1) - 1);
  const double p = groupSizes.size() == files ? 1.0 : uniform / (1 - constant);
  return p * static_cast<double>(notConstant);
}

void settleFindings(Findings& f) {
  std::vector<std::size_t> sizes;
  for (const ReportGroup& group : f.groups) sizes.push_back(group.files->size());
  f.chanceBits = chanceBitsOf(sizes, f.informative + f.varying);
  f.candidatesAreChance = f.chanceCandidates > 0 && static_cast<double>(f.chanceCandidates) <=
                                                        f.chanceBits + 3 * std::sqrt(f.chanceBits);
  f.indistinct.clear();
  if (f.groups.size() > 1 && f.stretches.count() == 0) f.indistinct = indistinctGroups(f);
}

bool likelyChance(Findings& f, const Span& region) {
  if (!f.candidatesAreChance) return false;
  for (std::uint64_t p = region.from; p <= region.to; ++p) {
    if (__builtin_popcount(informativeAt(f, p)) != 1) return false;
    bool varies = false;
    for (std::size_t g = 0; g < f.groups.size() && !varies; ++g) {
      unsigned char uniform = 0;
      groupByteAt(f, offsetAt(f, p), g, uniform);
      varies = uniform != 0xFF;
    }
    if (!varies) return false;
  }
  return true;
}

bool integerOf(const std::string& text, long long& value) {
  if (text.empty() || text.size() > 20) return false;
  const std::size_t digitsFrom = text[0] == '-' || text[0] == '+' ? 1 : 0;
  if (digitsFrom == text.size()) return false;
  for (std::size_t k = digitsFrom; k < text.size(); ++k)
    if (text[k] < '0' || text[k] > '9') return false;
  errno = 0;
  value = std::strtoll(text.c_str(), nullptr, 10);
  return errno == 0;
}

bool decodeRegion(Findings& findings, const Span& region, Decoded& decoded) {
  return RegionDecoder(findings, region).decode(decoded);
}
