#include "patch/patch_check.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "base/fatal.h"
#include "patch/checksum_fix.h"

std::string offsetText(std::uint64_t offset) {
  std::ostringstream text;
  text << "0x" << std::hex << std::setfill('0') << std::setw(8) << offset;
  return text.str();
}

namespace {

using Bytes = std::vector<unsigned char>;

std::string rangeText(std::uint64_t first, std::uint64_t last) {
  return first == last ? offsetText(first) : offsetText(first) + "-" + offsetText(last);
}

std::string checksumName(const ChecksumField& field) {
  if (!field.isCrc) return sumName(field.sum);
  if (field.name != nullptr) return field.name;
  std::ostringstream text;
  text << "CRC-" << field.crc.width << " poly 0x" << std::hex << field.crc.poly << " init 0x"
       << field.crc.init << " refin " << field.crc.refin << " refout " << field.crc.refout
       << " xorout 0x" << field.crc.xorout;
  return text.str();
}

const char* orderName(FieldOrder order) {
  return order == FieldOrder::kLittle ? "little-endian"
         : order == FieldOrder::kBig  ? "big-endian"
                                      : "octal text";
}

// Ends the run unless every attribute's informative bits are the group's
// and every checksum holds.
// `before` holds each field's bytes before the checksums were fixed.
void checkResult(const std::vector<Bytes>& before, const Bytes& set,
                 const std::vector<ChecksumField>& checksums, Bytes& file) {
  for (std::size_t k = 0; k < checksums.size(); ++k) {
    const ChecksumField& field = checksums[k];
    for (std::uint64_t i = field.firstByte; i <= field.lastByte; ++i)
      if (((before[k][i - field.firstByte] ^ file[i]) & set[i]) != 0)
        failRun("the patched file does not check: the ", checksumName(field), " at ",
                rangeText(field.firstByte, field.lastByte),
                " overwrites informative bits that were set; nothing was written");
  }
  for (const ChecksumField& field : checksums)
    if (!checksumHolds(field, file))
      failRun("the patched file does not check: the ", checksumName(field), " at ",
              rangeText(field.firstByte, field.lastByte),
              " does not hold once the others are fixed; nothing was written");
}

// The runs of changed bytes, inclusive.
std::vector<ByteRun> changedRuns(const Bytes& before, const Bytes& after) {
  std::vector<ByteRun> runs;
  for (std::uint64_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    if (!runs.empty() && runs.back().last + 1 == i)
      runs.back().last = i;
    else
      runs.push_back(ByteRun{i, i});
  }
  return runs;
}

void printBytes(std::ostream& out, const Bytes& bytes, const ByteRun& run) {
  static constexpr std::uint64_t kShown = 16;
  static const char kDigits[] = "0123456789abcdef";
  for (std::uint64_t i = run.first; i <= run.last && i < run.first + kShown; ++i)
    out << (i == run.first ? "" : " ") << kDigits[bytes[i] >> 4] << kDigits[bytes[i] & 15];
  if (run.last - run.first + 1 > kShown) out << " ...";
}

bool overlaps(const ByteRun& run, std::uint64_t first, std::uint64_t last) {
  return first <= run.last && run.first <= last;
}

// The parts of the changing runs that hold no set informative bit and no
// checksum field: what nothing explains yet, ascending.
std::vector<ByteRun> unexplainedParts(const std::vector<ByteRun>& changing,
                                      const std::vector<ChecksumField>& checksums,
                                      const Bytes& set) {
  std::vector<bool> explained;
  std::vector<ByteRun> parts;
  for (const ByteRun& run : changing) {
    explained.assign(run.last - run.first + 1, false);
    for (std::uint64_t i = run.first; i <= run.last; ++i) explained[i - run.first] = set[i] != 0;
    for (const ChecksumField& field : checksums)
      for (std::uint64_t i = std::max(field.firstByte, run.first);
           i <= std::min(field.lastByte, run.last); ++i)
        explained[i - run.first] = true;
    for (std::uint64_t i = run.first; i <= run.last; ++i) {
      if (explained[i - run.first]) continue;
      if (!parts.empty() && parts.back().last + 1 == i)
        parts.back().last = i;
      else
        parts.push_back(ByteRun{i, i});
    }
  }
  return parts;
}

// Changing bytes in or next to a changed byte that hold no set bit and no
// checksum field and that the explanation leaves unexplained (no value,
// counter, timestamp, text or random bytes): a checksum nobody found may
// hide there.
void warnUnexplained(std::ostream& out, const Explanation& explanation,
                     const std::vector<ByteRun>& changed,
                     const std::vector<ChecksumField>& checksums, const Bytes& set) {
  std::vector<ByteRun> changing;
  for (const ExplainedField& field : explanation.fields)
    if (field.kind == FieldKind::kUnexplained)
      changing.push_back(ByteRun{field.firstByte, field.lastByte});
  for (const ByteRun& part : unexplainedParts(changing, checksums, set)) {
    const bool touches = std::any_of(changed.begin(), changed.end(), [&](const ByteRun& c) {
      return overlaps(part, c.first == 0 ? 0 : c.first - 1, c.last + 1);
    });
    if (!touches) continue;
    out << "warning: bytes " << rangeText(part.first, part.last)
        << " next to a changed byte change between the files and nothing explains them: if "
           "they depend on the changed bytes (a checksum nobody found), the output is wrong\n";
  }
}

}  // namespace

void fixAndReport(const Explanation& explanation, const Bytes& input, Bytes& file, const Bytes& set,
                  std::ostream& out) {
  ChecksumSearch search;
  search.found = explanation.checksums;
  search.complete = explanation.complete;
  const std::vector<std::size_t> order = fixOrder(search.found);
  std::vector<Bytes> before;
  for (const ChecksumField& field : search.found)
    before.emplace_back(file.begin() + field.firstByte, file.begin() + field.lastByte + 1);
  for (std::size_t i : order)
    if (!fixChecksum(search.found[i], file))
      failRun("the ", checksumName(search.found[i]), " at ",
              rangeText(search.found[i].firstByte, search.found[i].lastByte),
              " does not fit its text; nothing was written");
  checkResult(before, set, search.found, file);

  const std::vector<ByteRun> changed = changedRuns(input, file);
  out << "changed bytes:" << (changed.empty() ? " none\n" : "\n");
  for (const ByteRun& run : changed) {
    out << "  " << std::left << std::setw(22) << rangeText(run.first, run.last) << "  ";
    printBytes(out, input, run);
    out << " -> ";
    printBytes(out, file, run);
    out << '\n';
  }
  out << "checksums recomputed:" << (search.found.empty() ? " none\n" : "\n");
  for (std::size_t i : order) {
    const ChecksumField& field = search.found[i];
    out << "  " << checksumName(field) << " at " << rangeText(field.firstByte, field.lastByte)
        << " (" << orderName(field.byteOrder) << ") over "
        << rangeText(field.coversFirst, field.coversLast) << '\n';
  }
  warnUnexplained(out, explanation, changed, search.found, set);
  if (!search.complete)
    out << "warning: the checksum search was cut short; a checksum may be missed\n";
}
