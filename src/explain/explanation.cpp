#include "explain/explanation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "explain/checksum_finder.h"

namespace {

constexpr std::uint64_t kLeastWindow = 1 << 12;
constexpr std::uint64_t kMostWindow = 1 << 16;
constexpr std::uint64_t kClassifyMargin = 15;  // bytes classifyRun reads around a run
constexpr std::size_t kTextExamples = 3;
constexpr std::size_t kTextBytes = 24;
constexpr std::uint64_t kRandomGap = 16;  // equal bytes a random field reaches over

std::string hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

// The changing runs, a window of every file at a time; past `maxRuns` the
// last run grows over every later changing byte.
std::vector<ByteRun> changingRunsIn(const ByteSource& source, std::uint64_t window,
                                    std::size_t maxRuns) {
  std::vector<ByteRun> runs;
  const std::size_t n = source.files();
  if (n < 2) return runs;
  std::vector<std::vector<unsigned char>> windows(n, std::vector<unsigned char>(window));
  for (std::uint64_t start = 0; start < source.length(); start += window) {
    const std::uint64_t size = std::min(window, source.length() - start);
    for (std::size_t f = 0; f < n; ++f) source.read(f, start, size, windows[f].data());
    for (std::uint64_t b = 0; b < size; ++b) {
      if (b % 8 == 0 && b + 8 <= size) {  // eight bytes equal in every file at once
        std::uint64_t first = 0, other = 0, differ = 0;
        std::memcpy(&first, windows[0].data() + b, 8);
        for (std::size_t f = 1; f < n && differ == 0; ++f) {
          std::memcpy(&other, windows[f].data() + b, 8);
          differ = other ^ first;
        }
        if (differ == 0) {
          b += 7;
          continue;
        }
      }
      bool differs = false;
      for (std::size_t f = 1; f < n && !differs; ++f) differs = windows[f][b] != windows[0][b];
      if (!differs) continue;
      const std::uint64_t at = start + b;
      if (!runs.empty() && (runs.back().last + 1 == at || runs.size() == maxRuns))
        runs.back().last = at;
      else
        runs.push_back({at, at});
    }
  }
  return runs;
}

// Up to kTextExamples distinct values of a text field, in file order, trailing NULs cut.
std::vector<std::string> textExamples(const ByteSource& source, const ExplainedField& field) {
  std::vector<std::string> examples;
  const std::uint64_t size =
      std::min<std::uint64_t>(kTextBytes, field.lastByte - field.firstByte + 1);
  std::string bytes(size, '\0');
  for (std::size_t f = 0; f < source.files() && examples.size() < kTextExamples; ++f) {
    source.read(f, field.firstByte, size, reinterpret_cast<unsigned char*>(&bytes[0]));
    std::string text = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
    if (std::find(examples.begin(), examples.end(), text) == examples.end())
      examples.push_back(text);
  }
  return examples;
}

FieldKind kindOf(RunKind kind) {
  switch (kind) {
    case RunKind::kCounter:
      return FieldKind::kCounter;
    case RunKind::kTimestamp:
      return FieldKind::kTimestamp;
    case RunKind::kText:
      return FieldKind::kText;
    case RunKind::kRandom:
      return FieldKind::kRandom;
    default:
      return FieldKind::kUnexplained;
  }
}

// Classifies the bytes first..last, none claimed by a checksum or value, in
// pieces that fit the window; a widened integer stays within [low, high],
// the bytes no other field holds.
void classifyPiece(const ByteSource& source, std::uint64_t first, std::uint64_t last,
                   std::uint64_t low, std::uint64_t high, std::uint64_t window, Explanation& out) {
  const std::uint64_t most = window < kMostWindow ? window - kClassifyMargin : last - first + 1;
  const std::size_t before = out.fields.size();
  for (std::uint64_t at = first; at <= last;) {
    const std::uint64_t end = last - at < most ? last : at + most - 1;
    RunClass run = classifyRun(source, ByteRun{at, end});
    ExplainedField field{std::max({run.firstByte, low, at == first ? low : at}),
                         std::min({run.lastByte, high, end == last ? high : end}), kindOf(run.kind),
                         0};
    ExplainedField* previous = out.fields.empty() ? nullptr : &out.fields.back();
    const bool plain = field.kind == FieldKind::kRandom || field.kind == FieldKind::kUnexplained ||
                       field.kind == FieldKind::kText;
    // Pieces of one run merge; random bytes also over a few bytes equal by
    // chance, and take a piece too short to tell that follows them closely.
    const bool sameRun = out.fields.size() > before && previous->lastByte + 1 == field.firstByte;
    const bool tooShort =
        (field.kind == FieldKind::kUnexplained || field.kind == FieldKind::kText) &&
        field.lastByte - field.firstByte + 1 < kRandomGap;
    const bool randomGap = previous != nullptr && previous->kind == FieldKind::kRandom &&
                           (field.kind == FieldKind::kRandom || tooShort) &&
                           previous->lastByte + kRandomGap >= field.firstByte;
    if (previous != nullptr && plain && (previous->kind == field.kind || randomGap) &&
        (sameRun || randomGap)) {
      previous->lastByte = field.lastByte;
    } else {
      if (field.kind == FieldKind::kCounter || field.kind == FieldKind::kTimestamp) {
        field.record = static_cast<std::uint32_t>(out.classes.size());
        out.classes.push_back(std::move(run));
      } else if (field.kind == FieldKind::kText) {
        field.record = static_cast<std::uint32_t>(out.texts.size());
        out.texts.push_back(textExamples(source, field));
      }
      out.fields.push_back(field);
    }
    if (end == last) break;
    at = end + 1;
  }
}

const char* commonName(const char* name) {
  const std::string n = name;
  if (n == "CRC-32/ISCSI") return "CRC-32C";
  if (n == "CRC-32/ISO-HDLC") return "CRC-32";
  return name;
}

std::string crcLabel(const CrcParams& crc, const char* name) {
  if (name != nullptr) return commonName(name);
  for (const NamedCrc& named : crcCatalogue()) {
    const CrcParams& p = named.params;
    if (p.width != crc.width || p.poly != crc.poly || p.refin != crc.refin ||
        p.refout != crc.refout || p.init != crc.init)
      continue;
    return std::string(commonName(named.name)) +
           (crc.xorout == 0 ? ", no final XOR" : ", final XOR " + hex(crc.xorout));
  }
  return "CRC-" + std::to_string(crc.width) + " polynomial " + hex(crc.poly) + ", init " +
         hex(crc.init) + (crc.refin ? ", reflected in" : "") +
         (crc.refout ? ", reflected out" : "") + ", final XOR " + hex(crc.xorout);
}

}  // namespace

const char* fieldKindName(FieldKind kind) {
  static const char* const names[] = {"checksum", "value",  "counter",    "timestamp",
                                      "text",     "random", "unexplained"};
  return names[static_cast<int>(kind)];
}

Explanation explainFiles(const ByteSource& source, const std::vector<AttributeValues>& attributes,
                         const ExplainLimits& limits) {
  Explanation out;
  const std::size_t n = std::max<std::size_t>(source.files(), 1);
  const std::uint64_t window = std::clamp(limits.memory / n, kLeastWindow, kMostWindow);
  std::vector<ByteRun> runs = changingRunsIn(source, window, limits.maxFields);
  if (runs.empty()) return out;
  // Past the limit the last run holds every later changing byte: not searched.
  ByteRun rest{1, 0};
  if (runs.size() == limits.maxFields) {
    rest = runs.back();
    runs.pop_back();
    out.complete = false;
  }

  const ChecksumSearch search = findChecksums(source, runs, limits.checksums);
  out.complete = out.complete && search.complete;
  for (const ChecksumField& c : search.found) out.checksums.push_back(c);
  // One candidate per field, none where a checksum was found.
  for (const ChecksumField& c : search.tooFewFiles) {
    const auto same = [&](const ChecksumField& f) {
      return f.firstByte <= c.lastByte && c.firstByte <= f.lastByte;
    };
    if (std::none_of(out.checksums.begin(), out.checksums.end(), same) &&
        std::none_of(out.tooFewFiles.begin(), out.tooFewFiles.end(), same))
      out.tooFewFiles.push_back(c);
  }
  std::sort(out.tooFewFiles.begin(), out.tooFewFiles.end(),
            [](const auto& a, const auto& b) { return a.firstByte < b.firstByte; });
  for (ValueField& value : findValues(source, runs, attributes)) {
    const bool overlaps = std::any_of(out.checksums.begin(), out.checksums.end(), [&](auto& c) {
      return c.firstByte <= value.lastByte && value.firstByte <= c.lastByte;
    });
    if (!overlaps) out.values.push_back(std::move(value));
  }

  // The claimed fields, ascending, then the pieces of the runs between them.
  std::vector<ExplainedField> claimed;
  for (std::size_t i = 0; i < out.checksums.size(); ++i)
    claimed.push_back({out.checksums[i].firstByte, out.checksums[i].lastByte, FieldKind::kChecksum,
                       static_cast<std::uint32_t>(i)});
  for (std::size_t i = 0; i < out.values.size(); ++i)
    claimed.push_back({out.values[i].firstByte, out.values[i].lastByte, FieldKind::kValue,
                       static_cast<std::uint32_t>(i)});
  std::sort(claimed.begin(), claimed.end(),
            [](const auto& a, const auto& b) { return a.firstByte < b.firstByte; });

  std::size_t next = 0;    // the first claimed field not yet placed
  std::uint64_t free = 0;  // the first byte no field holds
  const std::uint64_t lastChanging = rest.first <= rest.last ? rest.last : runs.back().last;
  bool cut = false;
  for (const ByteRun& run : runs) {
    for (std::uint64_t at = std::max(run.first, free); at <= run.last && !cut;
         at = std::max(at, free)) {
      while (next < claimed.size() && claimed[next].firstByte <= at) {
        out.fields.push_back(claimed[next]);
        free = claimed[next++].lastByte + 1;
      }
      if (free > at) continue;
      if (out.fields.size() >= limits.maxFields) {
        rest = {at, lastChanging};
        cut = true;
        break;
      }
      const std::uint64_t high =
          next < claimed.size() ? claimed[next].firstByte - 1 : source.length() - 1;
      const std::uint64_t end = std::min(run.last, high);
      classifyPiece(source, at, end, free, high, window, out);
      free = out.fields.back().lastByte + 1;
      at = end + 1;
    }
    if (cut) break;
  }
  if (cut) {
    out.complete = false;
  } else {
    for (; next < claimed.size(); ++next) {
      out.fields.push_back(claimed[next]);
      free = claimed[next].lastByte + 1;
    }
  }
  rest.first = std::max(rest.first, free);
  if (rest.first <= rest.last)
    out.fields.push_back({rest.first, rest.last, FieldKind::kUnexplained, 0});
  return out;
}

std::string utcDate(std::int64_t seconds) {
  const std::time_t time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", parts.tm_year + 1900, parts.tm_mon + 1,
                parts.tm_mday);
  return text;
}

std::string describeChecksum(const ChecksumField& c) {
  std::string text = c.isCrc ? crcLabel(c.crc, c.name) : sumName(c.sum);
  if (c.byteOrder == FieldOrder::kText)
    text += ", octal text";
  else if (c.lastByte > c.firstByte)
    text += c.byteOrder == FieldOrder::kLittle ? ", little-endian" : ", big-endian";
  text += ", of " + hex(c.coversFirst) + "-" + hex(c.coversLast);
  if (c.fieldAsZeros) text += ", the field read as zeros";
  if (c.fieldAsBlanks) text += ", the field read as blanks";
  return text;
}

std::string describeField(const Explanation& e, const ExplainedField& field,
                          std::string (*escape)(const std::string&)) {
  const auto shown = [escape](const std::string& raw) { return escape ? escape(raw) : raw; };
  std::string text = fieldKindName(field.kind);
  switch (field.kind) {
    case FieldKind::kChecksum:
      return text + "  " + describeChecksum(e.checksums[field.record]);
    case FieldKind::kValue: {
      const ValueField& value = e.values[field.record];
      return text + "  " + shown(value.attribute) + ", " + value.encoding;
    }
    case FieldKind::kCounter: {
      const RunClass& run = e.classes[field.record];
      return text + (run.rising ? ", rising" : ", falling") + " with the files' order, " +
             run.encoding;
    }
    case FieldKind::kTimestamp: {
      const RunClass& run = e.classes[field.record];
      return text + "  " + run.encoding + ", " + utcDate(run.earliest) + " .. " +
             utcDate(run.latest);
    }
    case FieldKind::kText: {
      text += " ";
      for (const std::string& example : e.texts[field.record])
        text += " \"" + shown(example) + "\",";
      text.pop_back();
      return text;
    }
    default:
      return text;
  }
}
