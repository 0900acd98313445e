// Runs that cannot finish: a full file system, a closed output, a signal, result paths that are
// inputs, a link at the partial results file's name, a second run in the directory, few
// descriptors. None may lose or corrupt a result without saying so.
#include "case_runner.h"

namespace {

// Runs the full-disk scenario with a private 64 KiB tmpfs when the test may mount one; otherwise
// a 64 KiB file size limit with SIGXFSZ ignored stands in for it.
std::string onFullDisk(const Sandbox& sb) {
  const bool mount = geteuid() == 0 && std::system("unshare -m true 2>/dev/null") == 0;
  if (!mount) std::cout << "[ NOTE     ] not root: a file size limit stands in for a full disk\n";
  return runScenario(sb, "", "full_disk", mount ? "MOUNT=1" : "");
}

}  // namespace

TEST(Failures, FullDiskEndsTheRunAndPutsEveryResultBack) {
  const Sandbox sb;
  EXPECT_EQ(onFullDisk(sb),
            "-p p.txt -c full/res G : 1\novrell: cannot write 'full/res'\ndis_0\n"
            "-p p.txt -q -x -c res -d full/dis H G : 1\novrell: cannot write 'full/dis_0'\ndis_0\n"
            "old\n-p ../p.txt -c ../res -d ../dis G : 1\n"
            "ovrell: cannot write '__partialResult1_tmp'\ndis_0\na\nb\nc\nerr\nfull\np.txt\n"
            "ovrell: cannot write standard output: No space left on device\n");
}

TEST(Failures, ResultPathsThatAreInputsOrEachOtherAreRefusedBeforeAnythingGoes) {
  const Sandbox sb;
  EXPECT_EQ(
      runScenario(sb, "a=01 b=02 c=03", "result_paths"),
      "ovrell: the commonalities file 'l' is the data file 'c'; nothing was deleted or written\n= 1\n"
      "ovrell: the commonalities file 'p.txt' is the project file 'p.txt'; nothing was deleted "
      "or written\n= 1\n"
      "ovrell: the dissimilarities file './X_0' and the commonalities file 'X_0' are the same "
      "file; nothing was deleted or written\n= 1\n"
      "ovrell: the dissimilarities file '__partialResult1_tmp' is the partial results file "
      "'__partialResult1_tmp'; nothing was deleted or written\n= 1\n"
      "ovrell: the dissimilarities file 'r' and the commonalities file 'r' are the same file; "
      "nothing was deleted or written\n= 1\na\nb\nc\nl\np.txt\n 03\n");
}

// A mask longer than the pipe can hold keeps the run in its final writer, with the partial
// results file there, until a signal ends it.
TEST(Failures, SignalTakesBackResultsAndThePrivatePartialResultsFile) {
  const Sandbox sb;
  EXPECT_EQ(runScenario(sb, "c=01 d=02", "signal"),
            "600\nstatus 143\na\nb\nc\nd\nf\np.txt\n03keep\n(7-7)\n(6-6)\n"
            "a\nb\nc\nd\ndis\nf\np.txt\nq.txt\nv\n");
}

// The first run holds the directory while its output waits in a full pipe; the second waits for
// it, says so, and both write what they would have written one after the other.
TEST(Failures, TwoRunsInOneDirectoryTakeTurns) {
  const Sandbox sb;
  EXPECT_EQ(runScenario(sb, "", "two_runs"),
            "ovrell: another run is using the partial results file of this directory; waiting for "
            "it to end\nsame\n");
}

// Six files, fewer descriptors than the files and four more. The sanitizers' own checks need two.
TEST(Failures, FewDescriptorsAreEnough) {
#ifdef OVRELL_SANITIZED
  const std::string limit = "9";
#else
  const std::string limit = "7";
#endif
  const Sandbox sb;
  // Twenty copies of the attribute G: twenty result files to write, more than can be open.
  std::string header = "n G", lines[6];
  for (int a = 0; a < 20; ++a) header += " G" + std::to_string(a);
  for (int f = 0; f < 6; ++f)
    for (int a = 0; a <= 20; ++a)
      lines[f] += (a ? " " : std::string(1, 'a' + f) + " ") + std::to_string(1 + f / 2);
  write(sb, "p.txt",
        header + "\n" + lines[0] + "\n" + lines[1] + "\n" + lines[2] + "\n" + lines[3] + "\n" +
            lines[4] + "\n" + lines[5] + "\n");
  EXPECT_EQ(runScenario(sb, "a=0F0F b=0F0F c=F0F0 d=F0F0 e=3C3C f=3C3C", "few_descriptors",
                        "LIMIT=" + limit),
            "status 0\n(13-14)\n(11-12)\n(9-10)\n(7-8)\n(5-6)\n(3-4)\n(1-2)\nFF FF105\n");
}

// A link named as a result keeps being a link: its target is emptied and written, and a failed
// run takes back what it wrote there; a dangling link gets its target made. An old result that
// cannot be deleted (another user's, in a sticky directory) and a partial results file of
// another user stop the run before anything is written. Needs root and setpriv.
TEST(Failures, ResultsThroughLinksAndOldResultsOfOthers) {
  if (geteuid() != 0 || std::system("setpriv --version >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "needs root and setpriv to act as a second user";
  const Sandbox sb;
  chmod(sb.root.c_str(), 0755);
  EXPECT_EQ(
      runScenario(sb, "", "links_and_others"),
      " = 0\n./l1\n./l2\n./s/l3\n196608\n(\n"
      "ovrell: cannot write standard output: No space left on device\n = 1\n./l1\n./l2\n./s/l3\n"
      "l3\n"
      "ovrell: cannot delete the old commonalities file 'r': Operation not permitted; nothing "
      "was written\n = 1\nold\novrell: the partial results file '__partialResult1_tmp' "
      "belongs to another user; nothing was deleted or written\n = 1\nold\n"
      "__partialResult1_tmp\na\nb\nc\nl1\nl2\np.txt\nr\ns\nt1\nt2\n");
}
