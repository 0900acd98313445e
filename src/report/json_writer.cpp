// The JSON document, written as the findings are walked, so that regions,
// fields and stretches of any number cost no memory. Every string goes
// through nlohmann::json: quotes and control characters are escaped, and a
// byte that is not part of valid UTF-8 becomes U+FFFD.
#include <nlohmann/json.hpp>

#include "report/report_writer.h"

namespace {

std::string jsonString(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

class JsonWriter : public ReportWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    out_ << "{\"file_size\": " << run.fileSize << ",\n \"attributes\": [";
  }

  void attribute(Findings& f) override {
    out_ << (first_ ? "\n" : ",\n") << "  {\"name\": " << jsonString(f.name)
         << ",\n   \"groups\": [";
    first_ = false;
    for (std::size_t g = 0; g < f.groups.size(); ++g) {
      out_ << (g ? ", " : "") << "{\"value\": " << jsonString(f.groups[g].value)
           << ", \"files\": [";
      bool firstFile = true;
      for (std::uint32_t file : *f.groups[g].files) {
        out_ << (firstFile ? "" : ", ") << jsonString(run_.fileNames[file]);
        firstFile = false;
      }
      out_ << "]}";
    }
    out_ << "],\n   \"bits\": {\"informative\": " << f.informative
         << ", \"constant\": " << f.constant << ", \"varying\": " << f.varying << "},";
    regions(f);
    fields(f);
    stretches(f);
    out_ << "}";
  }

  void end() override { out_ << "\n ]}\n"; }

 private:
  void values(Findings& f, const Span& span, bool bytes) {
    out_ << ", \"values\": {";
    for (std::size_t g = 0; g < f.groups.size(); ++g) {
      out_ << (g ? ", " : "") << jsonString(f.groups[g].value) << ": \"";
      if (bytes)
        writeRegionHex(out_, f, span, g);
      else
        writeFieldBits(out_, f, span, g);
      out_ << "\"";
    }
    out_ << "}}";
  }

  void regions(Findings& f) {
    out_ << "\n   \"regions\": [";
    bool first = true;
    forEachRegion(f, [&](const Span& region) {
      out_ << (first ? "\n    " : ",\n    ") << "{\"first_byte\": " << region.first
           << ", \"last_byte\": " << region.last;
      first = false;
      values(f, region, true);
      return true;
    });
    out_ << "],";
  }

  void fields(Findings& f) {
    out_ << "\n   \"fields\": [";
    bool first = true;
    if (f.bytes.count() > 0)
      forEachField(f, 0, f.bytes.count() - 1, [&](const Span& field) {
        out_ << (first ? "\n    " : ",\n    ") << "{\"byte_offset\": " << field.first / 8
             << ", \"first_bit\": " << field.first << ", \"last_bit\": " << field.last;
        first = false;
        values(f, field, false);
        return true;
      });
    out_ << "],";
  }

  void stretches(Findings& f) {
    out_ << "\n   \"stretches\": [";
    for (std::uint64_t i = 0; i < f.stretches.count(); ++i) {
      std::uint64_t first = 0, last = 0;
      stretchAt(f, i, first, last);
      out_ << (i ? ", " : "") << (i % 4 == 0 ? "\n    " : "") << "{\"first_bit\": " << first
           << ", \"last_bit\": " << last << "}";
    }
    out_ << "]";
  }

  std::ostream& out_;
  ReportRun run_;
  bool first_ = true;
};

}  // namespace

std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out) {
  return std::make_unique<JsonWriter>(out);
}
