// A temporary working directory for one end-to-end test, and a way to run
// the built ovrell binary in it and capture everything the run does.
//
// The binary always runs with its working directory set to the sandbox,
// standard input from /dev/null and argv[0] set to "ovrell" (unless the test
// asks for another program name), so messages that quote the program name
// are stable. The sandbox and everything in it are removed when it is
// destroyed.
#ifndef OVRELL_TESTS_E2E_SANDBOX_H_
#define OVRELL_TESTS_E2E_SANDBOX_H_

#include <string>
#include <vector>

struct RunResult {
  std::string out;  // everything written to standard output
  std::string err;  // everything written to standard error
  int status;       // exit status; 128 + signal number if the run was killed
};

class Sandbox {
 public:
  Sandbox();
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  // Absolute path of the working directory.
  const std::string& dir() const { return dir_; }
  // Absolute path of `name` inside the working directory.
  std::string path(const std::string& name) const;

  // Writes `bytes` to `name` (relative to the sandbox), creating directories.
  void write(const std::string& name, const std::string& bytes) const;
  // The whole content of `name`; adds a test failure and returns "" if it
  // cannot be read.
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;
  // Names of the entries of the working directory, sorted.
  std::vector<std::string> list() const;

  // Runs ovrell with `args` (not including argv[0]) in the sandbox.
  RunResult run(const std::vector<std::string>& args,
                const std::string& programName = "ovrell") const;

 private:
  std::string root_;  // holds the working directory and the captured streams
  std::string dir_;
};

#endif  // OVRELL_TESTS_E2E_SANDBOX_H_
