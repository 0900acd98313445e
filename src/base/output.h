// Where every byte the program writes goes, and what happens when it cannot
// get there.
//
// Standard output, the result files and the partial-results records are all
// written through a CheckedBuffer: a buffered stream over a file descriptor
// that checks every write, flush and close. The first failure (a full disk,
// a file grown past its limit, a reader that has gone, a closed standard
// output) ends the run through failRun: the result files this run was
// writing are put back as they were before it (removed if it created them,
// cut back to their old length if it appended to older ones), the scratch
// files it registered are removed, `ovrell: ` and what failed is printed
// with the system's reason, and the status is 1 (a program may choose to
// outlive a closed standard output: keepRunningWhenStandardOutputCloses).
// SIGINT, SIGTERM, SIGHUP,
// SIGPIPE and SIGXFSZ do the same clean-up and then end the process by the
// same signal, so that a shell sees it. Signals that were ignored when the
// process started stay ignored; a write then fails with its own reason.
//
// The errors the program reports as part of its normal contract (see
// fatal.h) clean up nothing.
#ifndef OVRELL_BASE_OUTPUT_H_
#define OVRELL_BASE_OUTPUT_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

// Makes sure descriptors 0, 1 and 2 are open (a closed standard output is
// held by a descriptor that cannot be written, so that every write to it
// fails and is reported) and sends std::cout through a CheckedBuffer.
void useCheckedStandardOutput();

// Flushes std::cout; a failure ends the run through failRun. Called on every
// way out of the process.
void flushStandardOutput();

// The program name failRun puts before its messages: "ovrell" unless set.
// REQUIRES: `name` lives as long as the process.
void setProgramName(const char* name);

// Ends the run after a failure of its own making: cleans up as described
// above, prints the program name, ": " and the pieces, and exits with
// status 1.
template <typename... Parts>
[[noreturn]] void failRun(const Parts&... parts);
[[noreturn]] void failRunWithMessage(const std::string& message);

// Remembers how the files `names` are now (there or not, and their length),
// so that a failed run can put back the ones it then opens through a
// ResultFile. A symbolic link stands for its target: the target is cut back
// or removed, never the link. A device, pipe or other file that is not
// regular is left as it is. Call once, before the first ResultFile is opened and before
// installSignalCleanup. `scratch` names a file in the working directory that
// a failed or interrupted run removes (empty: none).
void registerResultFiles(const std::vector<std::string>& names, const std::string& scratch);

// Installs the handlers of the signals named above, except for those ignored.
void installSignalCleanup();

// Makes an allocation that fails end the run through failRun, with a
// message that suggests a smaller memory limit.
void failRunWhenOutOfMemory();

// A buffered output stream over a descriptor; every failure ends the run.
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
// cannot be opened), and a file of another user there ends the run through
// failRun. Returns false when the file cannot be opened; the caller decides
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

// Writes all `size` bytes to `fd`, or ends the run naming `what`.
void writeAll(int fd, const void* data, std::size_t size, const std::string& what);

// A standard output that is closed, or whose reader has gone (EPIPE; SIGPIPE
// is then ignored), no longer ends the run once this was called: what is
// written there is dropped and standardOutputClosed() says so. Other
// failures of standard output still end the run. Call before
// installSignalCleanup.
void keepRunningWhenStandardOutputCloses();
bool standardOutputClosed();

// Temporary files that a failed or interrupted run removes (by failRun, the
// signal handlers and discardTemporaryFiles): at most 16 at a time.
// `forgetTemporaryFile` once one has been renamed to its final name.
void registerTemporaryFile(const std::string& name);
void forgetTemporaryFile(const std::string& name);
// Removes the registered files; safe in a signal handler.
void discardTemporaryFiles();

template <typename... Parts>
void failRun(const Parts&... parts) {
  std::ostringstream message;
  (message << ... << parts);
  failRunWithMessage(message.str());
}

#endif  // OVRELL_BASE_OUTPUT_H_
