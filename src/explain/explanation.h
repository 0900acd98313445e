// The explanation of a set of files: every byte that changes between files,
// split into fields that say what the bytes are. The changing runs come
// first; the checksum fields (checksum_finder.h) and the fields holding each
// file's value of an attribute (values.h) take their bytes; every changing
// byte left over is split into maximal pieces, each classified (kinds.h) as
// a counter, a timestamp, text, random bytes or unexplained.
//
// The fields are ascending by first byte, disjoint, and cover every byte
// that changes; a field may reach over bytes that are the same in every file
// (a u32le sample rate below 65536, a checksum's top byte; random bytes
// over up to 16 bytes that are equal by chance). Offsets are the files' own.
//
// Memory: the reads go a window of every file at a time, the window sized
// so that all windows together take at most `ExplainLimits::memory` (but
// 4 KiB per file at least; the detectors read up to 64 KiB per file of a
// run besides). The result takes 24 bytes per field plus its record (about
// 100 bytes per checksum, value, counter or timestamp, a few short strings
// per text), and holds at most `maxFields` fields: past that the search
// stops, one unexplained field covers the rest of the changing bytes, and
// the explanation is marked incomplete.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_EXPLANATION_H_
#define OVRELL_EXPLAIN_EXPLANATION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "explain/byte_source.h"
#include "explain/checksum_finder.h"
#include "explain/crc.h"
#include "explain/kinds.h"
#include "explain/sums.h"
#include "explain/values.h"

enum class FieldKind : unsigned char {
  kChecksum,
  kValue,
  kCounter,
  kTimestamp,
  kText,
  kRandom,
  kUnexplained
};
constexpr int kFieldKinds = 7;

// "checksum", "value", "counter", "timestamp", "text", "random", "unexplained".
const char* fieldKindName(FieldKind kind);

struct ExplainedField {
  std::uint64_t firstByte = 0;  // inclusive
  std::uint64_t lastByte = 0;
  FieldKind kind = FieldKind::kUnexplained;
  // The index of the field's record in Explanation::checksums (checksum),
  // values (value), classes (counter, timestamp) or texts (text); 0 else.
  std::uint32_t record = 0;
};

struct Explanation {
  std::vector<ExplainedField> fields;
  std::vector<ChecksumField> checksums;
  std::vector<ValueField> values;
  std::vector<RunClass> classes;
  std::vector<std::vector<std::string>> texts;  // a few distinct values, in file order
  // Checksums that held in every file but could be chance with so few
  // files: one candidate per field, ascending, none where one was found.
  std::vector<ChecksumField> tooFewFiles;
  bool complete = true;  // false when a limit cut the search short
};

struct ExplainLimits {
  std::uint64_t memory = 64 << 20;  // the windows of all files together
  std::size_t maxFields = 1 << 16;
  ChecksumLimits checksums;  // the checksum search's bounds
};

// REQUIRES: the attributes' values one per file, none empty.
Explanation explainFiles(const ByteSource& source, const std::vector<AttributeValues>& attributes,
                         const ExplainLimits& limits = {});

// One line of English for a field, its kind first: "checksum  CRC-32C, no
// final XOR, little-endian, of 0x400-0x7fb", "value  serial, u32le",
// "counter, rising with the files' order, u16le", "timestamp  u32le,
// 2023-11-14 .. 2023-11-20", "text  \"abc\", \"abd\"", "random".
// Attribute names and text values go through `escape` when given.
std::string describeField(const Explanation& explanation, const ExplainedField& field,
                          std::string (*escape)(const std::string&) = nullptr);
// A checksum's parameters and range, without the kind: "CRC-32C, no final
// XOR, little-endian, of 0x400-0x7fb".
std::string describeChecksum(const ChecksumField& checksum);
// The UTC date of Unix seconds: "2023-11-14".
std::string utcDate(std::int64_t seconds);

#endif  // OVRELL_EXPLAIN_EXPLANATION_H_
