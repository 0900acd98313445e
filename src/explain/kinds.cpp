#include "explain/kinds.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double kMaxChance = 1e-6;
constexpr std::int64_t k1980 = 315532800, k2100 = 4102444800, kTenYears = 315576000;
constexpr std::uint64_t kMaxRead = 1 << 16;

std::uint64_t integerAt(const std::vector<unsigned char>& bytes, std::size_t at, unsigned width,
                        bool big) {
  std::uint64_t value = 0;
  for (unsigned k = 0; k < width; ++k)
    value |= std::uint64_t{bytes[at + k]} << (8 * (big ? width - 1 - k : k));
  return value;
}

// Unix seconds of a FAT/DOS time (low half) and date (high half), or -1 when not one.
std::int64_t dosSeconds(std::uint32_t value) {
  const unsigned time = value & 0xffff, date = value >> 16;
  const unsigned day = date & 31, month = (date >> 5) & 15, year = 1980 + (date >> 9);
  const unsigned second = 2 * (time & 31), minute = (time >> 5) & 63, hour = time >> 11;
  if (day == 0 || month == 0 || month > 12 || hour > 23 || minute > 59 || second > 59) return -1;
  // Days from the civil date (proleptic Gregorian), as in the usual algorithm.
  const int y = static_cast<int>(year) - (month <= 2);
  const int era = y / 400, yoe = y - era * 400;
  const int doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + static_cast<int>(day) - 1;
  const int days = era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
  return std::int64_t{days} * 86400 + hour * 3600 + minute * 60 + second;
}

bool timestamps(const std::vector<std::int64_t>& seconds, double perFile, RunClass& out) {
  const auto [lo, hi] = std::minmax_element(seconds.begin(), seconds.end());
  if (*lo < k1980 || *hi >= k2100 || *hi - *lo > kTenYears) return false;
  if (std::pow(perFile, static_cast<double>(seconds.size() - 1)) >= kMaxChance) return false;
  out.kind = RunKind::kTimestamp;
  out.earliest = *lo;
  out.latest = *hi;
  return true;
}

bool monotone(const std::vector<std::uint64_t>& values, bool& rising) {
  if (values.size() < 2) return false;
  bool up = true, down = true;
  for (std::size_t f = 1; f < values.size(); ++f) {
    up &= values[f] > values[f - 1];
    down &= values[f] < values[f - 1];
  }
  rising = up;
  return up || down;
}

// The integers of `width` bytes that cover the run, in file order, per start and byte order.
template <typename Visit>
bool forEachCover(const std::vector<std::vector<unsigned char>>& bytes, std::uint64_t base,
                  const ByteRun& run, unsigned width, Visit&& visit) {
  if (width < run.last - run.first + 1) return false;
  for (std::uint64_t p = run.last + 1 >= base + width ? run.last + 1 - width : base;
       p <= run.first && p + width <= base + bytes[0].size(); ++p)
    for (bool big : {false, true}) {
      if (width == 1 && big) continue;
      std::vector<std::uint64_t> values;
      for (const auto& file : bytes) values.push_back(integerAt(file, p - base, width, big));
      if (visit(p, big, values)) return true;
    }
  return false;
}

// The run read as an integer covering it: a counter at the widest width whose bytes outside the
// run are zero in every file, or at the narrowest; else a timestamp at any width.
bool integerKinds(const std::vector<std::vector<unsigned char>>& bytes, std::uint64_t base,
                  const ByteRun& run, RunClass& out) {
  const auto place = [&](std::uint64_t p, unsigned width) {
    out.firstByte = p;
    out.lastByte = p + width - 1;
  };
  double chance = 2;  // 2 / N!: a random order rising or falling
  for (std::size_t n = 2; n <= bytes.size(); ++n) chance /= static_cast<double>(n);
  for (bool zerosOnly : {true, false})
    for (unsigned width : {8u, 4u, 2u, 1u}) {
      const unsigned tried = zerosOnly ? width : 9 - width;  // the narrowest first when not zeros
      const bool found =
          forEachCover(bytes, base, run, tried, [&](std::uint64_t p, bool big, const auto& values) {
            if (zerosOnly)
              for (const auto& file : bytes)
                for (std::uint64_t i = p; i < p + tried; ++i)
                  if ((i < run.first || i > run.last) && file[i - base] != 0) return false;
            if (!monotone(values, out.rising) || chance * 16 >= kMaxChance) return false;
            out.kind = RunKind::kCounter;
            out.encoding = "u" + std::to_string(8 * tried) + (tried == 1 ? "" : big ? "be" : "le");
            place(p, tried);
            return true;
          });
      if (found) return true;
    }
  // Every reading as a time: a valid DOS date and time first (its fields are checked in every
  // file), else the narrowest spread (times cluster).
  RunClass best;
  for (unsigned width : {4u, 8u}) {
    const double range = std::ldexp(1.0, 8 * static_cast<int>(width));
    forEachCover(bytes, base, run, width, [&](std::uint64_t p, bool big, const auto& values) {
      // Times change in their low bytes: the run ends the field on that side.
      if (big ? p + width - 1 != run.last : p != run.first) return false;
      const std::string order = big ? "be" : "le";
      std::vector<std::int64_t> seconds(values.begin(), values.end()), millis, dos;
      for (std::uint64_t v : values) {
        millis.push_back(static_cast<std::int64_t>(v / 1000));
        dos.push_back(dosSeconds(static_cast<std::uint32_t>(v)));
      }
      const std::pair<std::vector<std::int64_t>*, std::string> readings[] = {
          {&seconds, "unix-s-" + order},
          {width == 8 ? &millis : nullptr, "unix-ms-" + order},
          {width == 4 && !big ? &dos : nullptr, "dos"}};
      const double perFile[] = {kTenYears / range, kTenYears * 1000.0 / range, 10.0 / 128 * 0.5};
      for (int r = 0; r < 3; ++r) {
        RunClass c;
        if (!readings[r].first || !timestamps(*readings[r].first, perFile[r], c)) continue;
        const bool dos = r == 2, bestDos = best.encoding == "dos";
        if (best.kind == RunKind::kTimestamp &&
            (bestDos > dos ||
             (bestDos == dos && c.latest - c.earliest >= best.latest - best.earliest)))
          continue;
        best = c;
        best.encoding = readings[r].second;
        best.firstByte = p;
        best.lastByte = p + width - 1;
      }
      return false;
    });
  }
  if (best.kind != RunKind::kTimestamp) return false;
  out = best;
  return true;
}

// Random bytes: every value about as often as chance has it, and two files seldom agree.
bool looksRandom(const std::vector<std::vector<unsigned char>>& bytes, std::uint64_t offset,
                 std::uint64_t length) {
  if (length < 16) return false;
  std::vector<double> counts(256, 0);
  std::uint64_t agreements = 0, total = 0;
  for (std::size_t f = 0; f < bytes.size(); ++f)
    for (std::uint64_t i = offset; i < offset + length; ++i) {
      ++counts[bytes[f][i]];
      if (f > 0) agreements += bytes[f][i] == bytes[0][i], ++total;
    }
  const double n = static_cast<double>(bytes.size() * length), expected = n / 256;
  if (agreements > total / 32 + 2) return false;
  if (expected < 5) {  // too few bytes for the chi-square: most values seen once at most
    const double distinct = static_cast<double>(
        std::count_if(counts.begin(), counts.end(), [](double c) { return c > 0; }));
    return distinct >= 256 * (1 - std::exp(-n / 256)) * 0.8;
  }
  double chiSquare = 0;
  for (double c : counts) chiSquare += (c - expected) * (c - expected) / expected;
  return chiSquare < 255 + 5 * std::sqrt(2 * 255.0);
}

}  // namespace

const char* runKindName(RunKind kind) {
  static const char* const names[] = {"counter", "timestamp", "text", "random", "unexplained"};
  return names[static_cast<int>(kind)];
}

RunClass classifyRun(const ByteSource& source, const ByteRun& run) {
  RunClass out;
  // The run and up to 7 bytes on either side, for integers that cover it.
  const std::uint64_t base = run.first >= 7 ? run.first - 7 : 0;
  const std::uint64_t end = std::min({source.length(), run.last + 8, base + kMaxRead});
  std::vector<std::vector<unsigned char>> bytes(source.files(),
                                                std::vector<unsigned char>(end - base));
  for (std::size_t f = 0; f < source.files(); ++f)
    source.read(f, base, end - base, bytes[f].data());
  const std::uint64_t offset = run.first - base, length = std::min(run.last + 1, end) - run.first;
  const bool printable = std::all_of(bytes.begin(), bytes.end(), [&](const auto& file) {
    return std::all_of(file.begin() + offset, file.begin() + offset + length,
                       [](unsigned char c) { return (c >= 0x20 && c < 0x7f) || c == 0; });
  });
  // Text first: printable bytes read as an integer look like a recent time.
  if (!(printable && length > 1) && length <= 8 && integerKinds(bytes, base, run, out)) return out;
  out.firstByte = run.first;
  out.lastByte = run.last;
  if (printable)
    out.kind = RunKind::kText;
  else if (looksRandom(bytes, offset, length))
    out.kind = RunKind::kRandom;
  return out;
}
