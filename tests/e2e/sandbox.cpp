#include "sandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

namespace fs = boost::filesystem;

namespace {

std::string slurp(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

}  // namespace

Sandbox::Sandbox() {
  std::string pattern = (fs::temp_directory_path() / "ovrell-e2e-XXXXXX").string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) {
    ADD_FAILURE() << "cannot create a temporary directory";
    std::abort();
  }
  root_ = name.data();
  dir_ = root_ + "/work";
  fs::create_directory(dir_);
}

Sandbox::~Sandbox() {
  boost::system::error_code ignored;
  fs::permissions(dir_, fs::owner_all | fs::add_perms, ignored);
  fs::remove_all(root_, ignored);
}

std::string Sandbox::path(const std::string& name) const { return dir_ + "/" + name; }

void Sandbox::write(const std::string& name, const std::string& bytes) const {
  fs::path target(path(name));
  fs::create_directories(target.parent_path());
  std::ofstream out(target.string(), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) ADD_FAILURE() << "cannot write " << target;
}

std::string Sandbox::read(const std::string& name) const {
  if (!exists(name)) {
    ADD_FAILURE() << "expected file " << name << " is missing";
    return "";
  }
  return slurp(path(name));
}

bool Sandbox::exists(const std::string& name) const {
  boost::system::error_code ec;
  return fs::exists(fs::symlink_status(path(name), ec));
}

std::vector<std::string> Sandbox::list() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir_))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

RunResult Sandbox::run(const std::vector<std::string>& args,
                       const std::string& programName) const {
  const std::string outFile = root_ + "/stdout";
  const std::string errFile = root_ + "/stderr";
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(programName.c_str()));
  for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);

  pid_t pid = fork();
  if (pid == 0) {
    int in = open("/dev/null", O_RDONLY);
    int out = open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err = open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (in < 0 || out < 0 || err < 0 || chdir(dir_.c_str()) != 0) _exit(126);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    execv(OVRELL_BINARY, argv.data());
    _exit(127);
  }
  RunResult result{"", "", -1};
  int wstatus = 0;
  if (pid < 0 || waitpid(pid, &wstatus, 0) != pid) {
    ADD_FAILURE() << "cannot run " << OVRELL_BINARY;
    return result;
  }
  if (WIFEXITED(wstatus)) result.status = WEXITSTATUS(wstatus);
  else if (WIFSIGNALED(wstatus)) result.status = 128 + WTERMSIG(wstatus);
  result.out = slurp(outFile);
  result.err = slurp(errFile);
  return result;
}
