#include "explain/counters.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace {

constexpr double kMaxChance = 1e-6;

// The files' ranks: files in ascending order of `keys`, ties grouped.
struct Ordering {
  std::vector<std::size_t> files;  // ascending key
  std::vector<double> keys;        // per file
  double chance = 1;               // that a random order fits it, either way
};

Ordering fileOrder(std::size_t files) {
  Ordering o;
  o.files.resize(files);
  std::iota(o.files.begin(), o.files.end(), 0);
  o.keys.assign(o.files.begin(), o.files.end());
  o.chance = 2;  // 2 / N!
  for (std::size_t n = 2; n <= files; ++n) o.chance /= static_cast<double>(n);
  return o;
}

// The order of a numeric attribute, or false when a value is not a number or all are equal.
bool attributeOrder(const AttributeValues& attribute, std::size_t files, Ordering& o) {
  if (attribute.values.size() != files || files < 2) return false;
  o.keys.clear();
  for (const std::string& value : attribute.values) {
    char* end = nullptr;
    errno = 0;
    const double key = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || errno != 0 || !std::isfinite(key)) return false;
    o.keys.push_back(key);
  }
  o.files.resize(files);
  std::iota(o.files.begin(), o.files.end(), 0);
  std::stable_sort(o.files.begin(), o.files.end(),
                   [&](std::size_t x, std::size_t y) { return o.keys[x] < o.keys[y]; });
  if (o.keys[o.files.front()] == o.keys[o.files.back()]) return false;
  // 2 * prod(group sizes!) / N!, computed as a running product to stay in range.
  o.chance = 2;
  std::size_t group = 0;
  for (std::size_t i = 0; i < files; ++i) {
    group = i > 0 && o.keys[o.files[i]] == o.keys[o.files[i - 1]] ? group + 1 : 1;
    o.chance *= static_cast<double>(group) / static_cast<double>(i + 1);
  }
  return true;
}

// Whether `values` strictly rise or fall from each key to the next larger one.
bool monotone(const std::vector<std::uint64_t>& values, const Ordering& o, bool& rising) {
  bool up = true, down = true;
  std::uint64_t groupMin = values[o.files[0]], groupMax = groupMin;
  std::uint64_t lastMin = 0, lastMax = 0;
  bool hasLast = false;
  for (std::size_t i = 0; i <= o.files.size(); ++i) {
    const bool newGroup =
        i == o.files.size() || (i > 0 && o.keys[o.files[i]] != o.keys[o.files[i - 1]]);
    if (newGroup) {
      if (hasLast) {
        up &= groupMin > lastMax;
        down &= groupMax < lastMin;
      }
      lastMin = groupMin;
      lastMax = groupMax;
      hasLast = true;
      if (i == o.files.size()) break;
      groupMin = groupMax = values[o.files[i]];
    }
    groupMin = std::min(groupMin, values[o.files[i]]);
    groupMax = std::max(groupMax, values[o.files[i]]);
  }
  rising = up;
  return up || down;
}

// A counter along `o`: the widest width whose bytes outside the run are zero, else the narrowest.
bool counterAlong(const RunWindow& w, const Ordering& o, double tried, RunClass& out) {
  if (o.files.size() < 2 || o.chance * 16 * tried >= kMaxChance) return false;
  const ByteRun& run = w.run;
  for (bool zerosOnly : {true, false})
    for (unsigned width : {8u, 4u, 2u, 1u}) {
      const unsigned size = zerosOnly ? width : 9 - width;  // the narrowest first when not zeros
      const bool found = forEachCover(w, size, [&](std::uint64_t p, bool big, const auto& values) {
        if (zerosOnly)
          for (const auto& file : w.bytes)
            for (std::uint64_t i = p; i < p + size; ++i)
              if ((i < run.first || i > run.last) && file[i - w.base] != 0) return false;
        if (!monotone(values, o, out.rising)) return false;
        out.kind = RunKind::kCounter;
        out.encoding = integerEncoding(size, big);
        out.firstByte = p;
        out.lastByte = p + size - 1;
        return true;
      });
      if (found) return true;
    }
  return false;
}

}  // namespace

bool findCounter(const RunWindow& w, RunClass& out) {
  return counterAlong(w, fileOrder(w.bytes.size()), 1, out);
}

bool findCounterByAttribute(const RunWindow& w, const std::vector<AttributeValues>& attributes,
                            RunClass& out) {
  const double tried = static_cast<double>(std::max<std::size_t>(1, attributes.size()));
  for (const AttributeValues& attribute : attributes) {
    Ordering o;
    if (!attributeOrder(attribute, w.bytes.size(), o) || !counterAlong(w, o, tried, out)) continue;
    out.attribute = attribute.name;
    return true;
  }
  return false;
}
