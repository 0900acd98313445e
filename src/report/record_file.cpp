#include "report/record_file.h"

#include <algorithm>
#include <string>

#include "base/fatal.h"
#include "base/scratch_file.h"
#include "base/varint.h"

namespace {

constexpr std::size_t kLongestRun = 4096;  // bytes; longer runs are cut

// A chunk that does not decode to the records it was written with.
[[noreturn]] void corrupt() {
  failRun("a temporary file in ", temporaryDirectory(), " does not read back as it was written");
}

}  // namespace

void RecordFile::endChunk(std::uint64_t records) {
  if (pending_.empty()) return;
  scratch_.append(pending_.data(), pending_.size());
  starts_.push_back(starts_.back() + pending_.size());
  recordsBefore_.push_back(recordsBefore_.back() + records);
  pending_.clear();
}

std::size_t RecordFile::chunkOf(std::uint64_t index) const {
  return static_cast<std::size_t>(
      std::upper_bound(recordsBefore_.begin(), recordsBefore_.end(), index) -
      recordsBefore_.begin() - 1);
}

void RecordFile::load(std::size_t k, std::vector<unsigned char>& into) const {
  into.resize(starts_[k + 1] - starts_[k]);
  scratch_.readAt(into.data(), into.size(), starts_[k]);
}

// A chunk is a list of runs, highest first: the first run's highest offset
// (later runs: the gap below the previous run's lowest, minus one), the
// run's length minus one, and its masks, highest offset first.
void ByteRecords::append(std::uint64_t offset, unsigned char informative) {
  if (!run_.empty() && offset + 1 == runHigh_ + 1 - run_.size() && run_.size() < kLongestRun) {
    run_.push_back(informative);
    return;
  }
  if (!run_.empty()) endRun();
  runHigh_ = offset;
  run_.push_back(informative);
}

void ByteRecords::endRun() {
  std::vector<unsigned char>& out = file_.pending();
  putVarint(out, out.empty() ? runHigh_ : lastLow_ - runHigh_ - 1);
  putVarint(out, run_.size() - 1);
  out.insert(out.end(), run_.begin(), run_.end());
  chunkRecords_ += run_.size();
  lastLow_ = runHigh_ + 1 - run_.size();
  run_.clear();
  if (out.size() >= RecordFile::kChunkBytes) file_.endChunk(chunkRecords_), chunkRecords_ = 0;
}

void ByteRecords::finish() {
  if (!run_.empty()) endRun();
  file_.endChunk(chunkRecords_);
  chunkRecords_ = 0;
}

std::size_t ByteRecords::load(std::uint64_t index) {
  const std::size_t k = file_.chunkOf(index);
  std::vector<unsigned char> coded;
  file_.load(k, coded);
  offsets_.clear();
  masks_.clear();
  std::uint64_t low = 0;
  for (std::size_t at = 0; at < coded.size();) {
    const std::uint64_t gap = getVarint(coded, at);
    const std::uint64_t high = offsets_.empty() ? gap : low - gap - 1;
    const std::uint64_t length = getVarint(coded, at) + 1;
    if (length > coded.size() - at) corrupt();
    for (std::uint64_t i = 0; i < length; ++i) {
      offsets_.push_back(high - i);
      masks_.push_back(coded[at++]);
    }
    low = high + 1 - length;
  }
  loadedFirst_ = file_.recordsBefore(k);
  if (loadedFirst_ + offsets_.size() != file_.recordsBefore(k + 1)) corrupt();
  return index - loadedFirst_;
}

// A chunk is a list of words, highest first: the first word's index (later
// words: the gap below the previous word's index, minus one) and the word,
// little-endian.
void SparseBitmap::append(std::uint64_t position) {
  if (hasWord_ && position / 64 != wordIndex_) endWord();
  if (!hasWord_) wordIndex_ = position / 64, word_ = 0, hasWord_ = true;
  word_ |= std::uint64_t{1} << (position % 64);
}

void SparseBitmap::endWord() {
  std::vector<unsigned char>& out = file_.pending();
  putVarint(out, out.empty() ? wordIndex_ : lastIndex_ - wordIndex_ - 1);
  for (unsigned i = 0; i < 8; ++i) out.push_back(static_cast<unsigned char>(word_ >> (8 * i)));
  chunkRecords_ += static_cast<std::uint64_t>(__builtin_popcountll(word_));
  lastIndex_ = wordIndex_;
  hasWord_ = false;
  if (out.size() >= RecordFile::kChunkBytes) file_.endChunk(chunkRecords_), chunkRecords_ = 0;
}

void SparseBitmap::finish() {
  if (hasWord_) endWord();
  file_.endChunk(chunkRecords_);
  chunkRecords_ = 0;
  rewind();
}

void SparseBitmap::rewind() {
  nextChunk_ = file_.chunks();
  nextWord_ = 0;
  bits_ = 0;
}

bool SparseBitmap::next(std::uint64_t& position) {
  while (bits_ == 0) {
    if (nextWord_ == 0) {
      if (nextChunk_ == 0) return false;
      std::vector<unsigned char> coded;
      file_.load(--nextChunk_, coded);
      indexes_.clear();
      words_.clear();
      for (std::size_t at = 0; at < coded.size();) {
        const std::uint64_t gap = getVarint(coded, at);
        indexes_.push_back(indexes_.empty() ? gap : indexes_.back() - gap - 1);
        if (coded.size() - at < 8) corrupt();
        std::uint64_t word = 0;
        for (unsigned i = 0; i < 8; ++i) word |= std::uint64_t{coded[at++]} << (8 * i);
        words_.push_back(word);
      }
      nextWord_ = words_.size();
    }
    --nextWord_;
    bits_ = words_[nextWord_];
    bitsIndex_ = indexes_[nextWord_];
  }
  position = 64 * bitsIndex_ + static_cast<std::uint64_t>(__builtin_ctzll(bits_));
  bits_ &= bits_ - 1;
  return true;
}

void StretchRecords::append(std::uint64_t first, std::uint64_t last) {
  if (first > last || (any_ && (first >= lastFirst_ || last >= lastLast_)))
    failRun("internal error: the stretch ", first, "-", last, " is not below the stretch ",
            lastFirst_, "-", lastLast_, " found before it");
  firsts_.append(first);
  lasts_.append(last);
  any_ = true, lastFirst_ = first, lastLast_ = last;
}

void StretchRecords::finish() {
  firsts_.finish();
  lasts_.finish();
  next_ = 0;
}

void StretchRecords::at(std::uint64_t i, std::uint64_t& first, std::uint64_t& last) {
  if (i < next_) firsts_.rewind(), lasts_.rewind(), next_ = 0;
  for (; next_ <= i; ++next_)
    if (!firsts_.next(first) || !lasts_.next(last) || first > last)
      failRun("internal error: the first and last bits of the stretches do not pair");
}
