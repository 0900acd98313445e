#include <gtest/gtest.h>

#include <sstream>

#include "options/options.h"

TEST(Options, SelectedOptionsReportPadsLabelsAndValues) {
  Options options;
  options.projectFile = "p.txt";
  options.comFile = "res";
  std::ostringstream report;
  report << options;
  EXPECT_EQ(report.str(),
            "Selected Options:\n"
            "  Project file:     p.txt       \n"
            "  Commonalities output file:res         \n"
            " Dissimilarities output file :            \n");
}
