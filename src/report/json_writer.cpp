// The JSON document, written as the findings are walked, so that regions,
// fields and stretches of any number cost no memory: each piece is put
// together in a buffer that goes out whenever it passes kFlushBytes. Every
// string is written by jsonEscaped, so that each byte string has a string of
// its own.
#include <charconv>
#include <cstdio>

#include "report/region_facts.h"
#include "report/report_writer.h"

namespace {

constexpr std::size_t kFlushBytes = 1 << 16;

// The length of the valid UTF-8 sequence at `s` (of `n` bytes), or 0 when
// none starts there: no overlong forms, surrogates or code points past
// U+10FFFF. `code` is set to its code point.
std::size_t utf8Length(const unsigned char* s, std::size_t n, std::uint32_t& code) {
  std::size_t length = 0;
  std::uint32_t least = 0;
  if (s[0] < 0x80)
    length = 1, code = s[0];
  else if (s[0] >= 0xC2 && s[0] <= 0xDF)
    length = 2, code = s[0] & 0x1FU, least = 0x80;
  else if ((s[0] & 0xF0) == 0xE0)
    length = 3, code = s[0] & 0x0FU, least = 0x800;
  else if (s[0] >= 0xF0 && s[0] <= 0xF4)
    length = 4, code = s[0] & 0x07U, least = 0x10000;
  if (length == 0 || length > n) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((s[i] & 0xC0) != 0x80) return 0;
    code = code << 6 | (s[i] & 0x3FU);
  }
  if (code < least || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return 0;
  return length;
}

void appendEscape(std::string& out, unsigned value) {
  static const char kHex[] = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kHex[(value >> shift) & 0xF];
}

std::string jsonString(const std::string& text) { return "\"" + jsonEscaped(text) + "\""; }

class JsonWriter : public ReportWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    add("{\"file_size\": ").number(run.fileSize);
    if (run.explanation != nullptr) explained(*run.explanation);
    add(",\n \"attributes\": [");
  }

  void attribute(Findings& f) override {
    keys_.clear();
    for (const ReportGroup& group : f.groups) keys_.push_back(jsonString(group.value));
    add(first_ ? "\n" : ",\n").add("  {\"name\": ").add(jsonString(f.name));
    add(",\n   \"groups\": [");
    first_ = false;
    for (std::size_t g = 0; g < f.groups.size(); ++g) {
      add(g ? ", " : "").add("{\"value\": ").add(keys_[g]).add(", \"files\": [");
      bool firstFile = true;
      for (std::uint32_t file : *f.groups[g].files) {
        add(firstFile ? "" : ", ").add(jsonString(run_.fileNames[file]));
        firstFile = false;
      }
      add("]}");
    }
    add("],\n   \"bits\": {\"informative\": ").number(f.informative);
    add(", \"constant\": ").number(f.constant).add(", \"varying\": ").number(f.varying).add("},");
    chance(f);
    regions(f);
    fields(f);
    stretches(f);
    add("}");
    flush();
  }

  void end() override {
    add("\n ]}\n");
    flush();
  }

 private:
  JsonWriter& add(const std::string& text) {
    buffer_ += text;
    return *this;
  }
  JsonWriter& add(const char* text) {
    buffer_ += text;
    return *this;
  }
  JsonWriter& number(std::uint64_t value) {
    char digits[24];
    buffer_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    return *this;
  }
  JsonWriter& signedNumber(std::int64_t value) {
    char digits[24];
    buffer_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    return *this;
  }
  void flush() {
    out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    buffer_.clear();
  }
  void flushWhenFull() {
    if (buffer_.size() >= kFlushBytes) flush();
  }

  // `value` as "0x" and `digits` hex digits at least.
  JsonWriter& hex(std::uint64_t value, unsigned digits) {
    char text[24];
    char* end = std::to_chars(text, text + sizeof text, value, 16).ptr;
    buffer_ += "0x";
    if (end - text < static_cast<int>(digits)) buffer_.append(digits - (end - text), '0');
    buffer_.append(text, static_cast<std::size_t>(end - text));
    return *this;
  }
  JsonWriter& range(const char* key, std::uint64_t first, std::uint64_t last) {
    add("{\"").add(key).add("first_byte\": ").number(first);
    return add(", \"").add(key).add("last_byte\": ").number(last);
  }

  // The top-level "explained" array, "explained_complete" and "too_few_files".
  void explained(const Explanation& e) {
    add(",\n \"explained\": [");
    for (std::size_t i = 0; i < e.fields.size(); ++i) {
      const ExplainedField& field = e.fields[i];
      add(i ? ",\n  " : "\n  ").range("", field.firstByte, field.lastByte);
      add(", \"kind\": \"").add(fieldKindName(field.kind)).add("\"");
      if (field.kind == FieldKind::kChecksum) checksum(e.checksums[field.record]);
      if (field.kind == FieldKind::kValue) {
        const ValueField& value = e.values[field.record];
        add(", \"attribute\": ").add(jsonString(value.attribute));
        add(", \"encoding\": ").add(jsonString(value.encoding));
        add(", \"read_as\": ").add(jsonString(value.readAs));
      }
      if (field.kind == FieldKind::kCounter || field.kind == FieldKind::kTimestamp) {
        const RunClass& run = e.classes[field.record];
        add(", \"encoding\": ").add(jsonString(run.encoding));
        if (field.kind == FieldKind::kCounter)
          add(", \"direction\": ").add(run.rising ? "\"rising\"" : "\"falling\"");
        else
          add(", \"earliest\": ")
              .signedNumber(run.earliest)
              .add(", \"latest\": ")
              .signedNumber(run.latest)
              .add(", \"earliest_date\": \"")
              .add(utcDate(run.earliest))
              .add("\", \"latest_date\": \"")
              .add(utcDate(run.latest))
              .add("\"");
      }
      if (field.kind == FieldKind::kText) {
        add(", \"examples\": [");
        const auto& examples = e.texts[field.record];
        for (std::size_t x = 0; x < examples.size(); ++x)
          add(x ? ", " : "").add(jsonString(examples[x]));
        add("]");
      }
      add(", \"description\": ").add(jsonString(describeField(e, field))).add("}");
      flushWhenFull();
    }
    add("],\n \"explained_complete\": ").add(e.complete ? "true" : "false");
    add(",\n \"too_few_files\": [");
    for (std::size_t i = 0; i < e.tooFewFiles.size(); ++i) {
      const ChecksumField& c = e.tooFewFiles[i];
      add(i ? ",\n  " : "\n  ").range("", c.firstByte, c.lastByte).add(", \"kind\": \"checksum\"");
      checksum(c);
      add(", \"description\": ").add(jsonString(describeChecksum(c))).add("}");
    }
    add("]");
  }

  void checksum(const ChecksumField& c) {
    const SumParams& sum = c.sum;
    const unsigned width = c.isCrc ? c.crc.width
                           : sum.kind == SumKind::kAdler32 || sum.kind == SumKind::kFletcher32 ? 32
                           : sum.kind == SumKind::kFletcher16                                  ? 16
                                                              : sum.width;
    add(", \"algorithm\": \"").add(c.isCrc ? "crc" : sumAlgorithm(sum.kind)).add("\"");
    add(", \"width\": ").number(width).add(", \"byte_order\": \"");
    add(c.byteOrder == FieldOrder::kLittle ? "little"
        : c.byteOrder == FieldOrder::kBig  ? "big"
                                           : "text");
    add("\"");
    if (c.isCrc) {
      add(", \"crc\": {\"poly\": \"")
          .hex(c.crc.poly, width / 4)
          .add("\", \"init\": \"")
          .hex(c.crc.init, width / 4);
      add("\", \"refin\": ").add(c.crc.refin ? "true" : "false");
      add(", \"refout\": ").add(c.crc.refout ? "true" : "false");
      add(", \"xorout\": \"").hex(c.crc.xorout, width / 4).add("\"}");
    } else if (sum.kind == SumKind::kSum || sum.kind == SumKind::kXor) {
      add(", \"unit\": ").number(sum.unit);
      add(", \"word_order\": ").add(sum.bigEndian ? "\"big\"" : "\"little\"");
      add(", \"complement\": ");
      add(sum.complement == Complement::kTwos   ? "\"twos\""
          : sum.complement == Complement::kOnes ? "\"ones\""
                                                : "\"none\"");
    }
    add(", \"name\": ");
    add(c.isCrc && c.name != nullptr ? "\"" + std::string(c.name) + "\"" : std::string("null"));
    add(", \"covers\": ").range("", c.coversFirst, c.coversLast).add("}");
    if (c.fieldAsZeros || c.fieldAsBlanks)
      add(", \"field_read_as\": ").add(c.fieldAsZeros ? "\"zeros\"" : "\"blanks\"");
  }

  // Each group's bytes (hex) or bits of a region or field, a piece at a
  // time so that a long one goes out as it grows.
  void values(Findings& f, const Span& span, bool bytes) {
    add(", \"values\": {");
    for (std::size_t g = 0; g < f.groups.size(); ++g) {
      add(g ? ", " : "").add(keys_[g]).add(": \"");
      constexpr std::uint64_t kPiece = 4096;  // records
      for (Span piece = span; piece.from <= span.to; piece.from += kPiece) {
        piece.to = std::min(span.to, piece.from + kPiece - 1);
        if (bytes)
          appendRegionHex(buffer_, f, piece, g);
        else
          appendFieldBits(buffer_, f, piece, g);
        flushWhenFull();
      }
      add("\"");
    }
    add("}}");
    flushWhenFull();
  }

  void regions(Findings& f) {
    add("\n   \"regions\": [");
    bool first = true;
    forEachRegion(f, [&](const Span& region) {
      add(first ? "\n    " : ",\n    ").add("{\"first_byte\": ").number(region.first);
      add(", \"last_byte\": ").number(region.last);
      add(", \"likely_chance\": ").add(likelyChance(f, region) ? "true" : "false");
      if (checksumHolding(run_, region.first, region.last)) add(", \"from_checksum\": true");
      first = false;
      decoded(f, region);
      values(f, region, true);
      return true;
    });
    add("],");
  }

  // The informative bits expected by chance and the groups no informative
  // bit tells apart, as lists of their values.
  void chance(Findings& f) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.6g", f.chanceBits);
    add("\n   \"chance_bits\": ").add(digits).add(", \"indistinct_groups\": [");
    for (std::size_t k = 0; k < f.indistinct.size(); ++k) {
      add(k ? ", [" : "[");
      for (std::size_t g = 0; g < f.indistinct[k].size(); ++g)
        add(g ? ", " : "").add(keys_[f.indistinct[k][g]]);
      add("]");
    }
    add("],");
  }

  void decoded(Findings& f, const Span& region) {
    Decoded d;
    if (!decodeRegion(f, region, d)) {
      add(", \"decoded\": null");
      return;
    }
    add(", \"decoded\": {\"encoding\": \"").add(d.encoding).add("\", \"first_byte\": ");
    number(d.first).add(", \"last_byte\": ").number(d.last).add(", \"values\": {");
    for (std::size_t g = 0; g < f.groups.size(); ++g)
      add(g ? ", " : "")
          .add(keys_[g])
          .add(": ")
          .add(d.text() ? jsonString(d.values[g]) : d.values[g]);
    add("}, \"is_value\": ").add(d.isValue ? "true}" : "false}");
  }

  void fields(Findings& f) {
    add("\n   \"fields\": [");
    bool first = true;
    if (f.bytes.count() > 0)
      forEachField(f, 0, f.bytes.count() - 1, [&](const Span& field) {
        add(first ? "\n    " : ",\n    ").add("{\"byte_offset\": ").number(field.first / 8);
        add(", \"first_bit\": ").number(field.first).add(", \"last_bit\": ").number(field.last);
        if (checksumHolding(run_, field.first / 8, field.last / 8))
          add(", \"from_checksum\": true");
        first = false;
        values(f, field, false);
        return true;
      });
    add("],");
  }

  void stretches(Findings& f) {
    add("\n   \"stretches\": [");
    for (std::uint64_t i = 0; i < f.stretches.count(); ++i) {
      std::uint64_t first = 0, last = 0;
      stretchAt(f, i, first, last);
      add(i ? ", " : "").add(i % 4 == 0 ? "\n    " : "").add("{\"first_bit\": ").number(first);
      add(", \"last_bit\": ").number(last).add("}");
      flushWhenFull();
    }
    add("]");
  }

  std::ostream& out_;
  std::string buffer_;
  ReportRun run_;
  bool first_ = true;
  std::vector<std::string> keys_;  // the groups' values, written as JSON strings
};

}  // namespace

std::string jsonEscaped(const std::string& text, bool forTerminal) {
  std::string out;
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  for (std::size_t at = 0; at < text.size();) {
    std::uint32_t code = 0;
    const std::size_t length = utf8Length(bytes + at, text.size() - at, code);
    const char* const shortForm = length != 1    ? nullptr
                                  : code == '"'  ? "\\\""
                                  : code == '\\' ? "\\\\"
                                  : code == '\b' ? "\\b"
                                  : code == '\f' ? "\\f"
                                  : code == '\n' ? "\\n"
                                  : code == '\r' ? "\\r"
                                  : code == '\t' ? "\\t"
                                                 : nullptr;
    if (length == 0)
      appendEscape(out, 0xDC00U + bytes[at]);
    else if (shortForm != nullptr)
      out += shortForm;
    else if (code < 0x20 || (forTerminal && code >= 0x7F && code <= 0x9F))
      appendEscape(out, code);
    else
      out.append(text, at, length);
    at += length == 0 ? 1 : length;
  }
  return out;
}

std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out) {
  return std::make_unique<JsonWriter>(out);
}
