// The value finder: fields that hold, in every file, that file's own value
// of an attribute of the project (a serial number, a sample rate, a time),
// which the group analysis cannot show when each file is its own group.
//
// A value is tried as a decimal integer, as hexadecimal (with or without
// "0x") and as text, in these encodings: integers of 1, 2, 4 or 8 bytes,
// little- or big-endian, signed or not; ASCII decimal, hexadecimal or octal
// text, right-aligned with zeros or blanks or left-aligned; packed BCD of a
// decimal value (two digits a byte, the first in the high nibble, "bcd", or
// in the low one, "bcd-swapped"); the value's own text. Right-aligned text
// reaches over the pads every file has before it, BCD over zero bytes.
// An integer field takes its natural width: the widest of 1, 2 and 4
// bytes that matches every file, extended over bytes that are the same
// everywhere (a sample rate below 65536 stored as u32le is found as u32le),
// 8 bytes only when a value needs them.
//
// Evidence: a field matches every file byte for byte and is returned only
// when a wrong field would match by chance with probability below
// `maxChance`, counting the positions and encodings tried: 2^-8 per byte of
// the field that changes, per distinct value.
//
// Pure: reads through the ByteSource, prints nothing.
#ifndef OVRELL_EXPLAIN_VALUES_H_
#define OVRELL_EXPLAIN_VALUES_H_

#include <string>
#include <vector>

#include "explain/byte_source.h"

// One attribute of the project: its name and, per file, its value.
struct AttributeValues {
  std::string name;
  std::vector<std::string> values;  // one per file, in the ByteSource's order
};

struct ValueField {
  std::uint64_t firstByte = 0;  // inclusive
  std::uint64_t lastByte = 0;
  std::string attribute;
  // "u8", "u16le", ..., "i32be", ..., "ascii-dec", "ascii-hex", "ascii-oct", "bcd",
  // "bcd-swapped" or "text".
  std::string encoding;
  std::string readAs;  // how the values were read: "decimal", "hex" or "text"
  double chance = 0;
};

// Fields touching the changing runs, ascending firstByte, none overlapping.
// REQUIRES: attributes' values one per file; `changing` sorted and disjoint.
std::vector<ValueField> findValues(const ByteSource& source, const std::vector<ByteRun>& changing,
                                   const std::vector<AttributeValues>& attributes,
                                   double maxChance = 1e-6);

#endif  // OVRELL_EXPLAIN_VALUES_H_
