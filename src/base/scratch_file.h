// Scratch files that leave nothing behind, and the read loop they share with
// every file read at an offset.
//
// A ScratchFile is made, at its first append, in $TMPDIR (or /tmp when that
// is unset or empty) with mode 0600 and unlinked at once, so that nobody
// else can open it and it goes when it is destroyed, however the process
// ends. It only grows at its end (until cleared) and is read back at any
// offset. Making, writing or reading one ends the run through failRun
// (base/fatal.h) with a message that names the directory; when the program
// asks for a reserve (the report does, ovrell does not), an append that
// would leave less than 5 % of the file system free ends the run before it
// writes, naming the directory, the space needed and the space free. The
// position queue spills to one; the report keeps its findings in them.
#ifndef OVRELL_BASE_SCRATCH_FILE_H_
#define OVRELL_BASE_SCRATCH_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Reads exactly `size` bytes at `offset` of `fd` into `to`, retrying after
// a signal. Returns 0, or the reason it could not (EIO at the end of the
// file); the bytes read before a failure are in `to`.
int readExactly(int fd, void* to, std::uint64_t size, std::uint64_t offset);

// The directory scratch files are made in.
std::string temporaryDirectory();

// Whether appends keep 5 % of the file system free (off at start).
void reserveTemporarySpace(bool reserve);

class ScratchFile {
 public:
  ScratchFile() = default;
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // Writes all `size` bytes at the end of the file.
  void append(const void* data, std::size_t size);
  // Reads `size` bytes at `offset`. REQUIRES: offset + size <= size().
  void readAt(void* to, std::size_t size, std::uint64_t offset) const;
  // The whole file.
  std::vector<unsigned char> readAll() const;
  std::uint64_t size() const { return size_; }
  // Empties the file; its space goes back to the file system.
  void clear();

 private:
  int fd_ = -1;
  std::uint64_t size_ = 0;
};

#endif  // OVRELL_BASE_SCRATCH_FILE_H_
