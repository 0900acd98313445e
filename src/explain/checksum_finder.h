// The checksum finder: in a set of equal-length files, the fields whose
// value in every file is a checksum of one byte range of the same file, with
// the range and the checksum's parameters, found with no hint.
//
// A field is 1, 2, 4 or 8 bytes inside a run of bytes that change between
// files, stored little- or big-endian. Its range lies before the field,
// after it, or (for sums and XORs) around it, the field's own bytes then
// counted as zeros. CRCs of any initial value and final XOR are tried with
// the catalogue's polynomials in both reflections; then, for the ranges that
// end just before their field, any polynomial, solved over GF(2). Sums, XORs,
// Adler-32 and Fletcher-16/32 are tried too.
//
// Bytes equal in every file fold into a CRC's initial value, so a range's
// start is fixed by the initial value formats use (all ones or zero for
// CRCs, 1 for Adler-32, 0 for sums); when none fits, the widest range and its
// own initial value are given.
//
// Evidence: a finding holds in every file, checked byte for byte, and comes
// with the probability that a wrong explanation of its kind would hold in
// every file by chance, counting the candidates tried; findings at or above
// one in a million are not returned but listed as too few files to tell.
//
// Pure: reads through the ByteSource, prints nothing, keeps memory to a few
// MiB besides the caller's. REQUIRES: at least 3 files.
#ifndef OVRELL_EXPLAIN_CHECKSUM_FINDER_H_
#define OVRELL_EXPLAIN_CHECKSUM_FINDER_H_

#include <cstdint>
#include <vector>

#include "explain/byte_source.h"
#include "explain/crc.h"
#include "explain/sums.h"

enum class ByteOrder { kLittle, kBig };

struct ChecksumField {
  std::uint64_t firstByte = 0;  // the field, inclusive
  std::uint64_t lastByte = 0;
  ByteOrder byteOrder = ByteOrder::kLittle;
  bool isCrc = false;
  CrcParams crc;                  // when isCrc
  const char* name = nullptr;     // the catalogue's name of the CRC, or nullptr
  SumParams sum;                  // when not isCrc
  std::uint64_t coversFirst = 0;  // the range, inclusive
  std::uint64_t coversLast = 0;
  bool fieldAsZeros = false;  // the range holds the field, read as zeros
  double chance = 0;          // probability that a wrong candidate held in every file
  double candidates = 0;      // candidates of this kind tried for this field
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
};

// REQUIRES: `changing` sorted, disjoint, inside the files; source.files() >= 3.
ChecksumSearch findChecksums(const ByteSource& source, const std::vector<ByteRun>& changing,
                             const ChecksumLimits& limits = {});

#endif  // OVRELL_EXPLAIN_CHECKSUM_FINDER_H_
