// The text table: one block per attribute with its groups, its bit counts
// and its regions (each group's bytes in hex, and as text when printable);
// with --bits each region's fields below it.
#include <algorithm>
#include <iomanip>
#include <sstream>

#include "report/report_writer.h"

namespace {

constexpr std::uint64_t kShownBytes = 8;  // of a region, per cell
constexpr std::uint64_t kShownBits = 16;  // of a field, per cell

class TextWriter : public ReportWriter {
 public:
  TextWriter(std::ostream& out, const ReportOptions& options, bool colour)
      : out_(out), options_(options), colour_(colour) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    out_ << paint("1", std::to_string(run.fileNames.size()) + " files of " +
                           std::to_string(run.fileSize) + " bytes (" +
                           std::to_string(8 * run.fileSize) + " bits)")
         << "\n";
  }

  void attribute(Findings& f) override {
    out_ << "\n" << paint("1", "attribute " + f.name) << ": " << f.groups.size() << " groups\n";
    for (const ReportGroup& group : f.groups)
      out_ << "  " << std::left << std::setw(static_cast<int>(nameWidth(f))) << group.value << "  "
           << group.files->size() << (group.files->size() == 1 ? " file\n" : " files\n");
    out_ << "  bits: " << paint("32", std::to_string(f.informative) + " informative") << ", "
         << paint("2", std::to_string(f.constant) + " constant") << ", "
         << paint("33", std::to_string(f.varying) + " varying") << "\n";
    out_ << "  " << f.regionCount << (f.regionCount == 1 ? " region, " : " regions, ")
         << f.fieldCount << (f.fieldCount == 1 ? " field, " : " fields, ") << f.stretches.count()
         << (f.stretches.count() == 1 ? " stretch\n" : " stretches\n");
    if (f.regionCount > 0) regionTable(f);
  }

  void end() override {}

 private:
  std::string paint(const char* code, const std::string& text) const {
    return colour_ ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
  }

  static std::size_t nameWidth(const Findings& f) {
    std::size_t width = 0;
    for (const ReportGroup& group : f.groups) width = std::max(width, group.value.size());
    return width;
  }

  std::size_t cellWidth(const Findings& f) const {
    const std::uint64_t shown = std::min(kShownBytes, f.longestRegion);
    std::size_t width = 3 * shown - 1 + (f.longestRegion > shown ? 4 : 0) + shown + 4;
    return std::max({width, nameWidth(f), options_.bits ? kShownBits + 4 : 0});
  }

  // Group g's bytes of a region: hex, then the text when every shown byte is
  // known and printable.
  std::string regionCell(Findings& f, const Span& region, std::size_t g) {
    std::string hex;
    appendRegionHex(hex, f, region, g, kShownBytes, " ");
    std::string cell = hex;
    if (region.last - region.first + 1 > kShownBytes) cell += " ...";
    std::string text;
    const std::string& digits = hex;
    for (std::size_t at = 0; at < digits.size(); at += 3) {
      if (digits[at] == '?') return cell;
      const int byte = std::stoi(digits.substr(at, 2), nullptr, 16);
      if (byte < 0x20 || byte > 0x7e) return cell;
      text += static_cast<char>(byte);
    }
    return cell + "  \"" + text + "\"";
  }

  // A table cell of group g's column; the last column is not padded.
  void cell(const Findings& f, std::size_t g, int width, const std::string& text) {
    out_ << "  " << text;
    if (g + 1 < f.groups.size() && static_cast<int>(text.size()) < width)
      out_ << std::string(width - text.size(), ' ');
  }

  void regionTable(Findings& f) {
    const int width = static_cast<int>(cellWidth(f));
    out_ << "  " << std::left << std::setw(21) << "bytes" << std::right << std::setw(8) << "length";
    for (std::size_t g = 0; g < f.groups.size(); ++g) cell(f, g, width, f.groups[g].value);
    out_ << "\n";
    std::uint64_t rows = 0;
    forEachRegion(f, [&](const Span& region) {
      if (options_.limit != 0 && rows == options_.limit) return false;
      ++rows;
      std::ostringstream range;
      range << "0x" << std::hex << std::setfill('0') << std::setw(8) << region.first << "-0x"
            << std::setw(8) << region.last;
      out_ << "  " << std::left << std::setw(21) << range.str() << std::right << std::setw(8)
           << region.last - region.first + 1;
      for (std::size_t g = 0; g < f.groups.size(); ++g) cell(f, g, width, regionCell(f, region, g));
      out_ << "\n";
      if (options_.bits) fieldRows(f, region, width);
      return true;
    });
    if (rows < f.regionCount)
      out_ << "  ... " << f.regionCount - rows
           << (f.regionCount - rows == 1 ? " more region" : " more regions")
           << " (--limit 0 shows all)\n";
  }

  void fieldRows(Findings& f, const Span& region, int width) {
    forEachField(f, region.from, region.to, [&](const Span& field) {
      std::ostringstream range;
      range << "  bits " << field.first << "-" << field.last;
      out_ << "  " << std::left << std::setw(21) << range.str() << std::right << std::setw(8)
           << field.last - field.first + 1;
      for (std::size_t g = 0; g < f.groups.size(); ++g) {
        std::string bits;
        appendFieldBits(bits, f, field, g, kShownBits);
        if (field.last - field.first + 1 > kShownBits) bits += " ...";
        cell(f, g, width, bits);
      }
      out_ << "\n";
      return true;
    });
  }

  std::ostream& out_;
  const ReportOptions& options_;
  bool colour_;
  ReportRun run_;
};

}  // namespace

std::unique_ptr<ReportWriter> textWriter(std::ostream& out, const ReportOptions& options,
                                         bool colour) {
  return std::make_unique<TextWriter>(out, options, colour);
}
