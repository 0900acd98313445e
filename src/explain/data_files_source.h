// The data files of a run as a ByteSource: the files' own bytes, as they lie
// on disk (whatever -b and -e make of them for the group analysis), read
// through the descriptors the input checks opened. A read that fails or
// finds a file changed ends the run as DataFiles::read does.
#ifndef OVRELL_EXPLAIN_DATA_FILES_SOURCE_H_
#define OVRELL_EXPLAIN_DATA_FILES_SOURCE_H_

#include <cstdint>

#include "base/data_files.h"
#include "explain/byte_source.h"

class DataFilesSource : public ByteSource {
 public:
  // `files` must outlive this; every file `length` bytes long.
  DataFilesSource(const DataFiles& files, std::uint64_t length) : files_(files), length_(length) {}
  std::size_t files() const override { return files_.size(); }
  std::uint64_t length() const override { return length_; }
  void read(std::size_t file, std::uint64_t offset, std::uint64_t size,
            unsigned char* to) const override {
    files_.read(file, to, size, offset);
  }

 private:
  const DataFiles& files_;
  std::uint64_t length_;
};

#endif  // OVRELL_EXPLAIN_DATA_FILES_SOURCE_H_
