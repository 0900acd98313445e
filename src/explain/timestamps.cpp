#include "explain/timestamps.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr double kMaxChance = 1e-6;
constexpr std::int64_t k1980 = 315532800, k2100 = 4102444800, kTenYears = 315576000;

// Unix seconds of a FAT/DOS time (low half) and date (high half), or -1 when not one.
std::int64_t dosSeconds(std::uint32_t value) {
  const unsigned time = value & 0xffff, date = value >> 16;
  const unsigned day = date & 31, month = (date >> 5) & 15, year = 1980 + (date >> 9);
  const unsigned second = 2 * (time & 31), minute = (time >> 5) & 63, hour = time >> 11;
  if (day == 0 || month == 0 || month > 12 || hour > 23 || minute > 59 || second > 59) return -1;
  return unixSeconds(static_cast<int>(year), month, day, hour, minute, second);
}

// Times in range and close together.
bool timestamps(const std::vector<std::int64_t>& seconds, RunClass& out) {
  const auto [lo, hi] = std::minmax_element(seconds.begin(), seconds.end());
  if (*lo < k1980 || *hi >= k2100 || *hi - *lo > kTenYears) return false;
  out.kind = RunKind::kTimestamp;
  out.earliest = *lo;
  out.latest = *hi;
  return true;
}

// Whether integers whose low `changing` bytes change cluster as times do: their spread is
// small beside what random bytes there would give (the chance of landing in it, per distinct
// value past the first, below one in a million), with no gap wider than half of it between
// them (two clusters are two values of another field above random bytes). A run of one
// byte is no evidence: the bytes above it are the same everywhere and read as any time.
bool clustered(std::vector<std::uint64_t> values, std::uint64_t changing) {
  if (changing < 2) return false;
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  if (values.size() < 2) return false;
  const double spread = static_cast<double>(values.back() - values.front());
  const double room = std::ldexp(1.0, 8 * static_cast<int>(std::min<std::uint64_t>(changing, 8)));
  if (std::pow(std::min(1.0, (spread + 1) / room), static_cast<double>(values.size() - 1)) * 8 >=
      kMaxChance)
    return false;
  for (std::size_t i = 1; values.size() >= 3 && i < values.size(); ++i)
    if (static_cast<double>(values[i] - values[i - 1]) > spread / 2) return false;
  return true;
}

// The readings of one integer covering the run as a time; keeps the best in `best`.
void readTimes(const std::vector<std::uint64_t>& values, unsigned width, bool big, std::uint64_t p,
               std::uint64_t changing, RunClass& best) {
  if (!clustered(values, changing)) return;
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
  for (int r = 0; r < 3; ++r) {
    RunClass c;
    if (!readings[r].first || !timestamps(*readings[r].first, c)) continue;
    const bool isDos = r == 2, bestDos = best.encoding == "dos";
    if (best.kind == RunKind::kTimestamp &&
        (bestDos > isDos ||
         (bestDos == isDos && c.latest - c.earliest >= best.latest - best.earliest)))
      continue;
    best = c;
    best.encoding = readings[r].second;
    best.firstByte = p;
    best.lastByte = p + width - 1;
  }
}

// A date format: 'Y' year digits, 'M' month, 'D' day, 'h' hour, 'm' minute, 's' second (two
// digits each but the year's four), "Mon" a month's name, "Www" a weekday's; the rest literal.
const char* const kFormats[] = {"Www Mon DD hh:mm:ss YYYY",
                                "YYYY-MM-DDThh:mm:ss",
                                "YYYY-MM-DD hh:mm:ss",
                                "YYYY:MM:DD hh:mm:ss",
                                "YYYY/MM/DD hh:mm:ss",
                                "YYYYMMDDhhmmss",
                                "Mon DD YYYY",
                                "DD Mon YYYY",
                                "YYYY-MM-DD",
                                "YYYY/MM/DD",
                                "YYYYMMDD"};
const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const kWeekdays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

struct Civil {
  int year = 1970;
  unsigned month = 1, day = 1, hour = 0, minute = 0, second = 0;
};

bool digits(const unsigned char* text, unsigned count, unsigned& value, bool blankFirst) {
  value = 0;
  for (unsigned k = 0; k < count; ++k) {
    if (k == 0 && blankFirst && text[k] == ' ' && count > 1) continue;
    if (text[k] < '0' || text[k] > '9') return false;
    value = value * 10 + (text[k] - '0');
  }
  return true;
}

int nameIndex(const unsigned char* text, const char* const* names, int count) {
  for (int i = 0; i < count; ++i)
    if (std::memcmp(text, names[i], 3) == 0) return i;
  return -1;
}

// Reads `format` at `text`; false when a field is not in range.
bool parseDate(const char* format, const unsigned char* text, Civil& out) {
  const std::size_t length = std::strlen(format);
  const bool named = std::strstr(format, "Mon") != nullptr;
  for (std::size_t i = 0; i < length;) {
    const std::size_t run = std::strspn(format + i, std::string(1, format[i]).c_str());
    unsigned value = 0;
    const char c = format[i];
    if (std::strncmp(format + i, "Mon", 3) == 0 || std::strncmp(format + i, "Www", 3) == 0) {
      const int index =
          c == 'M' ? nameIndex(text + i, kMonths, 12) : nameIndex(text + i, kWeekdays, 7);
      if (index < 0) return false;
      if (c == 'M') out.month = static_cast<unsigned>(index) + 1;
      i += 3;
      continue;
    }
    if (std::strchr("YMDhms", c) == nullptr) {
      if (text[i] != static_cast<unsigned char>(c)) return false;
      ++i;
      continue;
    }
    if (!digits(text + i, static_cast<unsigned>(run), value, named && c == 'D')) return false;
    if (c == 'Y') out.year = static_cast<int>(value);
    if (c == 'M') out.month = value;
    if (c == 'D') out.day = value;
    if (c == 'h') out.hour = value;
    if (c == 'm') out.minute = value;
    if (c == 's') out.second = value;
    i += run;
  }
  static const unsigned kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return out.year >= 1980 && out.year < 2100 && out.month >= 1 && out.month <= 12 && out.day >= 1 &&
         out.day <= kDays[out.month - 1] && out.hour < 24 && out.minute < 60 && out.second < 60;
}

// The chance that random digits (and separators) read as `format`: once for the whole format,
// then per distinct value past the first for the parts that change.
double dateChance(const char* format, const std::vector<const unsigned char*>& texts,
                  std::size_t distinct) {
  double once = 1, changing = 1;
  const std::size_t length = std::strlen(format);
  for (std::size_t i = 0; i < length;) {
    const char c = format[i];
    const bool name =
        std::strncmp(format + i, "Mon", 3) == 0 || std::strncmp(format + i, "Www", 3) == 0;
    std::size_t size = name ? 3
                       : std::strchr("YMDhms", c)
                           ? std::strspn(format + i, std::string(1, c).c_str())
                           : 1;
    double fraction = 0.1;  // a separator
    if (name) fraction = (c == 'M' ? 12 : 7) / 17576.0;
    if (!name && c == 'Y') fraction = 120 / 10000.0;
    if (!name && (c == 'M')) fraction = 0.12;
    if (!name && (c == 'D')) fraction = 0.31;
    if (!name && (c == 'h')) fraction = 0.24;
    if (!name && (c == 'm' || c == 's')) fraction = 0.6;
    once *= fraction;
    const bool changes = std::any_of(texts.begin(), texts.end(), [&](const unsigned char* t) {
      return std::memcmp(t + i, texts[0] + i, size) != 0;
    });
    if (changes) changing *= fraction;
    i += size;
  }
  return once * std::pow(changing, static_cast<double>(distinct - 1));
}

bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// Unix seconds written as decimal or octal digits around the run, the same span in every file.
bool unixText(const RunWindow& w, RunClass& out) {
  std::uint64_t first = w.run.first, last = w.run.last;
  const auto allDigits = [&](std::uint64_t p) {
    return std::all_of(w.bytes.begin(), w.bytes.end(),
                       [&](const auto& file) { return isDigit(file[p - w.base]); });
  };
  for (std::uint64_t p = first; p <= last; ++p)
    if (!allDigits(p)) return false;
  while (first > w.base && allDigits(first - 1)) --first;
  while (last + 1 < w.end() && allDigits(last + 1)) ++last;
  const std::uint64_t count = last + 1 - first;
  const auto bounded = [&](std::uint64_t p) {
    return std::all_of(w.bytes.begin(), w.bytes.end(),
                       [&](const auto& file) { return !isDigit(file[p - w.base]); });
  };
  if (count < 9 || count > 11 || (first > w.base && !bounded(first - 1)) ||
      (last + 1 < w.end() && !bounded(last + 1)))
    return false;
  const unsigned base = count == 11 ? 8 : 10;
  std::vector<std::int64_t> seconds;
  for (const auto& file : w.bytes) {
    std::int64_t value = 0;
    for (std::uint64_t p = first; p <= last; ++p) {
      const unsigned digit = file[p - w.base] - '0';
      if (digit >= base) return false;
      value = value * base + digit;
    }
    seconds.push_back(value);
  }
  if (std::pow(kTenYears / std::pow(double(base), double(count)),
               static_cast<double>(seconds.size() - 1)) >= kMaxChance ||
      !timestamps(seconds, out))
    return false;
  out.encoding = base == 8 ? "ascii-oct-unix" : "ascii-dec-unix";
  out.firstByte = first;
  out.lastByte = last;
  return true;
}

// Whether the byte at `p` (when inside the window) is a digit in no file.
bool noDigitAt(const RunWindow& w, std::uint64_t p) {
  if (p < w.base || p >= w.end()) return true;
  return std::none_of(w.bytes.begin(), w.bytes.end(),
                      [&](const auto& file) { return isDigit(file[p - w.base]); });
}

// The format read at `p` in every file, if it holds there.
bool dateAt(const RunWindow& w, const char* format, std::uint64_t p, double tried, RunClass& out) {
  const std::size_t length = std::strlen(format);
  if (!noDigitAt(w, p - 1) || !noDigitAt(w, p + length)) return false;
  std::vector<std::int64_t> seconds;
  std::vector<const unsigned char*> texts;
  for (const auto& file : w.bytes) {
    Civil civil;
    texts.push_back(&file[p - w.base]);
    if (!parseDate(format, texts.back(), civil)) return false;
    seconds.push_back(
        unixSeconds(civil.year, civil.month, civil.day, civil.hour, civil.minute, civil.second));
  }
  std::vector<std::int64_t> distinct = seconds;
  std::sort(distinct.begin(), distinct.end());
  const std::size_t count = std::unique(distinct.begin(), distinct.end()) - distinct.begin();
  if (count < 2 || dateChance(format, texts, count) * tried >= kMaxChance) return false;
  if (distinct.back() - distinct.front() > kTenYears) return false;
  out.kind = RunKind::kTimestamp;
  out.earliest = distinct.front();
  out.latest = distinct.back();
  out.encoding = std::string("ascii:") + format;
  out.firstByte = p;
  out.lastByte = p + length - 1;
  return true;
}

}  // namespace

std::int64_t unixSeconds(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                         unsigned second) {
  // Days from the civil date, as in the usual algorithm.
  const int y = year - (month <= 2);
  const int era = (y >= 0 ? y : y - 399) / 400, yoe = y - era * 400;
  const int doy =
      (153 * (static_cast<int>(month) + (month > 2 ? -3 : 9)) + 2) / 5 + static_cast<int>(day) - 1;
  const int days = era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
  return std::int64_t{days} * 86400 + hour * 3600 + minute * 60 + second;
}

bool findBinaryTimestamp(const RunWindow& w, RunClass& out) {
  RunClass best;
  for (unsigned width : {4u, 8u})
    forEachCover(w, width, [&](std::uint64_t p, bool big, const auto& values) {
      // Times change in their low bytes: the run ends the field on that side.
      if (big ? p + width - 1 != w.run.last : p != w.run.first) return false;
      readTimes(values, width, big, p, w.length(), best);
      return false;
    });
  if (best.kind != RunKind::kTimestamp) return false;
  out = best;
  return true;
}

bool findTextTimestamp(const RunWindow& w, RunClass& out) {
  if (w.length() > 24) return false;
  if (unixText(w, out)) return true;
  double tried = 0;
  for (const char* format : kFormats) {
    const std::uint64_t length = std::strlen(format);
    if (length >= w.length()) tried += static_cast<double>(length - w.length() + 1);
  }
  for (const char* format : kFormats) {
    const std::uint64_t length = std::strlen(format);
    if (length < w.length()) continue;
    const std::uint64_t from = w.run.last + 1 >= w.base + length ? w.run.last + 1 - length : w.base;
    for (std::uint64_t p = from; p <= w.run.first && p + length <= w.end(); ++p)
      if (dateAt(w, format, p, tried, out)) return true;
  }
  return false;
}
