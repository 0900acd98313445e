// Runs the built programs in a temporary directory for the report's tests.
#ifndef OVRELL_TESTS_REPORT_REPORT_RUNNER_H_
#define OVRELL_TESTS_REPORT_REPORT_RUNNER_H_

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

struct Sandbox {
  Sandbox() : dir((boost::filesystem::temp_directory_path() / "report-XXXXXX").string()) {
    if (!mkdtemp(&dir[0])) std::abort();
  }
  ~Sandbox() { boost::filesystem::remove_all(dir, ignored); }
  std::string path(const std::string& name) const { return dir + "/" + name; }
  void put(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
  }
  std::string dir;
  boost::system::error_code ignored;
};

inline std::string slurp(const std::string& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return bytes.str();
}

struct Outcome {
  std::string out, err;
  int status;
};

// Runs `binary` as "prog" with `args` in the sandbox, standard input from
// /dev/null, writing files of at most 64 MiB.
inline Outcome run(const Sandbox& sb, const char* binary, std::vector<std::string> args) {
  args.insert(args.begin(), "prog");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(&arg[0]);
  argv.push_back(nullptr);
  const std::string out = sb.path(".out"), err = sb.path(".err");
  const pid_t pid = fork();
  if (pid == 0) {
    const struct rlimit limit = {64 << 20, 64 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    if (freopen("/dev/null", "r", stdin) && freopen(out.c_str(), "w", stdout) &&
        freopen(err.c_str(), "w", stderr) && chdir(sb.dir.c_str()) == 0)
      execv(binary, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return {slurp(out), slurp(err), WIFEXITED(status) ? WEXITSTATUS(status) : 128};
}

// The report of `args` as JSON (written to a file and parsed strictly).
inline nlohmann::json reportJson(const Sandbox& sb, std::vector<std::string> args) {
  args.insert(args.end(), {"--json", "report.json"});
  const Outcome r = run(sb, REPORT_BINARY, args);
  EXPECT_EQ(r.status, 0) << r.err;
  return nlohmann::json::parse(slurp(sb.path("report.json")));
}

// Runs a shell command in the sandbox (the system tools' directories on the
// path); false when it fails, e.g. when the tool is not installed.
inline bool runTools(const Sandbox& sb, const std::string& command) {
  const std::string line = "cd '" + sb.dir + "' && PATH=\"$PATH:/usr/sbin:/sbin\" sh -c '" +
                           command + "' >/dev/null 2>&1";
  return std::system(line.c_str()) == 0;
}

// Checks the report's "explained" fields against the data files: ascending,
// disjoint, inside the files, and every byte that differs between two files
// inside one of them.
inline void expectEveryChangeExplained(const nlohmann::json& report,
                                       const std::vector<std::string>& files) {
  const nlohmann::json& fields = report["explained"];
  std::vector<bool> covered(files[0].size());
  std::int64_t previous = -1;
  for (const nlohmann::json& field : fields) {
    const std::int64_t first = field["first_byte"], last = field["last_byte"];
    EXPECT_TRUE(previous < first && first <= last && last < std::int64_t(covered.size())) << field;
    for (std::int64_t b = first; b <= last && b < std::int64_t(covered.size()); ++b)
      covered[b] = true;
    previous = last;
  }
  for (std::size_t b = 0; b < covered.size(); ++b)
    for (const std::string& file : files)
      if (file[b] != files[0][b]) {
        EXPECT_TRUE(covered[b]) << "byte " << b << " changes but no field holds it";
        break;
      }
}

#endif  // OVRELL_TESTS_REPORT_REPORT_RUNNER_H_
