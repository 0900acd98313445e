// The picture: one self-contained HTML page (inline CSS and SVG, no script)
// with, for each attribute, the whole file as a grid of cells coloured by
// class, a legend, and the field table beside it. A cell stands for
// bytesPerCellFor(file size) bytes and takes the most telling class of its
// bits (informative, then varying, then constant), so that every field shows
// as at least one cell. The table beside it lists the regions (the groups'
// bytes with their text, the region decoded, the fields' bits; the likely
// chance ones greyed and marked). Every cell has a tooltip (an SVG <title>) with its
// byte range and class, and for an informative cell each group's byte at the
// cell's first informative byte.
#include <iomanip>
#include <sstream>

#include "report/region_facts.h"
#include "report/report_writer.h"

namespace {

constexpr std::uint64_t kMostCells = 4096;
constexpr unsigned kColumns = 64;
constexpr unsigned kCellPixels = 10;
constexpr std::uint64_t kShownRegions = 200;
constexpr std::uint64_t kShownFields = 200;  // explained fields in the table
constexpr std::uint64_t kShownBytes = 16;    // of a region, per cell
constexpr std::uint64_t kShownBits = 64;
const char* const kClassNames[] = {"constant", "varying", "informative"};
const char* const kColours[] = {"#d9d9d9", "#f5b700", "#d62728"};

std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string hexOffset(std::uint64_t offset) {
  std::ostringstream out;
  out << "0x" << std::hex << std::setfill('0') << std::setw(8) << offset;
  return out.str();
}

class HtmlWriter : public ReportWriter {
 public:
  explicit HtmlWriter(std::ostream& out) : out_(out) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    out_ << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
         << "<title>ovrell-report</title>\n<style>\n"
         << "body{font-family:sans-serif;margin:1em}\n"
         << ".attribute{display:flex;flex-wrap:wrap;gap:2em;align-items:flex-start}\n"
         << "table{border-collapse:collapse;font-family:monospace}\n"
         << "td,th{border:1px solid #ccc;padding:2px 6px;text-align:left}\n"
         << ".swatch{display:inline-block;width:1em;height:1em;vertical-align:middle}\n"
         << "tr.chance{color:#888}\n"
         << "rect:hover{stroke:#000;stroke-width:1}\n</style></head><body>\n"
         << "<h1>ovrell-report</h1>\n<p>" << run.fileNames.size()
         << (run.fileNames.size() == 1 ? " file of " : " files of ") << run.fileSize
         << (run.fileSize == 1 ? " byte" : " bytes") << "; a cell stands for "
         << bytesPerCellFor(run.fileSize)
         << (bytesPerCellFor(run.fileSize) == 1 ? " byte" : " bytes") << ".</p>\n<p>";
    for (int c = 2; c >= 0; --c)
      out_ << "<span class=\"swatch\" style=\"background:" << kColours[c] << "\"></span> "
           << kClassNames[c] << " &nbsp; ";
    out_ << "</p>\n";
    if (run.explanation != nullptr) explained(*run.explanation);
  }

  void attribute(Findings& f) override {
    out_ << "<h2>attribute " << escaped(f.name) << "</h2>\n<p>" << f.informative << " informative ("
         << std::fixed << std::setprecision(2) << f.chanceBits << std::defaultfloat
         << " expected by chance), " << f.constant << " constant, " << f.varying
         << " varying bits; " << f.groups.size() << (f.groups.size() == 1 ? " group:" : " groups:");
    bool allSingle = f.groups.size() > 1;
    for (const ReportGroup& group : f.groups) {
      out_ << " " << escaped(group.value) << " (" << group.files->size() << ")";
      allSingle = allSingle && group.files->size() == 1;
    }
    out_ << "</p>\n";
    for (const std::vector<std::size_t>& set : f.indistinct) {
      out_ << "<p>cannot tell apart:";
      for (std::size_t k = 0; k < set.size(); ++k)
        out_ << (k ? ", " : " ") << escaped(f.groups[set[k]].value);
      out_ << "</p>\n";
    }
    if (allSingle)
      out_ << "<p>every group holds one file: the bytes that differ are explained under "
              "&ldquo;What changes between files&rdquo;</p>\n";
    out_ << "<div class=\"attribute\">\n";
    grid(f);
    if (!allSingle) fieldTable(f);
    out_ << "</div>\n";
  }

  void end() override { out_ << "</body></html>\n"; }

 private:
  // What changes between the files: a grid coloured by the kind of the
  // first field each cell holds, its legend, and the table of the fields.
  void explained(const Explanation& e) {
    out_ << "<h2>What changes between files</h2>\n<p>";
    for (int k = 0; k < kFieldKinds; ++k)
      out_ << "<span class=\"swatch\" style=\"background:" << kindColour(FieldKind(k))
           << "\"></span> " << fieldKindName(FieldKind(k)) << " &nbsp; ";
    out_ << "</p>\n<div class=\"attribute\">\n";
    const std::uint64_t perCell = bytesPerCellFor(run_.fileSize);
    const std::uint64_t cells = (run_.fileSize + perCell - 1) / perCell;
    out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kColumns * kCellPixels
         << "\" height=\"" << (cells + kColumns - 1) / kColumns * kCellPixels << "\">\n";
    std::size_t i = 0;  // the first field that ends in or after the cell
    for (std::uint64_t c = 0; c < cells; ++c) {
      const std::uint64_t first = c * perCell;
      const std::uint64_t last = std::min(first + perCell, run_.fileSize) - 1;
      while (i < e.fields.size() && e.fields[i].lastByte < first) ++i;
      const bool held = i < e.fields.size() && e.fields[i].firstByte <= last;
      out_ << "<rect data-byte=\"" << first << "\" x=\"" << (c % kColumns) * kCellPixels
           << "\" y=\"" << (c / kColumns) * kCellPixels << "\" width=\"" << kCellPixels - 1
           << "\" height=\"" << kCellPixels - 1 << "\" fill=\""
           << (held ? kindColour(e.fields[i].kind) : kColours[kConstantCell]) << "\" class=\""
           << (held ? fieldKindName(e.fields[i].kind) : "constant") << "\"><title>"
           << hexOffset(first);
      if (last != first) out_ << "-" << hexOffset(last);
      out_ << " "
           << (held ? escaped(hexOffset(e.fields[i].firstByte) + "-" +
                              hexOffset(e.fields[i].lastByte) + " " + describeField(e, e.fields[i]))
                    : "the same in every file")
           << "</title></rect>\n";
    }
    out_ << "</svg>\n<table><tr><th>bytes</th><th>length</th><th>what</th></tr>\n";
    for (std::size_t f = 0; f < e.fields.size() && f < kShownFields; ++f)
      out_ << "<tr><td>" << hexOffset(e.fields[f].firstByte) << "-"
           << hexOffset(e.fields[f].lastByte) << "</td><td>"
           << e.fields[f].lastByte - e.fields[f].firstByte + 1
           << "</td><td><span class=\"swatch\" style=\"background:" << kindColour(e.fields[f].kind)
           << "\"></span> " << escaped(describeField(e, e.fields[f])) << "</td></tr>\n";
    for (const ChecksumField& c : e.tooFewFiles)
      out_ << "<tr><td>" << hexOffset(c.firstByte) << "-" << hexOffset(c.lastByte) << "</td><td>"
           << c.lastByte - c.firstByte + 1 << "</td><td>checksum? " << escaped(describeChecksum(c))
           << " (held in every file; too few files to tell)</td></tr>\n";
    out_ << "</table>\n";
    if (e.fields.size() > kShownFields)
      out_ << "<p>... " << e.fields.size() - kShownFields << " more fields (see the JSON)</p>\n";
    out_ << "</div>\n";
  }

  void grid(Findings& f) {
    const std::uint64_t cells = f.cells.size();
    const std::uint64_t rows = (cells + kColumns - 1) / kColumns;
    out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kColumns * kCellPixels
         << "\" height=\"" << rows * kCellPixels << "\">\n";
    std::uint64_t p = 0;  // the next byte record
    const std::uint64_t records = f.bytes.count();
    for (std::uint64_t c = 0; c < cells; ++c) {
      const std::uint64_t first = c * f.bytesPerCell;
      const std::uint64_t last = std::min(first + f.bytesPerCell, run_.fileSize) - 1;
      const unsigned cls = f.cells[c];
      out_ << "<rect data-offset=\"" << first << "\" x=\"" << (c % kColumns) * kCellPixels
           << "\" y=\"" << (c / kColumns) * kCellPixels << "\" width=\"" << kCellPixels - 1
           << "\" height=\"" << kCellPixels - 1 << "\" fill=\"" << kColours[cls] << "\" class=\""
           << kClassNames[cls] << "\"><title>" << hexOffset(first);
      if (last != first) out_ << "-" << hexOffset(last);
      out_ << " " << kClassNames[cls];
      while (p < records && offsetAt(f, p) < first) ++p;
      if (cls == kInformativeCell && p < records) {
        const ByteRecord record = byteRecordAt(f, p);
        if (record.offset <= last) {
          out_ << " at " << hexOffset(record.offset) << ":";
          for (std::size_t g = 0; g < f.groups.size(); ++g) {
            std::ostringstream hex;
            if (record.uniform[g] != 0xFF)
              hex << "??";
            else
              hex << std::hex << std::setfill('0') << std::setw(2) << unsigned{record.values[g]};
            out_ << " " << escaped(f.groups[g].value) << "=" << hex.str();
          }
        }
      }
      out_ << "</title></rect>\n";
    }
    out_ << "</svg>\n";
  }

  // Group g's bytes of a region in hex, with the text when all are known and
  // printable.
  static std::string regionBytes(Findings& f, const Span& region, std::size_t g) {
    std::string hex;
    appendRegionHex(hex, f, region, g, kShownBytes, " ");
    std::string cell = escaped(hex) + (region.last - region.first + 1 > kShownBytes ? " ..." : "");
    std::string text;
    for (std::size_t at = 0; at < hex.size(); at += 3) {
      if (hex[at] == '?') return cell;
      const char byte = static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
      if (byte < 0x20 || byte > 0x7e) return cell;
      text += byte;
    }
    return cell + " &ldquo;" + escaped(text) + "&rdquo;";
  }

  // The regions: each group's bytes, the region decoded, and its fields'
  // bits below it; the likely chance ones marked.
  void fieldTable(Findings& f) {
    out_ << "<table><tr><th>bytes</th><th>bits</th><th>width</th>";
    for (const ReportGroup& group : f.groups) out_ << "<th>" << escaped(group.value) << "</th>";
    out_ << "<th>note</th></tr>\n";
    std::uint64_t shown = 0;
    forEachRegion(f, [&](const Span& region) {
      if (shown == kShownRegions) return false;
      ++shown;
      const bool chance = likelyChance(f, region);
      out_ << "<tr" << (chance ? " class=\"chance\"" : "") << "><td>" << hexOffset(region.first)
           << "-" << hexOffset(region.last) << (chance ? " likely chance" : "")
           << "</td><td></td><td>" << region.last - region.first + 1 << " B</td>";
      for (std::size_t g = 0; g < f.groups.size(); ++g)
        out_ << "<td>" << regionBytes(f, region, g) << "</td>";
      out_ << "</tr>\n";
      Decoded d;
      if (decodeRegion(f, region, d)) {
        out_ << "<tr><td>" << (d.isValue ? escaped(f.name) + " = " : "") << "as " << d.encoding
             << "</td><td>" << hexOffset(d.first) << "-" << hexOffset(d.last) << "</td><td>"
             << d.last - d.first + 1 << " B</td>";
        for (std::size_t g = 0; g < f.groups.size(); ++g)
          out_ << "<td>" << escaped(d.values[g]) << "</td>";
        out_ << "</tr>\n";
      }
      forEachField(f, region.from, region.to, [&](const Span& field) {
        out_ << "<tr><td></td><td>" << field.first << "-" << field.last << "</td><td>"
             << field.last - field.first + 1 << "</td>";
        for (std::size_t g = 0; g < f.groups.size(); ++g) {
          std::string bits;
          appendFieldBits(bits, f, field, g, kShownBits);
          if (field.last - field.first + 1 > kShownBits) bits += "...";
          out_ << "<td>" << bits << "</td>";
        }
        out_ << "<td>" << checksumNote(field) << "</td></tr>\n";
        return true;
      });
      return true;
    });
    out_ << "</table>\n";
    if (shown < f.regionCount)
      out_ << "<p>... " << f.regionCount - shown
           << (f.regionCount - shown == 1 ? " more region" : " more regions")
           << " (see the JSON)</p>\n";
  }

  // "from checksum at 0x...-0x..." for a field inside a checksum field.
  std::string checksumNote(const Span& field) const {
    const ChecksumField* c = checksumHolding(run_, field.first / 8, field.last / 8);
    return c == nullptr
               ? ""
               : "from checksum at " + hexOffset(c->firstByte) + "-" + hexOffset(c->lastByte);
  }

  std::ostream& out_;
  ReportRun run_;
};

}  // namespace

std::uint64_t bytesPerCellFor(std::uint64_t fileSize) {
  return fileSize <= kMostCells ? 1 : (fileSize + kMostCells - 1) / kMostCells;
}

std::unique_ptr<ReportWriter> htmlWriter(std::ostream& out) {
  return std::make_unique<HtmlWriter>(out);
}
