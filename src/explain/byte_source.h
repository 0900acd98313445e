// The files an explanation looks at: N files of one length, read by ranges,
// so that no file has to fit in memory. The report gives one over its data
// files; the tests use the in-memory one.
#ifndef OVRELL_EXPLAIN_BYTE_SOURCE_H_
#define OVRELL_EXPLAIN_BYTE_SOURCE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual std::size_t files() const = 0;
  // The length of every file.
  virtual std::uint64_t length() const = 0;
  // Copies bytes [offset, offset + size) of `file` to `to`.
  // REQUIRES: file < files(), offset + size <= length().
  virtual void read(std::size_t file, std::uint64_t offset, std::uint64_t size,
                    unsigned char* to) const = 0;
};

// Files held in memory. REQUIRES: every file of the same length.
class MemoryByteSource : public ByteSource {
 public:
  explicit MemoryByteSource(std::vector<std::vector<unsigned char>> files)
      : files_(std::move(files)) {}
  std::size_t files() const override { return files_.size(); }
  std::uint64_t length() const override { return files_.empty() ? 0 : files_[0].size(); }
  void read(std::size_t file, std::uint64_t offset, std::uint64_t size,
            unsigned char* to) const override {
    std::copy(files_[file].begin() + offset, files_[file].begin() + offset + size, to);
  }

 private:
  std::vector<std::vector<unsigned char>> files_;
};

// A maximal run of bytes that differ between some two files: bytes
// first..last, inclusive.
struct ByteRun {
  std::uint64_t first;
  std::uint64_t last;
};

// The changing runs of `source`, ascending, read a window of every file at
// a time (memory: the window times the file count).
std::vector<ByteRun> changingRuns(const ByteSource& source);

#endif  // OVRELL_EXPLAIN_BYTE_SOURCE_H_
