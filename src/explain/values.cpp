#include "explain/values.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>

namespace {

constexpr std::uint64_t kMargin = 8;        // bytes a field may reach beyond its run
constexpr std::uint64_t kWindow = 1 << 16;  // bytes of a run searched

// A way of writing every file's value: per file, the bytes the field must hold from its first
// byte; `open` when a shorter text may be followed by anything but another character of its kind.
struct Encoding {
  std::string name;
  std::string readAs;
  std::vector<std::string> bytes;
  bool open = false;
  int priority = 0;
  char pad = '\0';          // right-aligned text: the pad its field may hold more of before it
  bool zeroPadded = false;  // BCD: its field may hold more zero bytes before it
};

bool parseNumber(const std::string& text, int base, bool allowPrefix, std::int64_t& out) {
  std::string digits = text;
  if (allowPrefix && digits.size() > 2 && digits[0] == '0' &&
      (digits[1] == 'x' || digits[1] == 'X'))
    digits = digits.substr(2);
  if (digits.empty() || digits.size() > 20) return false;
  char* end = nullptr;
  errno = 0;
  out = base == 10 ? std::strtoll(digits.c_str(), &end, 10)
                   : static_cast<std::int64_t>(std::strtoull(digits.c_str(), &end, 16));
  return errno == 0 && *end == '\0' && (base == 10 || digits[0] != '-');
}

std::string integerBytes(std::uint64_t value, unsigned width, bool big) {
  std::string bytes(width, '\0');
  for (unsigned k = 0; k < width; ++k)
    bytes[big ? width - 1 - k : k] = static_cast<char>(value >> (8 * k));
  return bytes;
}

bool fits(std::int64_t value, unsigned width, bool isSigned) {
  if (width == 8) return isSigned || value >= 0;
  const std::int64_t bits = 8 * width;
  return isSigned
             ? value >= -(std::int64_t{1} << (bits - 1)) && value < (std::int64_t{1} << (bits - 1))
             : value >= 0 && value < (std::int64_t{1} << bits);
}

// Packed BCD of `value`'s decimal digits, two per byte, the first digit in the high nibble
// (or the low one when `swapped`), right-aligned in `width` bytes.
std::string bcdBytes(std::int64_t value, std::size_t width, bool swapped) {
  std::string bytes(width, '\0');
  for (std::size_t k = width; k-- > 0 && value > 0;) {
    const int low = static_cast<int>(value % 10), high = static_cast<int>(value / 10 % 10);
    bytes[k] = static_cast<char>(swapped ? low << 4 | high : high << 4 | low);
    value /= 100;
  }
  return bytes;
}

void addBcdEncodings(const std::vector<std::int64_t>& numbers, int priority,
                     std::vector<Encoding>& out) {
  std::size_t width = 1;
  for (std::int64_t v : numbers) width = std::max(width, (std::to_string(v).size() + 1) / 2);
  for (bool swapped : {false, true}) {
    Encoding e{swapped ? "bcd-swapped" : "bcd", "decimal", {}, false, priority + swapped};
    e.zeroPadded = true;
    for (std::int64_t v : numbers) e.bytes.push_back(bcdBytes(v, width, swapped));
    out.push_back(std::move(e));
  }
}

std::string text(std::int64_t value, const char* format) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, format, static_cast<unsigned long long>(value));
  return buffer;
}

void addIntegerEncodings(const std::vector<std::int64_t>& numbers, const std::string& readAs,
                         int priority, std::vector<Encoding>& out) {
  // Hexadecimal is unsigned: past 2^63 it wraps to a negative number, a u64 still.
  const bool hex = readAs == "hex";
  const bool isSigned =
      !hex && std::any_of(numbers.begin(), numbers.end(), [](auto v) { return v < 0; });
  const bool needs8 =
      !std::all_of(numbers.begin(), numbers.end(), [&](auto v) { return fits(v, 4, isSigned); });
  for (unsigned width : {8u, 4u, 2u, 1u}) {
    if ((width == 8) != needs8 && width == 8) continue;
    if (!std::all_of(numbers.begin(), numbers.end(),
                     [&](auto v) { return fits(v, width, isSigned) || (hex && width == 8); }))
      continue;
    for (bool big : {false, true}) {
      if (width == 1 && big) continue;
      Encoding e{std::string(isSigned ? "i" : "u") + std::to_string(8 * width) +
                     (width == 1 ? ""
                      : big      ? "be"
                                 : "le"),
                 readAs,
                 {},
                 false,
                 priority++};
      for (std::int64_t v : numbers) e.bytes.push_back(integerBytes(v, width, big));
      out.push_back(std::move(e));
    }
  }
  // ASCII text of the number, right-aligned with zeros or blanks, or left-aligned; BCD.
  if (isSigned) return;
  if (readAs == "decimal") addBcdEncodings(numbers, priority + 5, out);
  const std::pair<const char*, const char*> texts[] = {
      {"ascii-dec", "%llu"}, {"ascii-hex", "%llx"}, {"ascii-hex", "%llX"}, {"ascii-oct", "%llo"}};
  for (const auto& [name, format] : texts) {
    std::vector<std::string> written;
    std::size_t widest = 0;
    for (std::int64_t v : numbers) {
      written.push_back(text(v, format));
      widest = std::max(widest, written.back().size());
    }
    for (char pad : {'0', ' ', '\0'}) {
      Encoding e{name, readAs, {}, pad == '\0', priority + 10, pad};
      for (const std::string& w : written)
        e.bytes.push_back(pad == '\0' ? w : std::string(widest - w.size(), pad) + w);
      out.push_back(std::move(e));
    }
  }
}

std::vector<Encoding> encodingsOf(const AttributeValues& attribute) {
  std::vector<Encoding> out;
  struct Reading {
    int base;
    const char* readAs;
  };
  for (const Reading reading : {Reading{10, "decimal"}, Reading{16, "hex"}}) {
    std::vector<std::int64_t> numbers;
    for (const std::string& value : attribute.values) {
      std::int64_t number;
      if (!parseNumber(value, reading.base, reading.base == 16, number)) break;
      numbers.push_back(number);
    }
    if (numbers.size() == attribute.values.size())
      addIntegerEncodings(numbers, reading.readAs, reading.base == 10 ? 0 : 100, out);
  }
  out.push_back({"text", "text", attribute.values, true, 200});
  return out;
}

bool isWordByte(unsigned char c) { return std::isalnum(c) != 0; }

// The bytes of every file around one changing run: [first, end).
struct Window {
  std::uint64_t first, end;
  std::vector<std::string> files;
};

Window readWindow(const ByteSource& source, const ByteRun& run) {
  Window w;
  w.first = run.first > kMargin ? run.first - kMargin : 0;
  w.end = std::min({source.length(), run.last + 1 + kMargin, w.first + kWindow});
  w.files.assign(source.files(), std::string(w.end - w.first, '\0'));
  for (std::size_t f = 0; f < source.files(); ++f)
    source.read(f, w.first, w.end - w.first, reinterpret_cast<unsigned char*>(&w.files[f][0]));
  return w;
}

// Whether every file holds its bytes of `e` at `p`.
bool holdsAt(const Window& w, const Encoding& e, std::uint64_t p) {
  for (std::size_t f = 0; f < w.files.size(); ++f) {
    const std::string& want = e.bytes[f];
    if (w.files[f].compare(p - w.first, want.size(), want) != 0) return false;
    if (e.open && p + want.size() < w.end && isWordByte(w.files[f][p - w.first + want.size()]))
      return false;
  }
  return true;
}

// The field of `e` at `p`, with its evidence in bits (in `chance` until the candidates are
// counted): the bytes of the field that change, once per distinct value (the first value's
// bytes are as unlikely to match as the others' where they change).
ValueField fieldAt(const Window& w, const Encoding& e, std::uint64_t p, std::size_t widest,
                   const std::string& attribute, std::size_t distinct) {
  std::size_t changingBytes = 0;
  for (std::size_t k = 0; k < widest; ++k)
    changingBytes += std::any_of(w.files.begin(), w.files.end(), [&](const std::string& file) {
      return file[p - w.first + k] != w.files[0][p - w.first + k];
    });
  ValueField field{p,         p + widest - 1,
                   attribute, e.name,
                   e.readAs,  8.0 * std::max<std::size_t>(1, changingBytes) * distinct};
  // A right-aligned field reaches over the pads before it that every file has.
  const char pad = e.zeroPadded ? '\0' : e.pad;
  while ((e.pad != '\0' || e.zeroPadded) && field.firstByte > w.first &&
         std::all_of(w.files.begin(), w.files.end(), [&](const std::string& file) {
           return file[field.firstByte - 1 - w.first] == pad;
         }))
    --field.firstByte;
  return field;
}

// The fields of one attribute with their chance, counting the positions and encodings tried.
void findAttribute(const ByteSource& source, const std::vector<ByteRun>& changing,
                   const AttributeValues& attribute, double maxChance,
                   std::vector<std::pair<int, ValueField>>& found) {
  const std::set<std::string> distinct(attribute.values.begin(), attribute.values.end());
  if (distinct.size() < 2 || attribute.values.size() != source.files()) return;
  const std::vector<Encoding> encodings = encodingsOf(attribute);
  double tried = 0;
  std::vector<std::pair<int, ValueField>> matches;
  for (const ByteRun& run : changing) {
    const Window w = readWindow(source, run);
    for (const Encoding& e : encodings) {
      std::size_t widest = 0;
      for (const std::string& b : e.bytes) widest = std::max(widest, b.size());
      for (std::uint64_t p = w.first; p + widest <= w.end; ++p) {
        if (p + widest <= run.first || p > run.last) continue;
        ++tried;
        if (holdsAt(w, e, p))
          matches.push_back(
              {e.priority, fieldAt(w, e, p, widest, attribute.name, distinct.size())});
      }
    }
  }
  for (auto& [priority, field] : matches) {
    field.chance = std::exp2(std::log2(std::max(1.0, tried)) - field.chance);
    if (field.chance < maxChance) found.push_back({priority, field});
  }
}

}  // namespace

std::vector<ValueField> findValues(const ByteSource& source, const std::vector<ByteRun>& changing,
                                   const std::vector<AttributeValues>& attributes,
                                   double maxChance) {
  std::vector<std::pair<int, ValueField>> found;  // with the encoding's priority
  for (const AttributeValues& attribute : attributes)
    findAttribute(source, changing, attribute, maxChance, found);
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  std::vector<ValueField> kept;
  for (const auto& entry : found)
    if (std::none_of(kept.begin(), kept.end(), [&](const ValueField& k) {
          return k.firstByte <= entry.second.lastByte && entry.second.firstByte <= k.lastByte;
        }))
      kept.push_back(entry.second);
  std::sort(kept.begin(), kept.end(),
            [](const ValueField& x, const ValueField& y) { return x.firstByte < y.firstByte; });
  return kept;
}
