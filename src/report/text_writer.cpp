// The text table: one block per attribute with its groups, its bit counts
// beside the informative bits expected by chance, the groups no bit tells
// apart, and its regions (each group's bytes in hex, and as text when
// printable, then the region decoded; the likely chance ones last); with
// --bits each region's fields below it. When every group holds one file,
// one line stands for the groups and the table. Names and values are written as
// JSON escapes them (control characters and bytes that are not UTF-8 too), so
// nothing reaches the terminal raw; the first two columns are as wide as the
// largest offset, position and length of the file size need.
#include <algorithm>
#include <iomanip>
#include <sstream>

#include "report/region_facts.h"
#include "report/report_writer.h"

namespace {

constexpr std::uint64_t kShownBytes = 8;  // of a region, per cell
constexpr std::uint64_t kShownBits = 16;  // of a field, per cell
constexpr int kLeastOffsetDigits = 8;
constexpr int kLeastLengthWidth = 8;

int digits(std::uint64_t value, unsigned base) {
  int count = 1;
  while (value >= base) value /= base, ++count;
  return count;
}

class TextWriter : public ReportWriter {
 public:
  TextWriter(std::ostream& out, const ReportOptions& options, bool colour)
      : out_(out), options_(options), colour_(colour) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    const std::uint64_t last = run.fileSize - 1;
    const bool bitsOverflow = run.fileSize > UINT64_MAX / 8;
    const int bitDigits = bitsOverflow ? 20 : digits(8 * run.fileSize, 10);
    rangeWidth_ = 2 * (2 + std::max(kLeastOffsetDigits, digits(last, 16))) + 1;
    if (options_.bits)  // "  bits FIRST-LAST"
      rangeWidth_ = std::max(rangeWidth_, 8 + 2 * bitDigits);
    lengthWidth_ =
        std::max(kLeastLengthWidth, 1 + (options_.bits ? bitDigits : digits(run.fileSize, 10)));
    out_ << paint("1", std::to_string(run.fileNames.size()) +
                           (run.fileNames.size() == 1 ? " file of " : " files of ") +
                           std::to_string(run.fileSize) +
                           (run.fileSize == 1 ? " byte (" : " bytes (") +
                           std::to_string(8 * run.fileSize) + " bits)")
         << "\n";
    if (run.explanation != nullptr) explained(*run.explanation);
  }

  void attribute(Findings& f) override {
    names_.clear();
    for (const ReportGroup& group : f.groups) names_.push_back(jsonEscaped(group.value, true));
    out_ << "\n"
         << paint("1", "attribute " + jsonEscaped(f.name, true)) << ": " << f.groups.size()
         << (f.groups.size() == 1 ? " group\n" : " groups\n");
    const bool allSingle = f.groups.size() > 1 && allGroupsSingle(f);
    for (std::size_t g = 0; g < f.groups.size() && !allSingle; ++g)
      out_ << "  " << std::left << std::setw(static_cast<int>(nameWidth())) << names_[g] << "  "
           << f.groups[g].files->size()
           << (f.groups[g].files->size() == 1 ? " file\n" : " files\n");
    std::ostringstream chance;
    chance << std::fixed << std::setprecision(2) << f.chanceBits;
    out_ << "  bits: " << paint("32", std::to_string(f.informative) + " informative") << " ("
         << chance.str() << " expected by chance), "
         << paint("2", std::to_string(f.constant) + " constant") << ", "
         << paint("33", std::to_string(f.varying) + " varying") << "\n";
    out_ << "  " << f.regionCount << (f.regionCount == 1 ? " region, " : " regions, ")
         << f.fieldCount << (f.fieldCount == 1 ? " field, " : " fields, ") << f.stretches.count()
         << (f.stretches.count() == 1 ? " stretch\n" : " stretches\n");
    indistinctLines(f);
    if (allSingle)
      out_ << "  every group holds one file: the bytes that differ are explained under "
              "\"What changes between files\"\n";
    else if (f.regionCount > 0)
      regionTable(f);
  }

  void end() override {}

 private:
  std::string paint(const char* code, const std::string& text) const {
    return colour_ ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
  }

  static std::string escapedForTerminal(const std::string& text) { return jsonEscaped(text, true); }

  std::string byteRange(std::uint64_t first, std::uint64_t last) const {
    std::ostringstream range;
    range << "0x" << std::hex << std::setfill('0') << std::setw(kLeastOffsetDigits) << first
          << "-0x" << std::setw(kLeastOffsetDigits) << last;
    return range.str();
  }

  // The section on what changes between the files: one line per field.
  void explained(const Explanation& e) {
    out_ << "\n" << paint("1", "What changes between files") << ": ";
    if (e.fields.empty()) out_ << "nothing";
    out_ << (e.fields.empty()       ? ""
             : e.fields.size() == 1 ? "1 field"
                                    : std::to_string(e.fields.size()) + " fields")
         << (e.complete ? "\n" : " (the search was cut short)\n");
    for (const ExplainedField& field : e.fields)
      out_ << "  " << std::left << std::setw(rangeWidth_)
           << byteRange(field.firstByte, field.lastByte) << "  "
           << paint(kindAnsi(field.kind), describeField(e, field, escapedForTerminal)) << "\n";
    if (e.tooFewFiles.empty()) return;
    constexpr std::size_t kShownOffsets = 8;
    out_ << "  too few files to tell: a checksum held in every file at";
    for (std::size_t i = 0; i < e.tooFewFiles.size() && i < kShownOffsets; ++i)
      out_ << (i ? ", 0x" : " 0x") << std::hex << e.tooFewFiles[i].firstByte << std::dec;
    if (e.tooFewFiles.size() > kShownOffsets) out_ << ", ...";
    out_ << " (" << e.tooFewFiles.size()
         << (e.tooFewFiles.size() == 1 ? " field)\n" : " fields)\n");
  }

  std::size_t nameWidth() const {
    std::size_t width = 0;
    for (const std::string& name : names_) width = std::max(width, name.size());
    return width;
  }

  std::size_t cellWidth(const Findings& f) const {
    const std::uint64_t shown = std::min(kShownBytes, f.longestRegion);
    std::size_t width = 3 * shown - 1 + (f.longestRegion > shown ? 4 : 0) + shown + 4;
    return std::max({width, nameWidth(), options_.bits ? kShownBits + 4 : 0});
  }

  // Group g's bytes of a region: hex, then the text when every shown byte is
  // known and printable, with `"` and `\` escaped.
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
      if (byte == '"' || byte == '\\') text += '\\';
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

  static bool allGroupsSingle(const Findings& f) {
    for (const ReportGroup& group : f.groups)
      if (group.files->size() != 1) return false;
    return true;
  }

  void indistinctLines(const Findings& f) {
    for (const std::vector<std::size_t>& set : f.indistinct) {
      out_ << "  cannot tell apart:";
      for (std::size_t k = 0; k < set.size(); ++k) out_ << (k ? ", " : " ") << names_[set[k]];
      out_ << "\n";
    }
  }

  // The regions that are not likely chance, then those that are, under a
  // line of their own; at most --limit rows in all.
  void regionTable(Findings& f) {
    const int width = static_cast<int>(cellWidth(f));
    out_ << "  " << std::left << std::setw(rangeWidth_) << "bytes" << std::right
         << std::setw(lengthWidth_) << "length";
    for (std::size_t g = 0; g < f.groups.size(); ++g) cell(f, g, width, names_[g]);
    out_ << "\n";
    std::uint64_t rows = 0, fromChecksums = 0;
    std::string fromChecksum;
    for (const bool chance : {false, true}) {
      bool headed = false;
      forEachRegion(f, [&](const Span& region) {
        if (!chance && checksumRegion(f, region, fromChecksum)) return ++fromChecksums, true;
        if (options_.limit != 0 && rows + fromChecksums == options_.limit) return false;
        if (chance && checksumHolding(run_, region.first, region.last)) return true;
        if (likelyChance(f, region) != chance) return true;
        if (chance && !headed) out_ << "  likely chance:\n";
        headed = true;
        ++rows;
        regionRow(f, region, width);
        return true;
      });
    }
    out_ << fromChecksum;
    if (rows + fromChecksums < f.regionCount)
      out_ << "  ... " << f.regionCount - rows - fromChecksums
           << (f.regionCount - rows - fromChecksums == 1 ? " more region" : " more regions")
           << " (--limit 0 shows all)\n";
  }

  void regionRow(Findings& f, const Span& region, int width) {
    out_ << "  " << std::left << std::setw(rangeWidth_) << range(region.first, region.last)
         << std::right << std::setw(lengthWidth_) << region.last - region.first + 1;
    for (std::size_t g = 0; g < f.groups.size(); ++g) cell(f, g, width, regionCell(f, region, g));
    out_ << "\n";
    Decoded decoded;
    if (decodeRegion(f, region, decoded)) {
      out_ << "    as " << decoded.encoding << " at " << range(decoded.first, decoded.last) << ": "
           << (decoded.isValue ? jsonEscaped(f.name, true) + " = " : "");
      for (std::size_t g = 0; g < f.groups.size(); ++g) {
        const std::string value = jsonEscaped(decoded.values[g], true);
        out_ << (g ? ", " : "") << (decoded.text() ? "\"" + value + "\"" : value);
      }
      out_ << "\n";
    }
    if (options_.bits) fieldRows(f, region, width);
  }

  static std::string range(std::uint64_t first, std::uint64_t last) {
    std::ostringstream out;
    out << "0x" << std::hex << std::setfill('0') << std::setw(kLeastOffsetDigits) << first << "-0x"
        << std::setw(kLeastOffsetDigits) << last;
    return out.str();
  }

  // A region inside a checksum field is not listed as the attribute's:
  // a line "from checksum at 0x7fc-0x7ff: 3 bits" goes to `lines` instead.
  bool checksumRegion(Findings& f, const Span& region, std::string& lines) {
    const ChecksumField* checksum = checksumHolding(run_, region.first, region.last);
    if (checksum == nullptr) return false;
    unsigned bits = 0;
    for (std::uint64_t p = region.from; p <= region.to; ++p)
      bits += static_cast<unsigned>(__builtin_popcount(informativeAt(f, p)));
    std::ostringstream line;
    line << "  from checksum at 0x" << std::hex << checksum->firstByte << "-0x"
         << checksum->lastByte << std::dec << ": " << bits << (bits == 1 ? " bit\n" : " bits\n");
    lines += line.str();
    return true;
  }

  void fieldRows(Findings& f, const Span& region, int width) {
    forEachField(f, region.from, region.to, [&](const Span& field) {
      std::ostringstream range;
      range << "  bits " << field.first << "-" << field.last;
      out_ << "  " << std::left << std::setw(rangeWidth_) << range.str() << std::right
           << std::setw(lengthWidth_) << field.last - field.first + 1;
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
  int rangeWidth_ = 0, lengthWidth_ = 0;
  std::vector<std::string> names_;  // the groups' values, escaped
};

}  // namespace

std::unique_ptr<ReportWriter> textWriter(std::ostream& out, const ReportOptions& options,
                                         bool colour) {
  return std::make_unique<TextWriter>(out, options, colour);
}
