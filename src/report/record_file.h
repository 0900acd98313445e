// A sequence of fixed-size records kept on disk, for findings that come in
// the wrong order.
//
// The report finds regions and stretches from the end of the files to their
// start and writes them out from the start: there can be millions, so they
// go to an unlinked temporary file (engine/temporary_file.h) as they come
// and are read back in any order. Memory: one write buffer and one read
// window of fixed size, whatever the number of records. A temporary file
// that cannot be made, written or read ends the run (base/output.h).
#ifndef OVRELL_REPORT_RECORD_FILE_H_
#define OVRELL_REPORT_RECORD_FILE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

class RecordFile {
 public:
  // REQUIRES: recordSize > 0.
  explicit RecordFile(std::size_t recordSize);
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  std::size_t recordSize() const { return recordSize_; }
  std::uint64_t count() const { return count_; }
  void append(const unsigned char* record);
  // Record `index` (0: the first appended), valid until the next call.
  // REQUIRES: index < count().
  const unsigned char* at(std::uint64_t index) {
    if (index - windowFirst_ < windowCount_)  // also false below the window: unsigned
      return window_.data() + (index - windowFirst_) * recordSize_;
    return load(index);
  }
  // Record `index` counted from the last appended (0: the last).
  const unsigned char* fromEnd(std::uint64_t index) { return at(count_ - 1 - index); }

 private:
  void flush();
  const unsigned char* load(std::uint64_t index);

  std::size_t recordSize_;
  std::uint64_t count_ = 0, written_ = 0;  // records appended, and those in the file
  std::vector<unsigned char> pending_, window_;
  std::uint64_t windowFirst_ = 0, windowCount_ = 0;
  int fd_ = -1;
};

#endif  // OVRELL_REPORT_RECORD_FILE_H_
