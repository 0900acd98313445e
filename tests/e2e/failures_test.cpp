// Runs that cannot finish: a full file system, a closed output, a signal, result paths that are
// inputs, a link at the partial results file's name, a second run in the directory, few
// descriptors. None may lose or corrupt a result without saying so.
#include "case_runner.h"

namespace {

const char kData[] =
    "head -c 98304 /dev/urandom > a; head -c 98304 /dev/urandom > b; cp a c; "
    "printf \"f G H\\na x 1\\nb y 2\\nc z 1\\n\" > p.txt; ";

// Runs `script` with a 64 KiB file system mounted at full/ (a private tmpfs when the test may
// mount one; otherwise a 64 KiB file size limit with SIGXFSZ ignored stands in for it).
std::string onFullDisk(const Sandbox& sb, const std::string& script) {
  const bool mount = geteuid() == 0 && std::system("unshare -m true 2>/dev/null") == 0;
  if (!mount) std::cout << "[ NOTE     ] not root: a file size limit stands in for a full disk\n";
  const std::string setUp =
      mount ? "mount -t tmpfs -o size=64k tmpfs full && " : "ulimit -f 128 && trap \"\" XFSZ && ";
  write(sb, "run.sh",
        std::string(kData) + "mkdir -p full; " + (mount ? "exec unshare -m " : "") + "sh -c '" +
            setUp + script + "'");
  return runScript(sb, "", "sh run.sh");
}

}  // namespace

TEST(Failures, FullDiskEndsTheRunAndPutsEveryResultBack) {
  const Sandbox sb;
  const std::string run =
      "F=$(pwd)/full; E=$(pwd)/err; o() { \"$OVRELL\" \"$@\" 2>$E; echo \"$* : $?\"; "
      "sed \"s/: No space left on device//; s/: File too large//\" $E; ls $F; }; "
      "echo old > full/dis_0; o -p p.txt -c full/res G; o -p p.txt -q -x -c res -d full/dis H G; "
      "cat full/dis_0; cd full && o -p ../p.txt -c ../res -d ../dis G; ls ..; "
      "\"$OVRELL\" -p ../p.txt G >/dev/full; true";
  EXPECT_EQ(onFullDisk(sb, run),
            "-p p.txt -c full/res G : 1\novrell: cannot write 'full/res'\ndis_0\n"
            "-p p.txt -q -x -c res -d full/dis H G : 1\novrell: cannot write 'full/dis_0'\ndis_0\n"
            "old\n-p ../p.txt -c ../res -d ../dis G : 1\n"
            "ovrell: cannot write '__partialResult1_tmp'\ndis_0\na\nb\nc\nerr\nfull\np.txt\n"
            "run.sh\novrell: cannot write standard output: No space left on device\n");
}

TEST(Failures, ResultPathsThatAreInputsOrEachOtherAreRefusedBeforeAnythingGoes) {
  const Sandbox sb;
  EXPECT_EQ(
      runScript(sb, "a=01 b=02 c=03",
                "printf \"f G H\\na x 1\\nb y 2\\nc z 3\\n\" > p.txt; ln c l; o() { "
                "\"$OVRELL\" -p p.txt \"$@\" 2>&1; echo \"= $?\"; }; o -c l G; o -c p.txt G; "
                "o -c X -d ./X G H; o -d __partialResult1_tmp G; o -c r -d r G; ls; od -An -tx1 c"),
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
  EXPECT_EQ(
      runScript(sb, "c=01 d=02",
                "head -c 99999 /dev/zero > a; { cat a; printf 1; } > b; head -c 1 b >> a; "
                "umask 0; printf \"file G\\na x\\nb y\\n\" > p.txt; mkfifo f; exec 3<>f; "
                "\"$OVRELL\" -p p.txt -d dis G >f & sleep 1; stat -c %a __partialResult1_tmp; "
                "kill -TERM $!; { wait $!; } 2>/dev/null; echo \"status $?\"; ls; echo keep > v; "
                "ln -s v __partialResult1_tmp; printf \"file G\\nc x\\nd y\\n\" > q.txt; "
                "\"$OVRELL\" -p q.txt -x -d dis G; cat v dis; ls"),
      "600\nstatus 143\na\nb\nc\nd\nf\np.txt\n03keep\n(7-7)\n(6-6)\n"
      "a\nb\nc\nd\ndis\nf\np.txt\nq.txt\nv\n");
}

// The first run holds the directory while its output waits in a full pipe; the second waits for
// it, says so, and both write what they would have written one after the other.
TEST(Failures, TwoRunsInOneDirectoryTakeTurns) {
  const Sandbox sb;
  EXPECT_EQ(
      runScript(sb, "",
                std::string(kData) +
                    "\"$OVRELL\" -p p.txt -d d1 G | (sleep 2; cat > c1) & sleep 0.5; "
                    "\"$OVRELL\" -p p.txt -d d2 G > c2; wait; \"$OVRELL\" -p p.txt -d d3 G > c3;"
                    " cmp c1 c2 && cmp c2 c3 && cmp d1 d2 && cmp d2 d3 && echo same"),
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
  EXPECT_EQ(
      runScript(
          sb, "a=0F0F b=0F0F c=F0F0 d=F0F0 e=3C3C f=3C3C",
          "\"$OVRELL\" -p p.txt -c r1 -d d1 G; (ulimit -n " + limit +
              "; \"$OVRELL\" -p "
              "p.txt -c r2 -d d2 G; \"$OVRELL\" -p p.txt -x -c m G G0 G1 G2 G3 G4 G5 G6 G7 G8 G9 "
              "G10 G11 G12 G13 G14 G15 G16 G17 G18 G19; echo \"status $?\"); cmp r1 r2 && "
              "cmp d1 d2 && cat d2 m_20; cat m_* | wc -c"),
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
      runScript(
          sb, "",
          std::string(kData) +
              "chmod 1777 .; echo old > t1; echo old > t2; ln -s t1 l1; ln -s t2 l2; "
              "mkdir s; ln -s t3 s/l3; o() { \"$OVRELL\" \"$@\"; echo \" = $?\"; }; "
              "o -p p.txt -n -f 1 -c l1 -d l2 H; find . -type l | sort; wc -c < t1; "
              "head -c 1 t2; echo; \"$OVRELL\" -p p.txt -d s/l3 G >/dev/full; echo \" = $?\"; "
              "find . -type l | sort; ls s; echo old > r; chmod 666 r; "
              "setpriv --reuid=nobody --regid=nogroup --clear-groups \"$OVRELL\" -p p.txt "
              "-c r G; echo \" = $?\"; cat r; setpriv --reuid=nobody --regid=nogroup "
              "--clear-groups touch __partialResult1_tmp; o -p p.txt -c r -d d G; cat r; ls"),
      " = 0\n./l1\n./l2\n./s/l3\n196608\n(\n"
      "ovrell: cannot write standard output: No space left on device\n = 1\n./l1\n./l2\n./s/l3\n"
      "l3\n"
      "ovrell: cannot delete the old commonalities file 'r': Operation not permitted; nothing "
      "was written\n = 1\nold\novrell: the partial results file '__partialResult1_tmp' "
      "belongs to another user; nothing was deleted or written\n = 1\nold\n"
      "__partialResult1_tmp\na\nb\nc\nl1\nl2\np.txt\nr\ns\nt1\nt2\n");
}
