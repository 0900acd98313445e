#include "base/fatal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/file_identity.h"
#include "base/output.h"

namespace {

ExitHandler exitHandler = nullptr;
const char* name = "ovrell";

// A result file as it was before the run. Filled before any signal handler
// is installed and never resized afterwards, so the handlers may read it.
struct Remembered {
  std::string name, target;  // as given, and with its symbolic links followed
  bool existed, special;
  off_t length;
  volatile std::sig_atomic_t opened;
};

std::vector<Remembered>& remembered() {
  static std::vector<Remembered>* files = new std::vector<Remembered>;
  return *files;
}
std::string& scratchFile() {
  static std::string* scratch = new std::string;
  return *scratch;
}
volatile std::sig_atomic_t cleanedUp = 0;

// The file `name` stands for once its symbolic links are followed; `name`
// itself when it is no link (or a loop of them).
std::string linkTarget(const std::string& name) {
  const std::string end = endOfLinks(name);
  return end.empty() ? name : end;
}

// Only calls that are safe in a signal handler.
void putBack() {
  if (cleanedUp) return;
  cleanedUp = 1;
  for (const Remembered& file : remembered()) {
    if (!file.opened || file.special) continue;
    if (file.existed)
      static_cast<void>(::truncate(file.target.c_str(), file.length));
    else
      ::unlink(file.target.c_str());
  }
  if (!scratchFile().empty()) ::unlink(scratchFile().c_str());
  discardTemporaryFiles();
}

extern "C" void onSignal(int signalNumber) {
  const int savedErrno = errno;
  putBack();
  errno = savedErrno;
  // The handler was reset to the default when it was entered and the signal
  // is not blocked: raising it again ends the process by it.
  std::raise(signalNumber);
}

void markOpened(const std::string& opened) {
  for (Remembered& file : remembered())
    if (file.name == opened) file.opened = 1;
}

void outOfMemory() {
  std::set_new_handler(nullptr);  // the message itself must not come back here
  failRun("out of memory; a smaller memory limit (-m) may help");
}

}  // namespace

void beginRun(const char* programName) {
  std::ios::sync_with_stdio(false);
  name = programName;
  setOutputHandlers(failRunWithMessage, markOpened);
  useCheckedStandardOutput();
  std::set_new_handler(outOfMemory);
}

const char* programName() { return name; }

ExitHandler setExitHandler(ExitHandler handler) {
  ExitHandler previous = exitHandler;
  exitHandler = handler;
  return previous;
}

void exitProcess(int status) {
  std::cerr.flush();
  flushStandardOutput();
  if (exitHandler != nullptr) exitHandler(status);
  std::exit(status);
}

void failRunWithMessage(const std::string& message) {
  putBack();
  std::cerr << name << ": " << message << std::endl;
  silenceStandardOutput();
  exitProcess(1);
}

void registerResultFiles(const std::vector<std::string>& names, const std::string& scratch) {
  std::vector<Remembered>& files = remembered();
  files.clear();
  files.reserve(names.size());
  for (const std::string& file : names) {
    struct stat status {};
    const bool existed = ::stat(file.c_str(), &status) == 0;
    const bool special = existed && !S_ISREG(status.st_mode);
    files.push_back(
        Remembered{file, linkTarget(file), existed, special, existed ? status.st_size : 0, 0});
  }
  scratchFile() = scratch;
}

void installSignalCleanup() {
  for (int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
    struct sigaction action {};
    if (::sigaction(signalNumber, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    ::sigaction(signalNumber, &action, nullptr);
  }
}

namespace {

// A registered name stays in its slot (reachable) until forgotten; removing
// it in a signal handler only marks it removed.
struct TemporaryName {
  char* volatile name;
  volatile std::sig_atomic_t removed;
};
TemporaryName temporaryFiles[16];

}  // namespace

void registerTemporaryFile(const std::string& file) {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name != nullptr) continue;
    slot.removed = 0;
    slot.name = ::strdup(file.c_str());
    return;
  }
  failRun("too many temporary files at once: ", file);
}

void forgetTemporaryFile(const std::string& file) {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name == nullptr || file != slot.name) continue;
    char* const held = slot.name;
    slot.name = nullptr;
    std::free(held);
  }
}

void discardTemporaryFiles() {
  for (TemporaryName& slot : temporaryFiles) {
    if (slot.name == nullptr || slot.removed) continue;
    ::unlink(slot.name);
    slot.removed = 1;
  }
}
