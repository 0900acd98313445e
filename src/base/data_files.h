// The data files of a run, each opened once and read through its descriptor.
//
// The input checks (project/file_checks.h) open every file, in list order,
// and look at it through its descriptor, so that the file checked is the
// file read. The descriptors stay open for the run: the soft limit on open
// files is raised towards the hard limit for them, and a file is kept open
// as long as kReservedDescriptors stay free above it for the run's other
// files. A file not kept is opened again for every read and must then be
// the file first opened (the same device and inode, length and modification
// time); a kept file must keep its length and modification time. So a file
// renamed over a data file during the run changes nothing while the
// descriptors are kept, and the bytes of a file changed in place never pass
// silently for those of the file first seen: the run ends.
//
// When a file cannot be read, the reading thread gets false; the calling
// thread's methods end the run: with "Error reading file 'PATH'." (as a
// stream writes the path), with no clean-up, when the file could not be
// opened at the checks, cannot be opened again or a read fails; through
// failRun (base/fatal.h), with its clean-up, with "the data file 'NAME'
// changed during the run (WHAT)" when it is no longer the file first seen.
// A change that shows neither in the length nor in the modification time
// (the time set back by hand) is not seen.
//
// A kept file can also be read straight from the page cache, through a
// read-only window mapped for the bytes wanted (map), so that they are not
// copied. Bytes of a window that are no longer in the file (it has shrunk
// since) raise a bus error when looked at: they are looked at only inside
// guarded(), which turns the fault into a failed read, and the file is
// looked at (unchanged) once they have been used, as after a read.
#ifndef OVRELL_BASE_DATA_FILES_H_
#define OVRELL_BASE_DATA_FILES_H_

#include <sys/types.h>

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

using FileList = std::vector<boost::filesystem::path>;

class DataFiles {
 public:
  // Descriptors left free above the last one kept: result and scratch
  // files, a file opened again, the sanitizers' own.
  static constexpr unsigned kReservedDescriptors = 32;

  // Opens nothing yet; raises the soft limit on open files as far as the
  // hard limit allows towards one descriptor per file and some more.
  explicit DataFiles(FileList paths);
  ~DataFiles();
  DataFiles(const DataFiles&) = delete;
  DataFiles& operator=(const DataFiles&) = delete;

  std::size_t size() const { return paths_.size(); }
  const boost::filesystem::path& operator[](std::size_t i) const { return paths_[i]; }

  // The checks' look at file i (once per file): opens it when it is a
  // regular file and sets `length` from its descriptor. False when it is
  // not there, not a regular file or cannot be opened: the checks then look
  // at it by name, and a read of it ends the run with the read error.
  bool open(std::size_t i, std::uint64_t& length);

  // Reads exactly `size` bytes of file i from `offset`; false when the file
  // cannot be read or has changed. The file is looked at once the bytes are
  // in, so bytes read after a change never pass. Any thread.
  bool readAt(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset) const;
  // readAt, or ends the run with the message that tells why.
  void read(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset) const;
  // Whether the checks opened every file.
  bool allOpened() const { return unopened_ == 0; }

  // A read-only mapping of `size` bytes of file i from `offset`, its pages
  // populated; null when the file is not kept open or cannot be mapped (read
  // it then). `window` holds the mapping, which unmap() lets go.
  struct Window {
    void* start = nullptr;
    std::size_t length = 0;
  };
  const unsigned char* map(std::size_t i, std::uint64_t size, std::uint64_t offset,
                           Window& window) const;
  static void unmap(Window& window);
  // Whether file i is still the file first seen; for mapped bytes once they
  // have been used. Any thread.
  bool unchanged(std::size_t i) const;
  // Runs `work`, which may look at mapped bytes; false when one of them was
  // no longer in its file (the work is then left where the fault came).
  // Any thread; nests.
  static bool guarded(const std::function<void()>& work);
  // Ends the run after a failed use of mapped bytes: with the message of
  // the first file, in list order, that has changed.
  [[noreturn]] void endChanged() const;

 private:
  struct File {
    int fd = -1;        // kept open; -1: opened for each read
    bool seen = false;  // opened by the checks
    dev_t device = 0;
    ino_t inode = 0;
    std::uint64_t length = 0;
    std::timespec modified{};
  };
  // readAt, with what has become of the file when it has changed.
  bool readWhole(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset,
                 std::string& change) const;
  // What has become of the file behind `fd` since file i was first seen;
  // empty when nothing.
  std::string changeOf(std::size_t i, int fd) const;
  // File i opened again and found unchanged, or -1 with `change` telling
  // why not (empty when it could not be opened for another reason).
  int openAgain(std::size_t i, std::string& change) const;
  [[noreturn]] void readError(std::size_t i) const;
  [[noreturn]] void changed(std::size_t i, const std::string& change) const;

  FileList paths_;
  std::vector<File> files_;
  std::uint64_t openLimit_ = 0;      // the soft limit on open files
  std::size_t unopened_;             // files the checks have not opened
  mutable std::mutex openingAgain_;  // one file opened again at a time
};

#endif  // OVRELL_BASE_DATA_FILES_H_
