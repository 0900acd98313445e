#include "patch/patch_check.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "base/fatal.h"
#include "explain/data_files_source.h"
#include "explain/kinds.h"
#include "patch/checksum_fix.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string offsetText(std::uint64_t offset) {
  std::ostringstream text;
  text << "0x" << std::hex << std::setfill('0') << std::setw(8) << offset;
  return text.str();
}

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

const char* orderName(ByteOrder order) {
  return order == ByteOrder::kLittle ? "little-endian"
         : order == ByteOrder::kBig  ? "big-endian"
                                     : "octal text";
}

// Ends the run unless every attribute's informative bits are the group's
// and every checksum holds.
void checkResult(const std::vector<PatchedByte>& patched,
                 const std::vector<ChecksumField>& checksums, Bytes& file) {
  for (const PatchedByte& byte : patched)
    if (((file[byte.offset] ^ byte.value) & byte.informative) != 0)
      failRun("the patched file does not check: a checksum field overwrites informative bits of '",
              *byte.attribute, "' at ", offsetText(byte.offset), "; nothing was written");
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

// Changing runs of the project's files that nothing explains and that
// touch a changed byte: a checksum may hide there that nobody found.
void warnUnexplained(std::ostream& out, const ByteSource& source,
                     const std::vector<ByteRun>& changing, const std::vector<ByteRun>& changed,
                     const std::vector<ChecksumField>& checksums,
                     const std::vector<PatchedByte>& patched) {
  for (const ByteRun& run : changing) {
    const bool touches = std::any_of(changed.begin(), changed.end(), [&](const ByteRun& c) {
      return overlaps(run, c.first == 0 ? 0 : c.first - 1, c.last + 1);
    });
    if (!touches) continue;
    if (std::any_of(checksums.begin(), checksums.end(),
                    [&](const ChecksumField& f) { return overlaps(run, f.firstByte, f.lastByte); }))
      continue;
    const bool informative = std::any_of(patched.begin(), patched.end(), [&](const PatchedByte& b) {
      return overlaps(run, b.offset, b.offset);
    });
    if (informative || classifyRun(source, run).kind != RunKind::kUnexplained) continue;
    out << "warning: bytes " << rangeText(run.first, run.last)
        << " change between the files, touch a changed byte and nothing explains them: a "
           "checksum nobody found?\n";
  }
}

}  // namespace

void fixAndReport(const DataFiles& files, const Bytes& input, Bytes& file,
                  const std::vector<PatchedByte>& patched, std::ostream& out) {
  const DataFilesSource source(files, input.size());
  const std::vector<ByteRun> changing = changingRuns(source);
  const ChecksumSearch search = findChecksums(source, changing);
  const std::vector<std::size_t> order = fixOrder(search.found);
  for (std::size_t i : order)
    if (!fixChecksum(search.found[i], file))
      failRun("the ", checksumName(search.found[i]), " at ",
              rangeText(search.found[i].firstByte, search.found[i].lastByte),
              " does not fit its text; nothing was written");
  checkResult(patched, search.found, file);

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
  warnUnexplained(out, source, changing, changed, search.found, patched);
  if (!search.complete)
    out << "warning: the checksum search was cut short; a checksum may be missed\n";
}
