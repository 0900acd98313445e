// What the report finds about one attribute, and the walks over it in file
// order.
//
// The scan (attribute_scan.h) fills a Findings from the end of the files to
// their start: the bit counts, the offset and informative bits of every byte
// that holds an informative bit, and every shortest distinguishing stretch,
// all on disk (record_file.h). The groups' bytes are not kept: the walks
// read them back from the data files (FileBytes) as the scan saw them, bits
// reversed with -b and bytes reordered with -e. Regions and fields are not
// stored either: a region is a run of records of consecutive bytes, a field
// a run of consecutive informative bit positions (position 8 × byte + k is
// bit 7 - k of the byte), so both are read off the byte records as they are
// walked.
//
// Records are named by ascending position (0: the lowest offset). Each walk
// goes forward in file order, and may go back to the start of a region or
// field to take the next group's files: a walk reads each record chunk and
// each data file about once, a window at a time.
#ifndef OVRELL_REPORT_FINDINGS_H_
#define OVRELL_REPORT_FINDINGS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "base/data_files.h"
#include "engine/ovrell.h"
#include "project/attribute_index.h"
#include "report/record_file.h"

// The data files' bytes as the scan saw them, read back through a window
// per file. The windows take a quarter of the memory limit, at most 8 MiB
// together (but 64 bytes at least and 1 MiB at most each); a window moves
// forward with the reads, and a read before it reads the window again.
class FileBytes {
 public:
  // `files` must outlive this.
  FileBytes(const DataFiles& files, std::uint64_t fileSize, const Options& options);

  // Byte `offset` of file `file`. REQUIRES: offset < the file size.
  unsigned char at(std::size_t file, std::uint64_t offset) {
    const Window& window = windows_[file];
    if (offset - window.start < window.bytes.size()) return window.bytes[offset - window.start];
    return load(file, offset);
  }

 private:
  struct Window {
    std::uint64_t start = 0;
    std::vector<unsigned char> bytes;
  };
  unsigned char load(std::size_t file, std::uint64_t offset);

  const DataFiles& files_;
  std::uint64_t fileSize_, windowBytes_ = 0, chunk_;
  bool invert_;
  std::vector<Window> windows_;
};

struct ReportGroup {
  std::string value;
  const FileIndexList* files;
};

// The classes of the picture's cells, in the order "most telling" wins.
enum CellClass : unsigned char { kConstantCell = 0, kVaryingCell = 1, kInformativeCell = 2 };

struct Findings {
  explicit Findings(std::vector<ReportGroup> groupList) : groups(std::move(groupList)) {}

  std::string name;
  std::vector<ReportGroup> groups;  // ascending by value, numerically when all are numbers
  std::uint64_t fileSize = 0;
  std::uint64_t informative = 0, constant = 0, varying = 0;
  std::uint64_t regionCount = 0, fieldCount = 0, longestRegion = 0;
  ByteRecords bytes;  // the bytes with informative bits
  StretchRecords stretches;
  FileBytes* data = nullptr;  // the groups' bytes, set by the scan
  // The informative bits expected by chance, the one-bit regions that could
  // be chance (region_facts.h), whether they are, and the sets of groups
  // that agree on every informative bit (indices into groups, each set
  // ascending); set by settleFindings.
  double chanceBits = 0;
  std::uint64_t chanceCandidates = 0;
  bool candidatesAreChance = false;
  std::vector<std::vector<std::size_t>> indistinct;
  std::uint64_t bytesPerCell = 0;  // the picture's cells; 0: no picture
  std::vector<unsigned char> cells;
};

// One byte record with each group's byte (that of its first file) and the
// bits that are the same in every file of the group.
struct ByteRecord {
  std::uint64_t offset;
  unsigned char informative;
  std::vector<unsigned char> values, uniform;  // per group
};

// Group g's byte at `offset` (that of its first file), and in `uniform` the
// bits that are the same in all its files. REQUIRES: offset < the file size.
unsigned char groupByteAt(Findings& findings, std::uint64_t offset, std::size_t g,
                          unsigned char& uniform);

// The byte record at ascending position p (0: the lowest offset), whole,
// or only its offset or its informative bits.
ByteRecord byteRecordAt(Findings& findings, std::uint64_t p);
inline std::uint64_t offsetAt(Findings& findings, std::uint64_t p) {
  return findings.bytes.offsetAt(p);
}
inline unsigned char informativeAt(Findings& findings, std::uint64_t p) {
  return findings.bytes.informativeAt(p);
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
inline void stretchAt(Findings& findings, std::uint64_t i, std::uint64_t& first,
                      std::uint64_t& last) {
  findings.stretches.at(i, first, last);
}

#endif  // OVRELL_REPORT_FINDINGS_H_
