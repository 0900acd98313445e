// The report's findings on disk, coded, for findings that come in the wrong
// order.
//
// The report finds informative bytes and stretches from the end of the files
// to their start and writes them out from the start: there can be billions,
// so they go to unlinked scratch files (base/scratch_file.h) as they
// come, in chunks of about kChunkBytes that each decode on their own, and
// are read back a chunk at a time, last chunk first. Memory: the chunk being
// filled, one decoded chunk and an index of 16 bytes per chunk.
//
// ByteRecords keeps each informative byte's offset and its informative bits
// as runs of consecutive bytes (the gap before a run, its length, then one
// mask byte per byte): at most 1.5 bytes per byte of a data file. A
// SparseBitmap keeps a set of bit positions as the 64-bit words that hold
// one (the gap in words, then the word): at most 9 bytes per 8 bytes of a
// data file. StretchRecords keeps the shortest distinguishing stretches as
// two of them, the first bits and the last bits: no such stretch contains
// another, so by first bit their last bits rise too, and the i-th first
// pairs with the i-th last. Appending one that breaks that order, or
// reading back firsts and lasts that do not pair, ends the run: it is a
// fault of the program, and the report would be wrong.
//
// Appends come in strictly descending order; reads go by ascending position
// (0: the lowest), cheap when they go forward. A temporary file that cannot
// be made, written or read ends the run (base/fatal.h).
#ifndef OVRELL_REPORT_RECORD_FILE_H_
#define OVRELL_REPORT_RECORD_FILE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/scratch_file.h"

// Chunks of bytes in one temporary file, with the number of records in each.
class RecordFile {
 public:
  static constexpr std::size_t kChunkBytes = 1 << 16;

  // The chunk being filled: the coder appends to it, then ends it.
  std::vector<unsigned char>& pending() { return pending_; }
  // Writes the pending chunk, which holds `records` records, out.
  void endChunk(std::uint64_t records);
  std::size_t chunks() const { return starts_.size() - 1; }
  std::uint64_t count() const { return recordsBefore_.back(); }
  std::uint64_t bytes() const { return starts_.back(); }  // written to the file
  // The records in the chunks before chunk k (0: the first written).
  std::uint64_t recordsBefore(std::size_t k) const { return recordsBefore_[k]; }
  // The chunk that holds record `index` (0: the first appended).
  std::size_t chunkOf(std::uint64_t index) const;
  // Chunk k's bytes as they were written.
  void load(std::size_t k, std::vector<unsigned char>& into) const;

 private:
  std::vector<unsigned char> pending_;
  std::vector<std::uint64_t> starts_{0}, recordsBefore_{0};
  ScratchFile scratch_;
};

class ByteRecords {
 public:
  // REQUIRES: `offset` is below every offset appended before.
  void append(std::uint64_t offset, unsigned char informative);
  // Writes out what is pending; call after the last append.
  void finish();
  std::uint64_t count() const { return file_.count(); }
  std::uint64_t bytes() const { return file_.bytes(); }
  // The record at ascending position p. REQUIRES: finish() was called,
  // p < count().
  std::uint64_t offsetAt(std::uint64_t p) { return offsets_[slot(p)]; }
  unsigned char informativeAt(std::uint64_t p) { return masks_[slot(p)]; }

 private:
  void endRun();
  std::size_t slot(std::uint64_t p) {
    const std::uint64_t index = count() - 1 - p;
    if (index - loadedFirst_ < offsets_.size()) return index - loadedFirst_;
    return load(index);
  }
  std::size_t load(std::uint64_t index);

  RecordFile file_;
  std::vector<unsigned char> run_;  // the masks of the run being appended, descending
  std::uint64_t runHigh_ = 0, lastLow_ = 0, chunkRecords_ = 0;
  // The decoded chunk: appended records loadedFirst_, loadedFirst_ + 1, ...
  std::vector<std::uint64_t> offsets_;
  std::vector<unsigned char> masks_;
  std::uint64_t loadedFirst_ = 0;
};

class SparseBitmap {
 public:
  // REQUIRES: `position` is below every position appended before.
  void append(std::uint64_t position);
  void finish();
  std::uint64_t count() const { return file_.count(); }
  std::uint64_t bytes() const { return file_.bytes(); }
  // Back to the lowest position, for next().
  void rewind();
  // The next position up; false after the highest. REQUIRES: finish().
  bool next(std::uint64_t& position);

 private:
  void endWord();

  RecordFile file_;
  bool hasWord_ = false;
  std::uint64_t wordIndex_ = 0, word_ = 0, lastIndex_ = 0, chunkRecords_ = 0;
  // Reading: the decoded chunk's words, highest first, and where next() is.
  std::vector<std::uint64_t> indexes_, words_;
  std::size_t nextChunk_ = 0, nextWord_ = 0;
  std::uint64_t bits_ = 0, bitsIndex_ = 0;
};

class StretchRecords {
 public:
  // REQUIRES: first <= last, both below those of every stretch appended
  // before.
  void append(std::uint64_t first, std::uint64_t last);
  void finish();
  std::uint64_t count() const { return firsts_.count(); }
  std::uint64_t bytes() const { return firsts_.bytes() + lasts_.bytes(); }
  // The stretch at ascending position i; cheap for i one more than the
  // previous call's. REQUIRES: finish(), i < count().
  void at(std::uint64_t i, std::uint64_t& first, std::uint64_t& last);

 private:
  SparseBitmap firsts_, lasts_;
  bool any_ = false;
  std::uint64_t lastFirst_ = 0, lastLast_ = 0, next_ = 0;
};

#endif  // OVRELL_REPORT_RECORD_FILE_H_
