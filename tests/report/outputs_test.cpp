// Where ovrell-report's outputs go: links and special files named as
// outputs, standard output, the table's reader going away, and runs that
// fail or are stopped, which leave the old outputs as they were and no
// temporary files.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdio>

#include "report_runner.h"

namespace {

const uid_t kOtherUser = 65533;  // run as, when the tests run as root; nobody is 65534

// Three files of `size` bytes, b differing from the others in every even
// byte: size / 2 regions.
void writeComb(const Sandbox& sb, std::size_t size) {
  std::string b(size, '\0');
  for (std::size_t i = 0; i < size; i += 2) b[i] = 1;
  sb.put("a", std::string(size, '\0'));
  sb.put("c", std::string(size, '\0'));
  sb.put("b", b);
  sb.put("p.txt", "file g\na x\nc x\nb y\n");
}

// The entries of the sandbox that start with a dot, but for the runner's.
std::string hiddenFiles(const Sandbox& sb) {
  std::string names;
  for (const auto& entry : boost::filesystem::directory_iterator(sb.dir)) {
    const std::string name = entry.path().filename().string();
    if (name[0] == '.' && name != ".out" && name != ".err") names += name + " ";
  }
  return names;
}

// What `command` prints on standard output (run by the shell in the sandbox).
std::string shell(const Sandbox& sb, const std::string& command) {
  std::string out;
  std::FILE* pipe = popen(("cd '" + sb.dir + "' && " + command).c_str(), "r");
  for (int c; pipe != nullptr && (c = std::fgetc(pipe)) != EOF;) out += static_cast<char>(c);
  if (pipe != nullptr) pclose(pipe);
  return out;
}

TEST(ReportOutputs, LinksAndStandardOutputAreWrittenThroughNeverReplaced) {
  const Sandbox sb;
  writeComb(sb, 64);
  ASSERT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "r.json", "--html", "r.html"}).status,
            0);
  const std::string json = slurp(sb.path("r.json")), html = slurp(sb.path("r.html"));
  // A link to a file not there yet and a link to an old file of mode 0640.
  sb.put("old.html", "old");
  chmod(sb.path("old.html").c_str(), 0640);
  boost::filesystem::create_directory(sb.path("d"));
  symlink("../new.json", sb.path("d/j").c_str());
  symlink("old.html", sb.path("h").c_str());
  symlink("/proc/self/fd/1", sb.path("stdout").c_str());
  const Outcome linked = run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "d/j", "--html", "h"});
  EXPECT_EQ(linked.status, 0) << linked.err;
  EXPECT_EQ(shell(sb, "readlink d/j h; stat -c %a old.html; cat new.json old.html"),
            "../new.json\nold.html\n640\n" + json + html);
  // Standard output named by "-", /dev/stdout or a link of our own to it
  // (as a /dev/stdout of a private mount namespace would be): the output
  // replaces the table there, and the link stays.
  for (const char* option : {"--json", "--html"})
    for (const char* name : {"-", "/dev/stdout", "stdout"}) {
      const Outcome r = run(sb, REPORT_BINARY, {"-p", "p.txt", option, name});
      EXPECT_EQ(std::make_tuple(r.out, r.err, r.status),
                std::make_tuple(option[2] == 'j' ? json : html, std::string(), 0))
          << option << " " << name;
    }
  EXPECT_EQ(shell(sb, "readlink stdout"), "/proc/self/fd/1\n");
  // Another device is opened for writing and written, never replaced.
  const Outcome device = run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "/dev/null"});
  EXPECT_EQ(std::make_tuple(device.err, device.status), std::make_tuple(std::string(), 0));
  // The same through the /dev/stdout of a private mount namespace whose /dev
  // holds only that link, where namespaces can be made.
  const std::string dev = shell(sb, std::string("unshare -m sh -c 'mount -t tmpfs tmpfs /dev && "
                                                "ln -s /proc/self/fd/1 /dev/stdout && ") +
                                        REPORT_BINARY +
                                        " -p p.txt --json /dev/stdout > ns.out && ls -A /dev && "
                                        "readlink /dev/stdout' 2>&1");
  if (dev.rfind("unshare", 0) == 0)
    std::cout << "not tried in a mount namespace: " << dev;
  else
    EXPECT_EQ(std::make_pair(dev, slurp(sb.path("ns.out"))),
              std::make_pair(std::string("stdout\n/proc/self/fd/1\n"), json));
}

TEST(ReportOutputs, PathsAreCheckedBeforeAnythingIsWritten) {
  const Sandbox sb;
  writeComb(sb, 64);
  sb.put("old.html", "old");
  const struct {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"--json", "-", "--html", "-"},
       "the JSON file '-' and the HTML file '-' are both standard output; nothing was written"},
      {{"--json", "-", "--html", "/dev/stdout"},
       "the JSON file '-' and the HTML file '/dev/stdout' are both standard output; nothing was "
       "written"},
      {{"--html", "old.html", "--json", "nowhere/r.json"},
       "cannot write 'nowhere/r.json': No such file or directory"},
      {{"--html", "old.html", "--json", "."}, "cannot write '.': Is a directory"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args{"-p", "p.txt"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const Outcome r = run(sb, REPORT_BINARY, args);
    EXPECT_EQ(std::make_tuple(r.out, r.err, r.status),
              std::make_tuple(std::string(), "ovrell-report: " + c.err + "\n", 1));
    EXPECT_EQ(slurp(sb.path("old.html")), "old");
    EXPECT_EQ(hiddenFiles(sb), "");
  }
}

// The table's reader goes away (or standard output is closed): the table
// stops, the files are still completed, and the status says it was cut.
TEST(ReportOutputs, ClosedStandardOutputCutsOnlyTheTable) {
  const Sandbox sb;
  writeComb(sb, 40000);  // a table of about 800 KB
  ASSERT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "r.json", "--html", "r.html"}).status,
            0);
  const std::string json = slurp(sb.path("r.json")), html = slurp(sb.path("r.html"));
  std::remove(sb.path("r.json").c_str());
  sb.put("r.html", "old");
  sb.put("k.json", "old");
  // The last run writes the picture to a FIFO whose reader goes away: that
  // is a failed output like any other.
  sb.put("cut.sh",
         "r=\"$1 -p p.txt --limit 0\"\n"
         "$r --json r.json --html r.html | head -c 1000 >/dev/null; echo ${PIPESTATUS[0]}\n"
         "$r | head -c 1000 >/dev/null; echo ${PIPESTATUS[0]}\n"
         "$r --json c.json >&-; echo $?\n"
         "mkfifo f; head -c 10 f >/dev/null & $r --json k.json --html f >/dev/null; echo $?\n");
  EXPECT_EQ(shell(sb, std::string("bash cut.sh ") + REPORT_BINARY + " 2>&1"),
            "ovrell-report: standard output was closed; the report there was cut, the files are "
            "complete\n1\n"
            "ovrell-report: standard output was closed; the report there was cut\n1\n"
            "ovrell-report: standard output was closed; the report there was cut, the files are "
            "complete\n1\n"
            "ovrell-report: cannot write 'f': Broken pipe\n1\n");
  EXPECT_EQ(slurp(sb.path("k.json")), "old");
  EXPECT_EQ(hiddenFiles(sb), "");
  EXPECT_EQ(slurp(sb.path("r.json")), json);
  EXPECT_EQ(slurp(sb.path("c.json")), json);
  EXPECT_EQ(slurp(sb.path("r.html")), html);
  EXPECT_EQ(html.substr(html.size() - 8), "</html>\n");
  EXPECT_EQ(shell(sb,
                  "python3 -c 'import json; print(len(json.load(open(\"r.json\"))"
                  "[\"attributes\"][0][\"regions\"]))'"),
            "20000\n");
}

// A signal while the outputs are being made removes the temporary files: a
// FIFO named as the HTML output holds the run after the JSON's temporary file
// is made, until a reader comes.
TEST(ReportOutputs, SignalRemovesTheTemporaryFiles) {
  const Sandbox sb;
  writeComb(sb, 64);
  sb.put("r.json", "old");
  ASSERT_EQ(mkfifo(sb.path("fifo").c_str(), 0600), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(sb.dir.c_str()) == 0 && freopen("/dev/null", "w", stdout))
      execl(REPORT_BINARY, "prog", "-p", "p.txt", "--json", "r.json", "--html", "fifo", nullptr);
    _exit(127);
  }
  for (int tries = 0; tries < 1000 && hiddenFiles(sb).empty(); ++tries) usleep(10000);
  EXPECT_EQ(hiddenFiles(sb).substr(0, 8), ".r.json.");
  kill(pid, SIGTERM);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_EQ(hiddenFiles(sb), "");
  EXPECT_EQ(slurp(sb.path("r.json")), "old");
}

// Run as a second unprivileged user in a sticky directory: an old output of
// another user (mode 666) is neither appended to nor replaced, and a data
// file that cannot be read mid-run leaves the old outputs as they were.
TEST(ReportOutputs, FailedRunsLeaveOldOutputsAsTheyWere) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to make files of two other users";
  const Sandbox sb;
  writeComb(sb, 64);
  sb.put("p2.txt", "file g\na x\nb y\nunreadable x\n");
  sb.put("unreadable", std::string(64, '\0'));
  for (const char* name : {"theirs.json", "mine.json", "mine.html"}) sb.put(name, "old");
  ASSERT_EQ(chmod(sb.dir.c_str(), 01777) | chmod(sb.path("unreadable").c_str(), 0) |
                chmod(sb.path("theirs.json").c_str(), 0666) |
                chown(sb.path("theirs.json").c_str(), 65534, 65534) |
                chown(sb.path("mine.json").c_str(), kOtherUser, 0) |
                chown(sb.path("mine.html").c_str(), kOtherUser, kOtherUser),
            0);
  const std::vector<std::string> asOther{"--reuid=" + std::to_string(kOtherUser),
                                         "--regid=" + std::to_string(kOtherUser), "--clear-groups",
                                         REPORT_BINARY};
  auto runAsOther = [&](std::vector<std::string> args) {
    args.insert(args.begin(), asOther.begin(), asOther.end());
    return run(sb, "/usr/bin/setpriv", args);
  };
  const Outcome theirs =
      runAsOther({"-p", "p.txt", "--html", "mine.html", "--json", "theirs.json"});
  EXPECT_EQ(std::make_pair(theirs.err, theirs.status),
            std::make_pair(std::string("ovrell-report: cannot replace 'theirs.json': it is another "
                                       "user's file in a directory where only its owner may "
                                       "replace it\n"),
                           1));
  const Outcome unreadable =
      runAsOther({"-p", "p2.txt", "--json", "mine.json", "--html", "mine.html"});
  EXPECT_EQ(unreadable.status, 1);
  EXPECT_NE(unreadable.err.find("unreadable"), std::string::npos) << unreadable.err;
  for (const char* name : {"theirs.json", "mine.json", "mine.html"})
    EXPECT_EQ(slurp(sb.path(name)), "old") << name;
  EXPECT_EQ(hiddenFiles(sb), "");
  // Root replaces another user's file with one of the same owner and mode.
  chmod(sb.path("mine.json").c_str(), 0604);
  EXPECT_EQ(run(sb, REPORT_BINARY, {"-p", "p.txt", "--json", "mine.json"}).status, 0);
  EXPECT_EQ(shell(sb, "stat -c '%u %a' mine.json; head -c 1 mine.json"),
            std::to_string(kOtherUser) + " 604\n{");
}

}  // namespace
