#include "base/data_files.h"

#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/fatal.h"
#include "base/output.h"
#include "base/scratch_file.h"

namespace {

// Descriptors asked for beyond one per data file, when the hard limit
// allows: the reserve, and room for many result files at once.
constexpr std::uint64_t kHeadroom = 256;

// Where a bus error on this thread goes: the innermost guarded() running.
thread_local sigjmp_buf* tFaultReturn = nullptr;

void onBusError(int signal, siginfo_t*, void*) {
  if (tFaultReturn != nullptr) siglongjmp(*tFaultReturn, 1);
  // Not a mapped read: the fault comes again, and ends the process as
  // without a handler.
  ::signal(signal, SIG_DFL);
}

void handleBusErrors() {
  static const bool installed = [] {
    struct sigaction action {};
    action.sa_sigaction = onBusError;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;  // no mask to restore after the jump
    sigemptyset(&action.sa_mask);
    return ::sigaction(SIGBUS, &action, nullptr) == 0;
  }();
  (void)installed;
}

}  // namespace

DataFiles::DataFiles(FileList paths)
    : paths_(std::move(paths)), files_(paths_.size()), unopened_(paths_.size()) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    openLimit_ = 1024;
    return;
  }
  const rlim_t wanted = static_cast<rlim_t>(paths_.size() + kHeadroom);
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < wanted) {
    rlimit raised = limit;
    raised.rlim_cur = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(limit.rlim_max, wanted);
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  openLimit_ = limit.rlim_cur;
}

DataFiles::~DataFiles() {
  for (const File& file : files_)
    if (file.fd >= 0) ::close(file.fd);
}

bool DataFiles::open(std::size_t i, std::uint64_t& length) {
  // Only a regular file is opened (opening a device may do something); not
  // blocking, should a pipe have taken its name in the meantime.
  struct stat status {};
  if (::stat(paths_[i].c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const int fd = ::open(paths_[i].c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(fd);
    return false;
  }
  File& file = files_[i];
  if (!file.seen) --unopened_;
  file.seen = true;
  file.device = status.st_dev, file.inode = status.st_ino;
  file.length = static_cast<std::uint64_t>(status.st_size);
  file.modified = status.st_mtim;
  if (static_cast<std::uint64_t>(fd) + kReservedDescriptors < openLimit_)
    file.fd = fd;
  else
    ::close(fd);
  length = file.length;
  return true;
}

std::string DataFiles::changeOf(std::size_t i, int fd) const {
  const File& file = files_[i];
  struct stat status {};
  if (::fstat(fd, &status) != 0) return "";
  if (status.st_dev != file.device || status.st_ino != file.inode)
    return "another file has taken its name";
  const auto length = static_cast<std::uint64_t>(status.st_size);
  if (length != file.length)
    return "its size went from " + std::to_string(file.length) + " to " + std::to_string(length) +
           " bytes";
  if (status.st_mtim.tv_sec != file.modified.tv_sec ||
      status.st_mtim.tv_nsec != file.modified.tv_nsec)
    return "it was written to";
  return "";
}

int DataFiles::openAgain(std::size_t i, std::string& change) const {
  const int fd = ::open(paths_[i].c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    change = errno == ENOENT ? "it is no longer there" : "";
    return -1;
  }
  change = changeOf(i, fd);
  if (change.empty()) return fd;
  ::close(fd);
  return -1;
}

bool DataFiles::readWhole(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset,
                          std::string& change) const {
  const File& file = files_[i];
  if (!file.seen) return false;
  auto* bytes = static_cast<unsigned char*>(to);
  if (file.fd >= 0) {
    const bool whole = readExactly(file.fd, bytes, size, offset) == 0;
    change = changeOf(i, file.fd);
    return whole && change.empty();
  }
  const std::lock_guard<std::mutex> lock(openingAgain_);
  const int fd = openAgain(i, change);
  if (fd < 0) return false;
  const bool whole = readExactly(fd, bytes, size, offset) == 0;
  change = changeOf(i, fd);
  ::close(fd);
  return whole && change.empty();
}

bool DataFiles::readAt(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset) const {
  std::string change;
  return readWhole(i, to, size, offset, change);
}

void DataFiles::read(std::size_t i, void* to, std::uint64_t size, std::uint64_t offset) const {
  std::string change;
  if (readWhole(i, to, size, offset, change)) return;
  if (!change.empty()) changed(i, change);
  readError(i);
}

const unsigned char* DataFiles::map(std::size_t i, std::uint64_t size, std::uint64_t offset,
                                    Window& window) const {
  const File& file = files_[i];
  if (file.fd < 0 || size == 0) return nullptr;
  handleBusErrors();
  static const std::uint64_t page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const std::uint64_t from = offset / page * page;
  const std::size_t length = static_cast<std::size_t>(offset + size - from);
  void* start = ::mmap(nullptr, length, PROT_READ, MAP_SHARED | MAP_POPULATE, file.fd,
                       static_cast<off_t>(from));
  if (start == MAP_FAILED) return nullptr;
  window = Window{start, length};
  return static_cast<const unsigned char*>(start) + (offset - from);
}

void DataFiles::unmap(Window& window) {
  if (window.start != nullptr) ::munmap(window.start, window.length);
  window = Window{};
}

bool DataFiles::unchanged(std::size_t i) const {
  return files_[i].fd >= 0 && changeOf(i, files_[i].fd).empty();
}

bool DataFiles::guarded(const std::function<void()>& work) {
  sigjmp_buf faultReturn;
  sigjmp_buf* const outer = tFaultReturn;
  if (sigsetjmp(faultReturn, 0) != 0) {
    tFaultReturn = outer;
    return false;
  }
  tFaultReturn = &faultReturn;
  try {
    work();
  } catch (...) {
    tFaultReturn = outer;
    throw;
  }
  tFaultReturn = outer;
  return true;
}

void DataFiles::endChanged() const {
  for (std::size_t i = 0; i < files_.size(); ++i) {
    if (files_[i].fd < 0) continue;
    const std::string change = changeOf(i, files_[i].fd);
    if (!change.empty()) changed(i, change);
  }
  readError(0);
}

void DataFiles::readError(std::size_t i) const { fatal("Error reading file '", paths_[i], "'.\n"); }

void DataFiles::changed(std::size_t i, const std::string& change) const {
  failRun("the data file '", paths_[i].string(), "' changed during the run (", change, ")");
}
