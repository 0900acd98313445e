// The checksum finder: in a set of equal-length files, the fields whose
// value in every file is a checksum of one byte range of the same file, with
// the range and the checksum's parameters, found with no hint.
//
// A field is 1, 2, 4 or 8 bytes inside a run of bytes that change between
// files (anywhere in a run of up to 16 bytes, within 8 bytes of either end of
// a longer one), stored little- or big-endian; or octal ASCII text of up to
// 12 bytes (blanks, digits, NULs or blanks) starting at most 12 bytes before
// a run, read as a 32-bit sum of bytes (tar's header checksum). Its range
// lies before the field, after it, or around it, the field's own bytes then
// counted as zeros (as blanks for octal text). CRCs of any initial value and
// final XOR are tried with the catalogue's polynomials in both reflections;
// then, for fields that end a run, with any polynomial, solved over GF(2)
// for ranges of up to `maxFreeRange` bytes that end just before the field;
// then around fields of 16 bits or more, with the catalogue's polynomials,
// for ranges of up to `maxFreeRange` bytes that end with a changing run.
// Sums, XORs, Adler-32 and Fletcher-16/32 are tried too. A range starts at
// the first byte of a changing run or just after a field that heads its run,
// holds at most `maxRuns` changing runs, and ends in one, just before a
// field, or at most `maxTail` bytes after a run's last changing byte.
//
// Cost: bytes equal in every file only fold into a CRC's initial value, so
// the scan computes on the differences of the changing bytes alone and
// jumps over long stretches of equal bytes in O(log d); its time grows with
// the changing runs and their neighbourhood, not with the files' length.
// The start of a found range is fitted once, walking back over at most
// `maxStretch` equal bytes.
//
// Bytes equal in every file fold into a CRC's initial value, so a range's
// start is fixed by the initial value formats use (the catalogue's, else all
// ones or zero, with a final XOR of all ones or zero); when none fits, the
// widest range and its own initial value are given. A sum or XOR cannot tell
// where its range starts or ends inside bytes equal everywhere: it ends just
// before its field when that fits, else at the nearest end that fits, and
// starts at the nearest start that fits, moved over zero words (for 8-bit
// sums over varied constant bytes the start is a guess). Of two
// explanations where each one's range holds the other's field, one is kept.
// A sum or XOR whose range (before moving over zero words) is no longer
// than its field is a copy of other bytes, not a checksum: not claimed.
//
// The units: checksum_fields.h and octal_fields.h (the candidate fields),
// checksum_engines.h (the running computations and their targets),
// crc_range.h and sum_range.h (fitting a range), crc_any_poly.h (any
// polynomial), crc_around.h (CRCs around their field), checksum_evidence.h (evidence and which
// finding is kept), over the shared state of checksum_search.h; this unit scans.
//
// Evidence: a finding holds in every file, checked byte for byte, and comes
// with the probability that a wrong explanation of its kind would hold in
// every file by chance, counting the candidates tried; findings at or above
// one in a million are not returned but listed as too few files to tell.
//
// Pure: reads through the ByteSource, prints nothing, keeps memory to a few
// MiB besides the caller's. Fewer than 3 files give nothing, marked incomplete;
// with fewer than 3 that differ (on the first MiB of their changing bytes)
// at most 8 range starts are tried.
#ifndef OVRELL_EXPLAIN_CHECKSUM_FINDER_H_
#define OVRELL_EXPLAIN_CHECKSUM_FINDER_H_

#include <cstdint>
#include <vector>

#include "explain/byte_source.h"
#include "explain/crc.h"
#include "explain/sums.h"

// How a field stores its number: little-endian, big-endian, or as octal ASCII text.
enum class FieldOrder { kLittle, kBig, kText };

struct ChecksumField {
  std::uint64_t firstByte = 0;  // the field, inclusive
  std::uint64_t lastByte = 0;
  FieldOrder byteOrder = FieldOrder::kLittle;
  bool isCrc = false;
  CrcParams crc;                  // when isCrc
  const char* name = nullptr;     // the catalogue's name of the CRC, or nullptr
  SumParams sum;                  // when not isCrc
  std::uint64_t coversFirst = 0;  // the range, inclusive
  std::uint64_t coversLast = 0;
  bool fieldAsZeros = false;   // the range holds the field, read as zeros
  bool fieldAsBlanks = false;  // the range holds the field (octal text), read as blanks
  double chance = 0;           // probability that a wrong candidate held in every file
  double candidates = 0;       // candidates of this width tried, for every field
};

struct ChecksumSearch {
  std::vector<ChecksumField> found;  // ascending firstByte, no two overlapping
  // Fields where a checksum held in every file but could be chance: too few files to tell.
  std::vector<ChecksumField> tooFewFiles;
  bool complete = true;  // false when the limits below cut the search short
};

struct ChecksumLimits {
  double maxChance = 1e-6;
  std::size_t maxStarts = 256;           // range starts tried
  std::uint64_t maxStretch = 1 << 20;    // bytes walked to fit a range's start
  std::uint64_t maxFreeRange = 1 << 10;  // longest range for the any-polynomial search
  std::size_t maxRuns = 64;              // changing runs one range may hold
  std::uint64_t maxTail = 1 << 13;       // equal bytes after a run where a range may end
};

// REQUIRES: `changing` sorted, disjoint, inside the files.
ChecksumSearch findChecksums(const ByteSource& source, const std::vector<ByteRun>& changing,
                             const ChecksumLimits& limits = {});

#endif  // OVRELL_EXPLAIN_CHECKSUM_FINDER_H_
