// The layout as a Kaitai Struct description (YAML), written as the findings
// come:
//
//   meta, doc            the root type, named after the project file (begin)
//   seq                  the file from its first byte to its last, every
//                        byte once: the runs that are the same in every file
//                        (their bytes, those of the first file) and each
//                        field of the explanation (with the first attribute,
//                        whose scan brings the files' bytes)
//   types                per attribute, a type whose instances are its
//                        informative fields, read at their offsets, each with
//                        an enum from the field's value to the groups that
//                        hold it (each attribute as its scan ends)
//   instances            one per attribute, at offset 0 (end)
//
// Fields of different attributes may share bytes: they are instances, not
// part of the walk. A field that is not whole bytes goes through a small
// type whose seq skips the bits before it and reads it as bN.
//
// Identifiers are made from the names (ASCII letters and digits, lower
// case, the rest as one '_'), prefixed where they would start with a digit,
// be empty or be a keyword of a language Kaitai compiles to, and numbered
// where they would clash with another in the same scope once converted to
// camel case (the generated code's names); the original text stays in doc
// and in the `-ovrell-...` keys. Each group's values per field are read
// with appendFieldBits: one walk of each attribute's findings.
#include <algorithm>
#include <charconv>
#include <set>

#include "explain/crc.h"
#include "report/report_writer.h"

namespace {

constexpr std::size_t kFlushBytes = 1 << 16;
// Constant runs up to this length are checked byte for byte (contents).
constexpr std::uint64_t kContentsBytes = 64;
// Fields up to this many bits get an enum: wider values lose precision as
// numbers in some of the languages Kaitai compiles to.
constexpr std::uint64_t kEnumBits = 52;
// The widest bit-sized field every runtime reads (JavaScript's reads at
// most 32 bits); wider fields that are not whole bytes are raw bytes.
constexpr std::uint64_t kBitFieldBits = 32;

const std::set<std::string>& keywords() {
  static const std::set<std::string> words = {
      "abstract",   "alias",   "and",         "arguments", "as",        "assert",
      "async",      "auto",    "await",       "begin",     "bool",      "boolean",
      "break",      "byte",    "case",        "catch",     "chan",      "char",
      "class",      "const",   "constructor", "continue",  "def",       "default",
      "defer",      "defined", "del",         "delete",    "do",        "double",
      "elif",       "else",    "elsif",       "end",       "ensure",    "enum",
      "eval",       "except",  "exec",        "explicit",  "export",    "extends",
      "extern",     "false",   "final",       "finally",   "float",     "for",
      "friend",     "from",    "func",        "function",  "global",    "go",
      "goto",       "if",      "implements",  "import",    "in",        "inline",
      "instanceof", "int",     "interface",   "is",        "lambda",    "let",
      "long",       "map",     "module",      "mutable",   "namespace", "native",
      "new",        "next",    "nil",         "none",      "nonlocal",  "not",
      "null",       "object",  "operator",    "or",        "package",   "pass",
      "print",      "private", "protected",   "prototype", "public",    "raise",
      "range",      "redo",    "register",    "rescue",    "retry",     "return",
      "select",     "self",    "short",       "signed",    "sizeof",    "static",
      "strictfp",   "string",  "struct",      "super",     "switch",    "synchronized",
      "template",   "then",    "this",        "throw",     "throws",    "transient",
      "true",       "try",     "type",        "typedef",   "typename",  "typeof",
      "undefined",  "union",   "unless",      "unsigned",  "until",     "using",
      "var",        "virtual", "void",        "volatile",  "when",      "while",
      "with",       "yield"};
  return words;
}

// `text` as an identifier: [a-z][a-z0-9_]*, no "__", no '_' at either end.
std::string identifierOf(const std::string& text, const std::string& prefix) {
  std::string id;
  bool gap = false;
  for (const char c : text) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!letter && !(c >= '0' && c <= '9')) {
      gap = true;
      continue;
    }
    if (gap && !id.empty()) id += '_';
    gap = false;
    id += letter ? static_cast<char>(c | 0x20) : c;
  }
  if (id.empty()) return prefix;
  if ((id[0] >= '0' && id[0] <= '9') || keywords().count(id) != 0) return prefix + "_" + id;
  return id;
}

// The identifiers of one scope, kept apart by their camel-case form, the
// one the generated code uses ("a_1" and "a1" are both "a1" there).
class Scope {
 public:
  std::string unique(const std::string& id) {
    std::string candidate = id;
    for (unsigned n = 2; !keys_.insert(camel(candidate)).second; ++n)
      candidate = id + "_" + std::to_string(n);
    return candidate;
  }

 private:
  static std::string camel(const std::string& id) {
    std::string key;
    bool upper = false;
    for (const char c : id) {
      if (c == '_') {
        upper = true;
        continue;
      }
      key += upper && c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
      upper = false;
    }
    return key;
  }
  std::set<std::string> keys_;
};

// `text` as a YAML double-quoted scalar.
std::string quoted(const std::string& text) { return "\"" + jsonEscaped(text, true) + "\""; }

std::string hex(std::uint64_t value) {
  char text[24] = "0x";
  return std::string(text, std::to_chars(text + 2, text + sizeof text, value, 16).ptr);
}

// The Kaitai type of an integer encoding ("u16le", "i32be", "u8",
// "unix-s-le", "dos") of `bytes` bytes, or "" when it is none or of another
// width.
std::string integerType(const std::string& encoding, std::uint64_t bytes) {
  // Unix seconds and milliseconds, FAT date and time: whole words.
  const std::string order = encoding.size() > 2 ? encoding.substr(encoding.size() - 2) : "";
  if ((bytes == 4 || bytes == 8) && encoding.compare(0, 5, "unix-") == 0 &&
      (order == "le" || order == "be"))
    return "u" + std::to_string(bytes) + order;
  if (encoding == "dos" && bytes == 4) return "u4le";
  if (encoding.size() < 2 || (encoding[0] != 'u' && encoding[0] != 'i')) return "";
  std::size_t end = 1;
  while (end < encoding.size() && encoding[end] >= '0' && encoding[end] <= '9') ++end;
  const std::string bits = encoding.substr(1, end - 1), suffix = encoding.substr(end);
  if (bits != std::to_string(8 * bytes) ||
      (bits != "8" && bits != "16" && bits != "32" && bits != "64"))
    return "";
  if (bits == "8" ? !suffix.empty() : suffix != "le" && suffix != "be") return "";
  return (encoding[0] == 'u' ? "u" : "s") + std::to_string(bytes) + suffix;
}

std::string checksumAlgorithm(const ChecksumField& c) {
  return c.isCrc ? "crc" : sumAlgorithm(c.sum.kind);
}

unsigned checksumWidth(const ChecksumField& c) {
  if (c.isCrc) return c.crc.width;
  if (c.sum.kind == SumKind::kAdler32 || c.sum.kind == SumKind::kFletcher32) return 32;
  return c.sum.kind == SumKind::kFletcher16 ? 16 : c.sum.width;
}

class KsyWriter : public ReportWriter {
 public:
  KsyWriter(std::ostream& out, std::string rootId) : out_(out), rootId_(std::move(rootId)) {}

  void begin(const ReportRun& run) override {
    run_ = run;
    root_.unique(rootId_);
    add("meta:\n  id: ").add(rootId_).add("\n  -ovrell-file-size: ").number(run.fileSize);
    add("\n  -ovrell-files: ").number(run.fileNames.size());
    add("\ndoc: ").add(quoted("The layout of " + std::to_string(run.fileNames.size()) +
                              " files of " + std::to_string(run.fileSize) +
                              " bytes: the bytes that are the same in every file, what changes "
                              "between them, and per attribute the fields that tell its groups "
                              "apart."));
    if (!run.explanation->complete)
      add("\n-ovrell-incomplete: true  # the search for what changes was cut short");
    add("\n");
  }

  void attribute(Findings& f) override {
    if (!seqWritten_) seq(*f.data), seqWritten_ = true;
    const std::string id = root_.unique(identifierOf(f.name, "attribute"));
    attributes_.push_back(id);
    names_.push_back(f.name);
    add(attributes_.size() == 1 ? "types:\n" : "").add("  ").add(id).add(":\n");
    add("    doc: ").add(quoted("The fields that tell the groups of \"" + f.name + "\" apart."));
    add("\n    -ovrell-attribute: ").add(quoted(f.name)).add("\n");
    fields(f);
    flushWhenFull();
  }

  void end() override {
    if (!seqWritten_) add("seq: []\n");
    if (!attributes_.empty()) add("instances:\n");
    for (std::size_t a = 0; a < attributes_.size(); ++a) {
      add("  ").add(attributes_[a]).add(":\n    pos: 0\n    type: ").add(attributes_[a]);
      add("\n    -ovrell-attribute: ").add(quoted(names_[a])).add("\n");
    }
    out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    buffer_.clear();
  }

 private:
  KsyWriter& add(const std::string& text) {
    buffer_ += text;
    return *this;
  }
  KsyWriter& number(std::uint64_t value) { return add(std::to_string(value)); }
  void flushWhenFull() {
    if (buffer_.size() < kFlushBytes) return;
    out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    buffer_.clear();
  }

  // The walk over the file: constant runs between the explanation's fields.
  void seq(FileBytes& data) {
    add("seq:\n");
    std::uint64_t next = 0;
    for (const ExplainedField& field : run_.explanation->fields) {
      if (field.firstByte > next) constant(data, next, field.firstByte - 1);
      changing(field);
      next = field.lastByte + 1;
      flushWhenFull();
    }
    if (next < run_.fileSize) constant(data, next, run_.fileSize - 1);
    if (run_.fileSize == 0) add("  []\n");
  }

  void constant(FileBytes& data, std::uint64_t first, std::uint64_t last) {
    add("  - id: ").add(root_.unique("constant_" + hex(first)));
    const std::uint64_t size = last - first + 1;
    if (size <= kContentsBytes) {
      add("\n    contents: [");
      for (std::uint64_t o = first; o <= last; ++o)
        add(o == first ? "" : ", ").add(hex(data.at(0, o)));
      add("]\n");
      return;
    }
    // A long run: its size, and its CRC-32 to check it by; a run of one
    // byte value is checked by the parser itself.
    const Crc crc(crcCatalogue()[0].params);
    std::uint64_t reg = crc.start();
    const unsigned char firstByte = data.at(0, first);
    bool uniform = true;
    for (std::uint64_t o = first; o <= last; ++o) {
      const unsigned char byte = data.at(0, o);
      uniform = uniform && byte == firstByte;
      reg = crc.step(reg, byte);
    }
    add("\n    size: ").number(size);
    if (uniform)
      add("\n    valid:\n      expr: _.min == ")
          .add(hex(firstByte))
          .add(" and _.max == ")
          .add(hex(firstByte));
    add("\n    doc: ")
        .add(quoted("The same in every file: " +
                    (uniform ? std::to_string(size) + " bytes " + hex(firstByte)
                             : std::to_string(size) + " bytes of CRC-32 " + hex(crc.finish(reg))) +
                    "."));
    add("\n    -ovrell-crc32: ").add(hex(crc.finish(reg))).add("\n");
  }

  void changing(const ExplainedField& field) {
    const Explanation& e = *run_.explanation;
    const std::uint64_t size = field.lastByte - field.firstByte + 1;
    add("  - id: ").add(root_.unique(fieldKindName(field.kind) + ("_" + hex(field.firstByte))));
    std::string type, encoding, text;
    if (field.kind == FieldKind::kChecksum) {
      const ChecksumField& c = e.checksums[field.record];
      if (c.byteOrder == FieldOrder::kText)
        text = "ASCII";
      else if (size == 1 || size == 2 || size == 4 || size == 8)
        type = "u" + std::to_string(size) +
               (size == 1                            ? ""
                : c.byteOrder == FieldOrder::kLittle ? "le"
                                                     : "be");
    } else if (field.kind == FieldKind::kValue) {
      encoding = e.values[field.record].encoding;
      type = integerType(encoding, size);
      if (encoding.compare(0, 6, "ascii-") == 0) text = "ASCII";
      if (encoding == "text") text = "UTF-8";
    } else if (field.kind == FieldKind::kCounter || field.kind == FieldKind::kTimestamp) {
      encoding = e.classes[field.record].encoding;
      type = integerType(encoding, size);
      if (encoding.compare(0, 6, "ascii:") == 0) text = "ASCII";
    } else if (field.kind == FieldKind::kText) {
      text = "ASCII";
    }
    if (!type.empty())
      add("\n    type: ").add(type);
    else
      add("\n    size: ").number(size);
    if (type.empty() && !text.empty()) add("\n    type: str\n    encoding: ").add(text);
    add("\n    doc: ").add(quoted(describeField(e, field)));
    add("\n    -ovrell-kind: ").add(fieldKindName(field.kind));
    if (!encoding.empty()) add("\n    -ovrell-encoding: ").add(quoted(encoding));
    if (field.kind == FieldKind::kValue) {
      add("\n    -ovrell-attribute: ").add(quoted(e.values[field.record].attribute));
      add("\n    -ovrell-read-as: ").add(e.values[field.record].readAs);
    }
    if (field.kind == FieldKind::kChecksum) checksum(e.checksums[field.record]);
    add("\n");
  }

  void checksum(const ChecksumField& c) {
    add("\n    -ovrell-checksum:\n      algorithm: ").add(checksumAlgorithm(c));
    if (c.isCrc && c.name != nullptr) add("\n      name: ").add(quoted(c.name));
    add("\n      width: ").number(checksumWidth(c)).add("\n      byte_order: ");
    add(c.byteOrder == FieldOrder::kLittle ? "little"
        : c.byteOrder == FieldOrder::kBig  ? "big"
                                           : "text");
    add("\n      covers: [").add(hex(c.coversFirst)).add(", ").add(hex(c.coversLast)).add("]");
    if (c.fieldAsZeros || c.fieldAsBlanks)
      add("\n      field_read_as: ").add(c.fieldAsZeros ? "zeros" : "blanks");
    if (c.isCrc) {
      add("\n      crc: {poly: ").add(hex(c.crc.poly)).add(", init: ").add(hex(c.crc.init));
      add(", refin: ").add(c.crc.refin ? "true" : "false");
      add(", refout: ").add(c.crc.refout ? "true" : "false");
      add(", xorout: ").add(hex(c.crc.xorout)).add("}");
    } else if (c.sum.kind == SumKind::kSum || c.sum.kind == SumKind::kXor) {
      add("\n      unit: ").number(c.sum.unit);
      add("\n      word_order: ").add(c.sum.bigEndian ? "big" : "little");
      add("\n      complement: ");
      add(c.sum.complement == Complement::kTwos   ? "twos"
          : c.sum.complement == Complement::kOnes ? "ones"
                                                  : "none");
    }
  }

  enum Part { kInstances, kTypes, kEnums };

  // The attribute's type: its fields as instances, the bit-sized ones'
  // types and the enums, three mappings that cannot interleave: the fields
  // are walked once for each.
  void fields(Findings& f) {
    const std::uint64_t n = f.bytes.count();
    if (n == 0) return;
    for (const Part part : {kInstances, kTypes, kEnums}) {
      bool first = true;
      forEachField(f, 0, n - 1, [&](const Span& span) {
        const std::uint64_t byte = span.first / 8, skip = span.first % 8,
                            bits = span.last - span.first + 1;
        const std::string id = "at_" + hex(byte) + (skip ? "_b" + std::to_string(skip) : "");
        const bool whole = skip == 0 && (bits == 8 || bits == 16 || bits == 32 || bits == 64);
        const bool raw = bits > 64 || (!whole && bits > kBitFieldBits);
        if (part == kTypes && (whole || raw)) return true;
        if (part == kEnums && (bits > kEnumBits || raw)) return true;
        if (first)
          add(part == kInstances ? "    instances:\n"
              : part == kTypes   ? "    types:\n"
                                 : "    enums:\n");
        first = false;
        if (part == kInstances) instance(span, id, whole);
        if (part == kTypes) {
          add("      ").add(id).add("_bits:\n        seq:\n");
          if (skip) add("          - id: skip\n            type: b").number(skip).add("\n");
          add("          - id: value\n            type: b").number(bits).add("\n");
          if (bits <= kEnumBits) add("            enum: ").add(id).add("\n");
        }
        if (part == kEnums) enumOf(f, span, id);
        flushWhenFull();
        return true;
      });
    }
  }

  void instance(const Span& span, const std::string& id, bool whole) {
    const std::uint64_t byte = span.first / 8, skip = span.first % 8,
                        bits = span.last - span.first + 1;
    add("      ").add(id).add(":\n        pos: ").add(hex(byte));
    if (bits > 64 || (!whole && bits > kBitFieldBits))
      add("\n        size: ").number(span.last / 8 - byte + 1);
    else if (whole)
      add("\n        type: u").number(bits / 8).add(bits > 8 ? "be" : "");
    else  // a stream of its own, so that no bits are left over from another
      add("\n        size: ")
          .number(span.last / 8 - byte + 1)
          .add("\n        type: ")
          .add(id)
          .add("_bits");
    if (whole && bits <= kEnumBits) add("\n        enum: ").add(id);
    add("\n        doc: ")
        .add(quoted("Bits " + std::to_string(skip) + " to " + std::to_string(skip + bits - 1) +
                    " from byte " + hex(byte) + " on, bit 0 the highest of its byte."));
    const ChecksumField* holder = checksumHolding(run_, byte, span.last / 8);
    if (holder != nullptr) add("\n        -ovrell-from-checksum: ").add(hex(holder->firstByte));
    add("\n");
  }

  // Each distinct value of the field with the groups that hold it.
  void enumOf(Findings& f, const Span& span, const std::string& id) {
    std::vector<std::pair<std::uint64_t, std::size_t>> values;  // value, group
    std::string bits;
    for (std::size_t g = 0; g < f.groups.size(); ++g) {
      bits.clear();
      appendFieldBits(bits, f, span, g);
      std::uint64_t value = 0;
      for (const char bit : bits) value = value << 1 | (bit == '1' ? 1U : 0U);
      values.emplace_back(value, g);
    }
    std::stable_sort(values.begin(), values.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    add("      ").add(id).add(":\n");
    Scope scope;
    for (std::size_t i = 0; i < values.size();) {
      std::size_t j = i;
      std::string groups, list;
      for (; j < values.size() && values[j].first == values[i].first; ++j) {
        const std::string& name = f.groups[values[j].second].value;
        groups += (j == i ? "" : ", ") + name;
        list += (j == i ? "" : ", ") + quoted(name);
      }
      add("        ").number(values[i].first).add(":\n          id: ");
      add(scope.unique(identifierOf(f.groups[values[i].second].value, "group")));
      add("\n          doc: ").add(quoted(groups));
      add("\n          -ovrell-groups: [").add(list).add("]\n");
      i = j;
    }
  }

  std::ostream& out_;
  std::string rootId_;
  ReportRun run_{};
  std::string buffer_;
  bool seqWritten_ = false;
  Scope root_;
  std::vector<std::string> attributes_, names_;
};

}  // namespace

std::unique_ptr<ReportWriter> ksyWriter(std::ostream& out, const std::string& projectFile) {
  std::string stem = projectFile.substr(projectFile.find_last_of('/') + 1);
  if (stem.find('.', 1) != std::string::npos) stem.erase(stem.rfind('.'));
  return std::make_unique<KsyWriter>(out, identifierOf(stem, "project"));
}
