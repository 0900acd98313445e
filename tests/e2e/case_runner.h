// The runner of the end-to-end tables: each row runs the built ovrell binary once in a temporary
// working directory and compares standard output, standard error, exit status and result files.
#ifndef OVRELL_TESTS_E2E_CASE_RUNNER_H_
#define OVRELL_TESTS_E2E_CASE_RUNNER_H_

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

// A temporary directory around the working directory `dir`, removed when the sandbox goes.
struct Sandbox {
  Sandbox() : root((boost::filesystem::temp_directory_path() / "ovrell-e2e-XXXXXX").string()) {
    if (!mkdtemp(&root[0]) || !boost::filesystem::create_directory(dir = root + "/w")) std::abort();
  }
  ~Sandbox() { boost::filesystem::remove_all(root, ignored); }
  std::string root, dir;
  boost::system::error_code ignored;
};

inline std::string slurp(const std::string& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return bytes.str();
}

// Writes `bytes` to the file `name` under the sandbox's working directory, making its directories.
inline void put(const Sandbox& sb, const std::string& name, const std::string& bytes) {
  const boost::filesystem::path file = sb.dir + "/" + name;
  boost::filesystem::create_directories(file.parent_path());
  std::ofstream(file.string(), std::ios::binary) << bytes;
}

// Runs a shell script in the sandbox's working directory, with the data files ("name=HEX", blank
// separated) written and $OVRELL naming the built tool; returns what it printed on both streams.
inline std::string runScript(const Sandbox& sb, const std::string& files,
                             const std::string& script) {
  std::istringstream items(files);
  for (std::string item; items >> item;) {
    std::string bytes;
    for (std::size_t i = item.find('=') + 1; i + 1 < item.size(); i += 2)
      bytes += static_cast<char>(std::stoi(item.substr(i, 2), nullptr, 16));
    put(sb, item.substr(0, item.find('=')), bytes);
  }
  std::signal(SIGPIPE, SIG_DFL);  // so that a writer whose reader has gone ends, as in a shell
  const std::string out = sb.root + "/script.out";
  const std::string command = "cd '" + sb.dir + "' && OVRELL='" + OVRELL_BINARY + "' sh -c '" +
                              script + "' > '" + out + "' 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << script;
  return slurp(out);
}

// How the tool prints `piece` in -f `format` (0 ascii .. 4 binary), with blanks unless -n; the
// slow way, for the models of the property tests.
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

using Args = std::vector<std::string>;

// The end of one run of the tool: standard output and error, the exit status (128 + the signal
// number when a signal ended it) and the peak resident memory in KiB.
struct Outcome {
  std::string out, err;
  int status;
  long peakKib;
};

// Runs the built ovrell as `program` with `args` in the sandbox's working directory, standard
// input from /dev/null. Standard output goes to `outPath` when it is given (and is then not read
// back), else to a file beside the working directory.
inline Outcome runOvrell(const Sandbox& sb, Args args, const std::string& program = "ovrell",
                         std::string outPath = "") {
  args.insert(args.begin(), program);
  std::vector<char*> argv(args.size() + 1);  // ends with a null pointer
  std::transform(args.begin(), args.end(), argv.begin(), [](std::string& a) { return &a[0]; });
  const bool readOut = outPath.empty();
  if (readOut) outPath = sb.root + "/out";
  const std::string err = sb.root + "/err";
  const pid_t pid = fork();
  if (pid == 0) {
    if (freopen("/dev/null", "r", stdin) && freopen(outPath.c_str(), "w", stdout) &&
        freopen(err.c_str(), "w", stderr) && chdir(sb.dir.c_str()) == 0)
      execv(OVRELL_BINARY, argv.data());
    _exit(127);
  }
  int ws = 0;
  struct rusage usage {};
  if (pid < 0 || wait4(pid, &ws, 0, &usage) != pid) ADD_FAILURE() << "cannot run " OVRELL_BINARY;
  return {readOut ? slurp(outPath) : "", slurp(err),
          WIFSIGNALED(ws) ? 128 + WTERMSIG(ws) : WEXITSTATUS(ws), usage.ru_maxrss};
}

// One run: `args` split at '|' (led by "-p proj.txt" if a `project` text is given without -p);
// the project text (nullptr: none) goes where -p points; `files` are blank-separated "name=HEX",
// "name:text" or "name!" (made unreadable; left out for root). Expected: standard error, status,
// standard output, the files res, res_0 .. res_3, dis, dis_0 .. dis_2 and the partial results file
// __partialResult1_tmp as "name=content;" (`after`).
struct Case {
  const char* project;
  std::string args, err;
  int status = 1;
  std::string out = "", files = "", after = "", program = "ovrell";
};

inline void expectCase(const Case& c, const std::string& commonFiles = "") {
  if (geteuid() == 0 && c.files.find('!') != std::string::npos) return;
  SCOPED_TRACE(std::string(c.project ? c.project : "-") + " | " + c.args);
  namespace fs = boost::filesystem;
  const Sandbox sb;
  std::vector<std::string> args{c.program};
  std::istringstream words(c.args), items(commonFiles + " " + c.files);
  for (std::string arg; std::getline(words, arg, '|');) args.push_back(arg);
  auto p = std::find(args.begin() + 1, args.end(), "-p");
  if (c.project && p == args.end()) p = args.insert(args.begin() + 1, {"-p", "proj.txt"});
  if (c.project) put(sb, p[1], c.project);
  for (std::string item; items >> item;) {
    const std::size_t at = item.find_first_of("=:!");
    std::string name = item.substr(0, at), value = item.substr(at + 1), bytes;
    for (std::size_t i = 0; item[at] == '=' && i + 1 < value.size(); i += 2)
      bytes += static_cast<char>(std::stoi(value.substr(i, 2), nullptr, 16));
    if (item[at] == '!') chmod((sb.dir + "/" + name).c_str(), 0);
    if (item[at] != '!') put(sb, name, item[at] == '=' ? bytes : value);
  }
  const Outcome run = runOvrell(sb, {args.begin() + 1, args.end()}, c.program);
  std::string after;
  for (std::string name : {"res", "res_0", "res_1", "res_2", "res_3", "dis", "dis_0", "dis_1",
                           "dis_2", "__partialResult1_tmp"})
    if (fs::exists(sb.dir + "/" + name)) after += name + "=" + slurp(sb.dir + "/" + name) + ";";
  EXPECT_EQ(std::make_tuple(run.out, run.err, run.status, after),
            std::make_tuple(c.out, c.err, c.status, c.after));
}

#endif  // OVRELL_TESTS_E2E_CASE_RUNNER_H_
