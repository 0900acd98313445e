// Where every byte the program writes goes, and how a failure to get it
// there is reported.
//
// Standard output, the result files and the partial-results records are all
// written through a CheckedBuffer: a buffered stream over a file descriptor
// that checks every write, flush and close. The first failure (a full disk,
// a file grown past its limit, a reader that has gone, a closed standard
// output) is handed, as a message naming the file and the system's reason,
// to the failure handler, which must not return: the run-ending unit
// (base/fatal.h) installs one that puts the results back and ends the run.
// Until one is installed the message is printed and the process exits with
// status 1. A program may choose to outlive a closed standard output:
// keepRunningWhenStandardOutputCloses.
#ifndef OVRELL_BASE_OUTPUT_H_
#define OVRELL_BASE_OUTPUT_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

// Called with the message of a failure; must not return.
using OutputFailureHandler = void (*)(const std::string& message);
// Called with the name of a result file as it is about to be opened.
using ResultOpeningHandler = void (*)(const std::string& name);
void setOutputHandlers(OutputFailureHandler failed, ResultOpeningHandler opening);

// Makes sure descriptors 0, 1 and 2 are open (a closed standard output is
// held by a descriptor that cannot be written, so that every write to it
// fails and is reported) and sends std::cout through a CheckedBuffer.
void useCheckedStandardOutput();

// Flushes std::cout; a failure is reported. Called on every way out of the
// process.
void flushStandardOutput();

// Nothing more goes to standard output, once the run is failing.
void silenceStandardOutput();

// A buffered output stream over a descriptor; every failure is reported.
class CheckedBuffer : public std::streambuf {
 public:
  // Takes over `fd` (closed by close() unless it is a standard descriptor).
  // `name` is what messages call the file.
  CheckedBuffer(int fd, std::string name);
  ~CheckedBuffer() override;
  CheckedBuffer(const CheckedBuffer&) = delete;
  CheckedBuffer& operator=(const CheckedBuffer&) = delete;

  // Writes out what is buffered and closes the descriptor.
  void close();

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  int sync() override;

 private:
  void writeOut(const char* data, std::size_t size);
  void drain();

  int fd_;
  std::string name_;
  std::unique_ptr<char[]> buffer_;  // not cleared: only what is written is touched
};

// Opens a result file for appending, creating it when it is not there; a
// symbolic link is followed and its target written. `privateScratch`: mode
// 0600 and never through a symbolic link (a link there counts as a file that
// cannot be opened), and a file of another user there is reported as a
// failure. Returns false when the file cannot be opened; the caller decides
// what that means.
class ResultFile {
 public:
  bool open(const std::string& name, bool privateScratch = false);
  bool isOpen() const { return buffer_ != nullptr; }
  std::ostream& stream() { return stream_; }
  // Writes out and closes; also done by the destructor.
  void close();
  ~ResultFile() { close(); }

 private:
  CheckedBuffer* buffer_ = nullptr;
  std::ostream stream_{nullptr};
};

// Writes all `size` bytes to `fd`, or reports a failure naming `what`.
void writeAll(int fd, const void* data, std::size_t size, const std::string& what);

// A standard output that is closed, or whose reader has gone (EPIPE; SIGPIPE
// is then ignored), is no longer a failure once this was called: what is
// written there is dropped and standardOutputClosed() says so. Other
// failures of standard output are still reported. Call before
// installSignalCleanup (base/fatal.h).
void keepRunningWhenStandardOutputCloses();
bool standardOutputClosed();

#endif  // OVRELL_BASE_OUTPUT_H_
