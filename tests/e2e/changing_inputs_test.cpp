// Data files that change while a run reads them, in both programs: a file renamed over one gives
// the old files' result or the message, one changed in place the message; never a mix of old and
// new. A run in the background is changed once it has the file open (or, when it cannot keep it
// open, once its first block is done), long before it ends.
#include "case_runner.h"

TEST(ChangingInputs, AFileRenamedOverADataFileGivesTheOldResultOrTheMessage) {
  const Sandbox sb;
  std::istringstream verdicts(runScenario(sb, "", "renamed_over"));
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
      runScenario(sb, "", "changed_in_place"),
      "status 1\novrell-report: the data file 'a.bin' changed during the run (it was written "
      "to)\nstatus 1\novrell: the data file 'a.bin' changed during the run (its size went from "
      "4194304 to 4096 bytes)\na.bin\nb.bin\nerr\nnew.bin\nout\np.txt\n");
}

// A file cut short while read straight from its mapping: the message, never a bus error.
TEST(ChangingInputs, AFileCutShortUnderItsMappingEndsTheRun) {
  const Sandbox sb;
  EXPECT_EQ(runScenario(sb, "", "cut_while_mapped"),
            "status 1\novrell: the data file 'a.bin' changed during the run (its size went from "
            "4194304 to 4096 bytes)\n");
}

// Forty files and twenty descriptors: the files are opened again for every read (in both
// programs, with and without -d), give the result of a run that keeps them open, and one
// renamed over between two reads is seen. With
// twenty as the soft limit alone, it is raised and every file kept: one renamed over changes
// nothing (when the hard limit allows).
TEST(ChangingInputs, FilesOpenedForEveryReadMustStayTheSame) {
  const Sandbox sb;
  EXPECT_EQ(
      runScenario(sb, "", "reopened_files"),
      "status 0\n(12004-24001)\n(4-12001)\nstatus 0\nstatus 1 ovrell: the data file 'f9' changed "
      "during the run (another file has taken its name)\n");
}
