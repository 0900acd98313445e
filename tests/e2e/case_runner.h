// Runs the built ovrell in a temporary working directory and compares standard output, standard
// error, exit status and result files byte for byte; and `printed`, the slow reference printer.
#ifndef OVRELL_TESTS_E2E_CASE_RUNNER_H_
#define OVRELL_TESTS_E2E_CASE_RUNNER_H_

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <csignal>
#include <fstream>

namespace fs = boost::filesystem;

struct Sandbox {  // the working directory `dir` inside `root`, both removed with the sandbox
  Sandbox() : root((fs::temp_directory_path() / "ovrell-e2e-XXXXXX").string()) {
    if (!mkdtemp(&root[0]) || !fs::create_directory(dir = root + "/w")) std::abort();
  }
  ~Sandbox() { fs::remove_all(root, ignored); }
  std::string root, dir;
  boost::system::error_code ignored;
};

inline std::string slurp(const std::string& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return bytes.str();
}

inline void write(const Sandbox& sb, const std::string& name, const std::string& bytes) {
  fs::create_directories(fs::path(sb.dir + "/" + name).parent_path());
  std::ofstream(sb.dir + "/" + name, std::ios::binary) << bytes;
}

// Writes blank-separated "name=HEX" or "name:text" files under sb.dir.
inline void put(const Sandbox& sb, const std::string& files) {
  std::istringstream items(files);
  for (std::string item; items >> item;) {
    const std::size_t at = item.find_first_of("=:");
    std::string value = item.substr(at + 1), bytes;
    for (std::size_t i = 0; item[at] == '=' && i + 1 < value.size(); i += 2)
      bytes += static_cast<char>(std::stoi(value.substr(i, 2), nullptr, 16));
    write(sb, item.substr(0, at), item[at] == '=' ? bytes : value);
  }
}

// How the tool prints `piece` in -f `format` (0 ascii .. 4 binary), with blanks unless -n.
inline std::string printed(const std::string& piece, int format, bool space) {
  std::string text;
  for (std::size_t i = 0; i < piece.size(); ++i) {
    const unsigned v = static_cast<unsigned char>(piece[i]);
    char image[9] = {};
    std::snprintf(image, sizeof image, format == 1 ? "%02X" : format == 2 ? "%03u" : "%03o", v);
    for (int k = 0; format == 4 && k < 8; ++k) image[k] = "01"[v >> (7 - k) & 1];
    text += (i > 0 && space && format > 0 ? " " : "") + (format ? image : piece.substr(i, 1));
  }
  return text;
}

// Runs the scenario tests/e2e/scenarios/NAME.sh in sb.dir with $OVRELL naming the built tool
// and $SCENARIOS its directory, after writing `files` (as for put), with `env` (blank-separated
// NAME=VALUE) in its environment; returns what it printed on both streams.
inline std::string runScenario(const Sandbox& sb, const std::string& files, const std::string& name,
                               const std::string& env = "") {
  put(sb, files);
  std::signal(SIGPIPE, SIG_DFL);  // so that a writer whose reader has gone ends, as in a shell
  const std::string out = sb.root + "/script.out";
  const std::string command = "cd '" + sb.dir + "' && env SCENARIOS='" + OVRELL_SCENARIOS +
                              "' OVRELL='" + OVRELL_BINARY + "' " + env + " sh '" +
                              OVRELL_SCENARIOS + "/" + name + ".sh' > '" + out + "' 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << name;
  return slurp(out);
}

struct Outcome {  // the exit status is 128 + the signal of a signalled run
  std::string out, err;
  int status;
};

// Runs ovrell as `args[0]` with the other `args` in sb.dir, standard input /dev/null, standard
// output to `outPath` (read back only when none is given).
inline Outcome runOvrell(const Sandbox& sb, std::vector<std::string> args,
                         std::string outPath = "") {
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  const bool readOut = outPath.empty();
  if (readOut) outPath = sb.root + "/out";
  const pid_t pid = fork();
  if (pid == 0 && std::signal(SIGPIPE, SIG_DFL) != SIG_ERR && freopen("/dev/null", "r", stdin) &&
      freopen(outPath.c_str(), "w", stdout) && freopen((sb.root + "/err").c_str(), "w", stderr) &&
      chdir(sb.dir.c_str()) == 0)
    execv(OVRELL_BINARY, argv.data());
  if (pid == 0) _exit(127);
  int ws = 0;
  if (pid < 0 || waitpid(pid, &ws, 0) != pid) ADD_FAILURE() << "cannot run " OVRELL_BINARY;
  return {readOut ? slurp(outPath) : "", slurp(sb.root + "/err"),
          WIFSIGNALED(ws) ? 128 + WTERMSIG(ws) : WEXITSTATUS(ws)};
}

// One run of `args` split at '|', led by "-p proj.txt" for a `project` without -p; `files` as for
// put. Expected: error, status, output, and res*, dis*, the partial results as "name=content;".
struct Case {
  std::string project, args, err;
  int status = 1;
  std::string out = "", files = "", after = "", program = "ovrell";
};

inline void expectCase(const Case& c, const std::string& commonFiles = "") {
  SCOPED_TRACE(c.project.substr(0, 200) + " | " + c.args);
  const Sandbox sb;
  std::vector<std::string> args{c.program};
  std::istringstream words(c.args);
  for (std::string arg; std::getline(words, arg, '|');) args.push_back(arg);
  if (!c.project.empty() && c.args.find("-p|") == std::string::npos)
    args.insert(args.begin() + 1, {"-p", "proj.txt"});
  if (!c.project.empty()) write(sb, *(std::find(args.begin(), args.end(), "-p") + 1), c.project);
  put(sb, commonFiles + " " + c.files);
  const Outcome run = runOvrell(sb, args);
  std::string after;
  for (std::string name : {"res", "res_0", "res_1", "res_2", "res_3", "dis", "dis_0", "dis_1",
                           "dis_2", "__partialResult1_tmp"})
    if (fs::exists(sb.dir + "/" + name)) after += name + "=" + slurp(sb.dir + "/" + name) + ";";
  EXPECT_EQ(std::make_tuple(run.out, run.err, run.status, after),
            std::make_tuple(c.out, c.err, c.status, c.after));
}

#endif  // OVRELL_TESTS_E2E_CASE_RUNNER_H_
