// What the report finds about one attribute, and the walks over it in file
// order.
//
// The scan (attribute_scan.h) fills a Findings from the end of the files to
// their start: the bit counts, one record for every byte that holds an
// informative bit (its offset, its informative bits, and for each group the
// byte of the group's first file and the bits that are uniform inside the
// group), and one record for every shortest distinguishing stretch. Both
// lists are on disk (record_file.h), in descending order; the walks below
// give them back ascending. Regions and fields are not stored: a region is
// a run of records of consecutive bytes, a field a run of consecutive
// informative bit positions (position 8 × byte + k is bit 7 - k of the
// byte), so both are read off the byte records as they are walked.
#ifndef OVRELL_REPORT_FINDINGS_H_
#define OVRELL_REPORT_FINDINGS_H_

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "project/attribute_index.h"
#include "report/record_file.h"

struct ReportGroup {
  std::string value;
  const FileIndexList* files;
};

// The classes of the picture's cells, in the order "most telling" wins.
enum CellClass : unsigned char { kConstantCell = 0, kVaryingCell = 1, kInformativeCell = 2 };

struct Findings {
  explicit Findings(std::vector<ReportGroup> groupList)
      : groups(std::move(groupList)), bytes(9 + 2 * groups.size()), stretches(16) {}

  std::string name;
  std::vector<ReportGroup> groups;  // ascending by value
  std::uint64_t informative = 0, constant = 0, varying = 0;
  std::uint64_t regionCount = 0, fieldCount = 0, longestRegion = 0;
  RecordFile bytes;                // the bytes with informative bits, descending
  RecordFile stretches;            // (first, last) bit positions, descending
  std::uint64_t bytesPerCell = 0;  // the picture's cells; 0: no picture
  std::vector<unsigned char> cells;
};

// One byte record as read back. `at` values are copied out: the record file
// moves its window on the next read.
struct ByteRecord {
  std::uint64_t offset;
  unsigned char informative;
  std::vector<unsigned char> values, uniform;  // per group
};

// The byte record at ascending position p (0: the lowest offset), whole,
// or only its offset or its informative bits.
ByteRecord byteRecordAt(Findings& findings, std::uint64_t p);
inline std::uint64_t offsetAt(Findings& findings, std::uint64_t p) {
  std::uint64_t offset;  // written little-endian, as the scan's machines are
  std::memcpy(&offset, findings.bytes.fromEnd(p), sizeof offset);
  return offset;
}
inline unsigned char informativeAt(Findings& findings, std::uint64_t p) {
  return findings.bytes.fromEnd(p)[8];
}

// A region (first and last byte) or a field (first and last bit position),
// with the ascending positions [from, to] of its byte records.
struct Span {
  std::uint64_t first, last, from, to;
};

// Calls visit(span) for every region, ascending; stops when visit returns
// false.
template <typename Visit>
void forEachRegion(Findings& findings, Visit&& visit) {
  const std::uint64_t n = findings.bytes.count();
  for (std::uint64_t p = 0; p < n;) {
    Span span{offsetAt(findings, p), 0, p, p};
    span.last = span.first;
    while (span.to + 1 < n && offsetAt(findings, span.to + 1) == span.last + 1)
      ++span.to, ++span.last;
    if (!visit(span)) return;
    p = span.to + 1;
  }
}

// Calls visit(span) for every field whose bits lie in the byte records of
// ascending positions [from, to], ascending; stops when visit returns false.
template <typename Visit>
void forEachField(Findings& findings, std::uint64_t from, std::uint64_t to, Visit&& visit) {
  bool open = false;
  Span span{};
  for (std::uint64_t p = from; p <= to; ++p) {
    const unsigned char informative = informativeAt(findings, p);
    const std::uint64_t offset = offsetAt(findings, p);
    for (unsigned k = 0; k < 8; ++k) {
      if (((informative >> (7 - k)) & 1U) == 0) continue;
      const std::uint64_t position = 8 * offset + k;
      if (open && position == span.last + 1) {
        span.last = position, span.to = p;
        continue;
      }
      if (open && !visit(span)) return;
      span = Span{position, position, p, p};
      open = true;
    }
  }
  if (open) visit(span);
}

// Group g's bytes of a region in lower-case hex, "??" for a byte that is not
// the same in every file of the group; at most `limit` bytes (0: all).
// Appended to `out`; a caller that wants all of a long region writes `out`
// away when it grows.
void appendRegionHex(std::string& out, Findings& findings, const Span& region, std::size_t g,
                     std::uint64_t limit = 0, const char* separator = "");
// Group g's bits of a field, as 0 and 1; at most `limit` bits (0: all).
void appendFieldBits(std::string& out, Findings& findings, const Span& field, std::size_t g,
                     std::uint64_t limit = 0);

// The stretch at ascending position i.
void stretchAt(Findings& findings, std::uint64_t i, std::uint64_t& first, std::uint64_t& last);

#endif  // OVRELL_REPORT_FINDINGS_H_
