// Data files that change while a run reads them, in both programs: a file renamed over one gives
// the old files' result or the message, one changed in place the message; never a mix of old and
// new. A run in the background is changed once it has the file open (or, when it cannot keep it
// open, once its first block is done), long before it ends.
#include "case_runner.h"

namespace {

// Sparse files of 4 MiB, zero but for an X at each given offset: a.bin and b.bin in groups x and
// y of G and H, and new.bin, like neither; the wait for the run $p to have file $1 open; $O and
// $R, the two programs (the report is built beside ovrell).
const char kFiles[] =
    "mk() { f=$1; shift; truncate -s 4M $f; for o; do printf X | dd of=$f bs=1 seek=$o "
    "conv=notrunc 2>/dev/null; done; }; mk a.bin; mk b.bin 1000 300000 2000000 4000000; "
    "mk new.bin 123456; printf \"f G H\\na.bin x 1\\nb.bin y 1\\n\" > p.txt; "
    "opened() { n=0; until ls -l /proc/$p/fd 2>/dev/null | grep -q \"/$1\\$\" || [ $n = 500 ]; "
    "do n=$((n+1)); sleep 0.01; done; }; "
    "O=\"$OVRELL -p p.txt -m 8KB\"; R=\"$OVRELL-report -p p.txt -m 1KB\"; ";

}  // namespace

TEST(ChangingInputs, AFileRenamedOverADataFileGivesTheOldResultOrTheMessage) {
  const Sandbox sb;
  std::istringstream verdicts(runScript(
      sb, "",
      std::string(kFiles) +
          "v() { wait $p; s=$?; if [ $s = 0 ] && $1; then echo old; else echo $s $(cat err); fi; "
          "}; "
          "$O -c old -d odis G H; $R G H G H > oout; cp a.bin keep.bin; "
          "$O -c res -d dis G H 2>err & p=$!; opened a.bin; mv new.bin a.bin; "
          "v \"eval cmp -s res_0 old_0 && cmp -s res_1 old_1 && cmp -s dis_0 odis_0 && cmp -s "
          "dis_1 odis_1\"; "
          "mv a.bin new.bin; cp keep.bin a.bin; "
          "$R G H G H > out 2>err & p=$!; opened a.bin; mv new.bin a.bin; v \"cmp -s out oout\""));
  for (const std::string program : {"ovrell", "ovrell-report"}) {
    std::string verdict;
    std::getline(verdicts, verdict);
    const std::string changed = "1 " + program + ": the data file 'a.bin' changed during the run (";
    EXPECT_TRUE(verdict == "old" || (verdict.rfind(changed, 0) == 0 && verdict.back() == ')'))
        << verdict;
  }
}

// The report's file written to, ovrell's cut short: the message, nothing of the results left.
TEST(ChangingInputs, AFileChangedInPlaceEndsTheRun) {
  const Sandbox sb;
  EXPECT_EQ(
      runScript(sb, "",
                std::string(kFiles) +
                    "$R --json j G H G H > out 2>err & p=$!; opened a.bin; printf Y | dd of=a.bin "
                    "bs=1 seek=5 conv=notrunc 2>/dev/null; wait $p; echo status $?; cat err; "
                    "$O -c res -d dis G H 2>err & p=$!; opened a.bin; truncate -s 4096 a.bin; "
                    "wait $p; echo status $?; cat err; ls"),
      "status 1\novrell-report: the data file 'a.bin' changed during the run (it was written "
      "to)\nstatus 1\novrell: the data file 'a.bin' changed during the run (its size went from "
      "4194304 to 4096 bytes)\na.bin\nb.bin\nerr\nnew.bin\nout\np.txt\n");
}

// Forty files and twenty descriptors: the files are opened again for every read (in both
// programs, with and without -d), give the result of a run that keeps them open, and one
// renamed over between two reads is seen. With
// twenty as the soft limit alone, it is raised and every file kept: one renamed over changes
// nothing (when the hard limit allows).
TEST(ChangingInputs, FilesOpenedForEveryReadMustStayTheSame) {
  const Sandbox sb;
  EXPECT_EQ(
      runScript(
          sb, "",
          "i=0; printf \"f G\\n\" > q.txt; while [ $i -lt 40 ]; do truncate -s 64K f$i; "
          "printf X | dd of=f$i bs=1 seek=$((i % 3 * 1500)) conv=notrunc 2>/dev/null; printf Y | "
          "dd of=f$i bs=1 seek=$((5000 + i * 1000)) conv=notrunc 2>/dev/null; "
          "echo f$i $((i % 3)) >> q.txt; i=$((i + 1)); done; "
          "O() { \"$OVRELL\" -p q.txt -m 4KB -c r$1 -d d$1 $2; }; O 1 \"G G G\"; "
          "(ulimit -n 20; O 2 G; echo status $?); cmp r1_0 r2 && cmp d1_0 d2 && cat d2; "
          "P() { \"$OVRELL\" -p q.txt -m 4KB -c r$1 G; \"$OVRELL-report\" -p q.txt G > t$1; }; "
          "P 3; (ulimit -n 20; P 4); cmp r3 r4 && cmp t3 t4; "
          "swap() { (ulimit $1 20; O $2 \"$3\") 2>err & p=$!; n=0; until [ -e __partialResult1_tmp "
          "] || [ $n = 500 ]; do n=$((n+1)); sleep 0.01; done; cp f8 new; mv new f$2; wait $p; "
          "echo status $? $(cat err); }; h=$(ulimit -Hn); if [ $h = unlimited ] || [ $h -gt 99 ]; "
          "then swap -Sn 7 \"G G G\"; for k in 0 1 2; do cmp r1_$k r7_$k && cmp d1_$k d7_$k; done; "
          "else echo status 0; fi; swap -n 9 \"G G\""),
      "status 0\n(12004-24001)\n(4-12001)\nstatus 0\nstatus 1 ovrell: the data file 'f9' changed "
      "during the run (another file has taken its name)\n");
}
