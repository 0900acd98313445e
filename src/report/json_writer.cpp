// The JSON document, written as the findings are walked, so that regions,
// fields and stretches of any number cost no memory: each piece is put
// together in a buffer that goes out whenever it passes kFlushBytes. Every
// string goes through nlohmann::json: quotes and control characters are
// escaped, and a byte that is not part of valid UTF-8 becomes U+FFFD.
#include <charconv>
#include <nlohmann/json.hpp>

#include "report/report_writer.h"

namespace {

constexpr std::size_t kFlushBytes = 1 << 16;

std::string jsonString(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

class JsonWriter : public ReportWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    add("{\"file_size\": ").number(run.fileSize).add(",\n \"attributes\": [");
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
  void flush() {
    out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    buffer_.clear();
  }
  void flushWhenFull() {
    if (buffer_.size() >= kFlushBytes) flush();
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
      first = false;
      values(f, region, true);
      return true;
    });
    add("],");
  }

  void fields(Findings& f) {
    add("\n   \"fields\": [");
    bool first = true;
    if (f.bytes.count() > 0)
      forEachField(f, 0, f.bytes.count() - 1, [&](const Span& field) {
        add(first ? "\n    " : ",\n    ").add("{\"byte_offset\": ").number(field.first / 8);
        add(", \"first_bit\": ").number(field.first).add(", \"last_bit\": ").number(field.last);
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

std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out) {
  return std::make_unique<JsonWriter>(out);
}
